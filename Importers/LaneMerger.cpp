#include "Importers/LaneMerger.h"

#include "Importers/DecimalTime.h"
#include "Importers/TextTable.h"
#include "System/Prefetch.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

namespace Importers
{
LaneMerger::LaneMerger(std::span<const RecordingThread> threads, std::int64_t origin)
    : mOrigin(static_cast<std::uint64_t>(origin))
{
    constexpr int stepsAhead = 4;

    const std::size_t numLeaves = std::bit_ceil(std::max<std::size_t>(threads.size(), 2));
    mTimes.assign(numLeaves, sNever);
    mWinners.resize(2 * numLeaves);
    std::iota(mWinners.begin() + static_cast<std::ptrdiff_t>(numLeaves), mWinners.end(), 0U);
    for (const RecordingThread& thread : threads)
    {
        Cursor& cursor = mCursors.emplace_back();
        cursor.mIntervals = thread.mIntervals;
        cursor.mNext = &thread.mIntervals[thread.mFirst];
        cursor.mAhead = cursor.mNext;
        for (int i = 0; i < stepsAhead; ++i)
        {
            cursor.MoveAhead();
        }
        mTimes[mCursors.size() - 1] = cursor.GetTime();
    }
    for (std::size_t node = numLeaves - 1; node > 0; --node)
    {
        const std::uint32_t left = mWinners[2 * node];
        const std::uint32_t right = mWinners[2 * node + 1];
        mWinners[node] = mTimes[left] <= mTimes[right] ? left : right;
    }
}

inline double LaneMerger::GetTimeMs(std::int64_t time) const
{
    return gToMilliseconds(static_cast<std::uint64_t>(time) - mOrigin);
}

inline void LaneMerger::TakeNext(std::uint32_t index, MergedEvent& event)
{
    Cursor& cursor = mCursors[index];
    if (cursor.IsEndNext())
    {
        event.mTimeMs = GetTimeMs(cursor.mOpen.back());
        event.mThread = index;
        event.mContext = TextArena::sNone;
        event.mIsEnd = true;
        cursor.mOpen.pop_back();
        event.mIsLast = cursor.IsAtEnd();
        return;
    }
    const Interval& interval = *cursor.mNext;
    cursor.mOpen.push_back(interval.mEnd);
    cursor.mNext = cursor.GetNext(interval);
    cursor.MoveAhead();
    event.mTimeMs = GetTimeMs(interval.mStart);
    event.mThread = index;
    event.mName = interval.mName;
    event.mContext = interval.mContext;
    event.mIsEnd = false;
    event.mIsFirst = !std::exchange(cursor.mHasStarted, true);
}

std::size_t LaneMerger::Merge(std::span<MergedEvent> events)
{
    std::size_t count = 0;
    for (; count < events.size() && !IsAtEnd(); ++count)
    {
        const std::uint32_t index = mWinners[1];
        TakeNext(index, events[count]);
        const Cursor& cursor = mCursors[index];
        mTimes[index] = cursor.IsAtEnd() ? sNever : cursor.GetTime();
        Play(index);
    }
    return count;
}

/// The matches of a cursor whose time has changed.
void LaneMerger::Play(std::size_t cursor)
{
    for (std::size_t node = (mTimes.size() + cursor) / 2; node > 0; node /= 2)
    {
        const std::uint32_t left = mWinners[2 * node];
        const std::uint32_t right = mWinners[2 * node + 1];
        mWinners[node] = mTimes[left] <= mTimes[right] ? left : right;
    }
}

/// Fetches the interval behind the one that it comes to, which may lie anywhere.
void LaneMerger::Cursor::MoveAhead()
{
    if (mAhead == nullptr)
    {
        return;
    }
    mAhead = GetNext(*mAhead);
    if (mAhead != nullptr)
    {
        System::gPrefetchBytes<false>(GetNext(*mAhead), 1);
    }
}
}
