#include "Importers/LaneMerger.h"

#include "Importers/DecimalTime.h"
#include "Importers/EventSink.h"
#include "Importers/TextTable.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace Importers
{
namespace
{
/// Tells whether the text has not been sent before, and notes that it has been now.
bool MarkSent(StoredText& text)
{
    if (text.mMark != 0)
    {
        return false;
    }
    text.mMark = 1;
    return true;
}
}

LaneMerger::LaneMerger(
    std::span<const RecordingThread> threads, NameTable& names, TextArena& contexts, std::int64_t origin)
    : mNames(names),
      mContexts(contexts),
      mOrigin(origin)
{
    constexpr int stepsAhead = 4;

    const std::size_t numLeaves = std::bit_ceil(std::max<std::size_t>(threads.size(), 2));
    mTimes.assign(numLeaves, sNever);
    mWinners.resize(2 * numLeaves);
    std::iota(mWinners.begin() + static_cast<std::ptrdiff_t>(numLeaves), mWinners.end(), 0U);
    for (const RecordingThread& thread : threads)
    {
        Cursor& cursor = mCursors.emplace_back();
        cursor.mThread = &thread;
        cursor.mNext = &thread.mIntervals[thread.mFirst];
        cursor.mAhead = cursor.mNext;
        for (int i = 0; i < stepsAhead; ++i)
        {
            MoveAhead(cursor);
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

bool LaneMerger::Send(std::uint64_t count, EventSink& sink, Utility::Result& result)
{
    const std::uint64_t last = mNumSent + count;
    while (mNumSent < last && !IsAtEnd())
    {
        const std::uint32_t index = mWinners[1];
        Cursor& cursor = mCursors[index];
        if (!SendNext(cursor, sink, result))
        {
            return false;
        }
        mTimes[index] = cursor.IsAtEnd() ? sNever : cursor.GetTime();
        Play(index);
    }
    return true;
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

bool LaneMerger::SendNext(Cursor& cursor, EventSink& sink, Utility::Result& result)
{
    RecordedEvent event;
    event.mThreadID = cursor.mThread->mID;
    event.mTimeMs = gToMilliseconds(static_cast<std::uint64_t>(cursor.GetTime()) - static_cast<std::uint64_t>(mOrigin));
    return cursor.IsEndNext() ? SendEnd(cursor, event, sink, result) : SendBegin(cursor, event, sink, result);
}

bool LaneMerger::SendBegin(Cursor& cursor, RecordedEvent& event, EventSink& sink, Utility::Result& result)
{
    if (!cursor.mHasStarted)
    {
        cursor.mHasStarted = true;
        event.mKind = EEventKind::ThreadStart;
        if (!sink.OnEvent(event, result))
        {
            return false;
        }
        event.mKind = EEventKind::ThreadName;
        event.mName = cursor.mThread->mName;
        if (!event.mName.empty() && !sink.OnEvent(event, result))
        {
            return false;
        }
    }

    const Interval& interval = *cursor.mNext;
    StoredText& name = mNames.Get(interval.mName);
    event.mKind = EEventKind::Begin;
    event.mNameID = name.mHash;
    event.mName = name.GetText();
    event.mIsNewName = MarkSent(name);
    if (interval.mContext != TextArena::sNone)
    {
        StoredText& context = mContexts.Get(interval.mContext);
        event.mContext = context.GetText();
        event.mContextID = context.mHash;
        event.mIsNewContext = MarkSent(context);
    }
    cursor.mOpen.push_back(interval.mEnd);
    MoveOn(cursor);
    ++mNumSent;
    return sink.OnEvent(event, result);
}

const Interval* LaneMerger::sGetNext(const Cursor& cursor, const Interval& interval)
{
    return interval.mNext != Interval::sLast ? &cursor.mThread->mIntervals[interval.mNext] : nullptr;
}

void LaneMerger::MoveOn(Cursor& cursor)
{
    cursor.mNext = sGetNext(cursor, *cursor.mNext);
    MoveAhead(cursor);
}

/// Fetches the context of the interval that it comes to, and the interval behind that: both may lie anywhere.
void LaneMerger::MoveAhead(Cursor& cursor)
{
    if (cursor.mAhead == nullptr)
    {
        return;
    }
    cursor.mAhead = sGetNext(cursor, *cursor.mAhead);
    if (cursor.mAhead != nullptr)
    {
        __builtin_prefetch(sGetNext(cursor, *cursor.mAhead));
        if (cursor.mAhead->mContext != TextArena::sNone)
        {
            mContexts.Get(cursor.mAhead->mContext).Prefetch();
        }
    }
}

bool LaneMerger::SendEnd(Cursor& cursor, RecordedEvent& event, EventSink& sink, Utility::Result& result)
{
    cursor.mOpen.pop_back();
    event.mKind = EEventKind::End;
    if (!sink.OnEvent(event, result))
    {
        return false;
    }
    if (!cursor.IsAtEnd())
    {
        return true;
    }
    event.mKind = EEventKind::ThreadEnd;
    return sink.OnEvent(event, result);
}
}
