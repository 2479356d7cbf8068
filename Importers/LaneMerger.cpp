#include "Importers/LaneMerger.h"

#include "Importers/DecimalTime.h"
#include "Importers/TextTable.h"
#include "System/Prefetch.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace Importers
{
LaneMerger::LaneMerger(std::span<const RecordingThread> threads, std::int64_t origin)
    : mOrigin(static_cast<std::uint64_t>(origin))
{
    constexpr int stepsAhead = 4;

    // Whoever never plays loses against everyone.
    mLosers.assign(std::bit_ceil(std::max<std::size_t>(threads.size(), 2)), sNobody);
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
    }
    std::vector<Player> winners(2 * mLosers.size(), sNobody);
    for (std::size_t i = 0; i < mCursors.size(); ++i)
    {
        winners[mLosers.size() + i] = GetPlayer(i);
    }
    for (std::size_t node = mLosers.size() - 1; node > 0; --node)
    {
        const std::size_t winner = 2 * node + (winners[2 * node].mTime <= winners[2 * node + 1].mTime ? 0 : 1);
        winners[node] = winners[winner];
        mLosers[node] = winners[winner ^ 1];
    }
    mWinner = winners[1];
}

/// As it comes next. Times are shifted by half their range to be ordered without a sign.
inline LaneMerger::Player LaneMerger::GetPlayer(std::size_t cursor) const
{
    const Cursor& next = mCursors[cursor];
    const auto shifted = [](std::int64_t time) {
        return static_cast<std::uint64_t>(time) ^ (std::uint64_t{1} << 63);
    };
    return next.IsAtEnd() ? sNobody : Player{shifted(next.GetTime()), cursor};
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
        const std::uint64_t cursor = mWinner.mCursor;
        TakeNext(static_cast<std::uint32_t>(cursor), events[count]);
        Play(cursor);
    }
    return count;
}

/// The matches of a cursor whose time has changed.
inline void LaneMerger::Play(std::size_t cursor)
{
    Player player = GetPlayer(cursor);
    for (std::size_t node = (mLosers.size() + cursor) / 2; node > 0; node /= 2)
    {
        // The two are exchanged by bits, since a branch would be guessed wrong half the time.
        Player& loser = mLosers[node];
        const bool isBeaten =
            (loser.mTime < player.mTime) | ((loser.mTime == player.mTime) & (loser.mCursor < player.mCursor));
        const std::uint64_t mask = std::uint64_t{0} - static_cast<std::uint64_t>(isBeaten);
        const Player change{(loser.mTime ^ player.mTime) & mask, (loser.mCursor ^ player.mCursor) & mask};
        loser = {loser.mTime ^ change.mTime, loser.mCursor ^ change.mCursor};
        player = {player.mTime ^ change.mTime, player.mCursor ^ change.mCursor};
    }
    mWinner = player;
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
