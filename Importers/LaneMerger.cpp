#include "Importers/LaneMerger.h"

#include "Importers/DecimalTime.h"
#include "Importers/EventSink.h"
#include "Importers/TextTable.h"

#include <algorithm>
#include <limits>

namespace Importers
{
namespace
{
/// Tells whether the text has not been sent before, and notes that it has been now.
bool MarkSent(StoredText& text)
{
    return std::exchange(text.mMark, 1u) == 0;
}
}

LaneMerger::LaneMerger(
    std::span<const RecordingThread> threads, NameTable& names, TextArena& contexts, std::int64_t origin)
    : mNames(names),
      mContexts(contexts),
      mOrigin(origin)
{
    for (const RecordingThread& thread : threads)
    {
        Cursor& cursor = mCursors.emplace_back();
        cursor.mThread = &thread;
        cursor.mNext = &thread.mIntervals[thread.mFirst];
        mHeap.emplace_back(cursor.GetTime(), static_cast<std::uint32_t>(mCursors.size() - 1));
    }
    // A sorted array is a heap.
    std::sort(mHeap.begin(), mHeap.end());
}

bool LaneMerger::Send(std::uint64_t count, EventSink& sink, Utility::Result& result)
{
    constexpr Entry never = {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::uint32_t>::max()};

    const std::uint64_t last = mNumSent + count;
    while (!mHeap.empty() && mNumSent < last)
    {
        // The thread in front goes on for as long as no other has an earlier event.
        const std::uint32_t index = mHeap[0].second;
        Cursor& cursor = mCursors[index];
        const Entry second = std::min(mHeap.size() > 1 ? mHeap[1] : never, mHeap.size() > 2 ? mHeap[2] : never);
        do
        {
            if (!SendNext(cursor, sink, result))
            {
                return false;
            }
        } while (!cursor.IsAtEnd() && mNumSent < last && Entry(cursor.GetTime(), index) < second);

        if (cursor.IsAtEnd())
        {
            mHeap[0] = mHeap.back();
            mHeap.pop_back();
        }
        else
        {
            mHeap[0].first = cursor.GetTime();
        }
        SiftDown(0);
    }
    return true;
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

/// To the next interval, and fetches what will be needed of that and of the one behind it: both may lie anywhere.
void LaneMerger::MoveOn(Cursor& cursor)
{
    if (cursor.mNext->mNext == Interval::sLast)
    {
        cursor.mNext = nullptr;
        return;
    }
    const Interval& next = cursor.mThread->mIntervals[cursor.mNext->mNext];
    cursor.mNext = &next;
    if (next.mNext != Interval::sLast)
    {
        __builtin_prefetch(&cursor.mThread->mIntervals[next.mNext]);
    }
    if (next.mContext != TextArena::sNone)
    {
        mContexts.Get(next.mContext).Prefetch();
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

void LaneMerger::SiftDown(std::size_t position)
{
    while (true)
    {
        std::size_t child = 2 * position + 1;
        if (child >= mHeap.size())
        {
            return;
        }
        if (child + 1 < mHeap.size() && mHeap[child + 1] < mHeap[child])
        {
            ++child;
        }
        if (mHeap[position] < mHeap[child])
        {
            return;
        }
        std::swap(mHeap[position], mHeap[child]);
        position = child;
    }
}
}
