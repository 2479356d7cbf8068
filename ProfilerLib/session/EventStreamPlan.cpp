#include "ProfilerLib/session/EventStreamPlan.h"

#include <algorithm>

namespace Profiler
{
void EventStreamPlan::AddChunk(const TraceEventStream::Chunk& chunk, std::uint64_t numEvents)
{
    mChunks.push_back({{chunk.StartTime, chunk.EndTime, mSize, chunk.Size}, numEvents});
    mIsLastChunkOpen = false;
    mNumEvents += numEvents;
    AddStretch(chunk.FileOffset, chunk.FileOffset + chunk.Size);
}

void EventStreamPlan::AddEvent(const EventPlace& event)
{
    if (!mIsLastChunkOpen)
    {
        mChunks.push_back({{event.mTime, event.mTime, mSize, 0}, 0});
    }
    PlannedChunk& chunk = mChunks.back();
    chunk.mChunk.EndTime = event.mTime;
    chunk.mChunk.Size += event.mEnd - event.mBegin;
    ++chunk.mNumEvents;
    mIsLastChunkOpen = chunk.mNumEvents < TraceEventStream::cChunkEvents;
    ++mNumEvents;
    AddStretch(event.mBegin, event.mEnd);
}

void EventStreamPlan::AddStretch(std::uint64_t begin, std::uint64_t end)
{
    mSize += end - begin;
    if (!mStretches.empty() && mStretches.back().mEnd == begin)
    {
        mStretches.back().mEnd = end;
    }
    else
    {
        mStretches.push_back({begin, end});
    }
}

bool EventStreamPlan::IsPrefix() const
{
    return mStretches.empty() || (mStretches.size() == 1 && mStretches.front().mBegin == 0);
}

std::size_t EventStreamPlan::GetNumUnmovedChunks() const
{
    if (mStretches.empty() || mStretches.front().mBegin != 0)
    {
        return 0;
    }
    const auto end = std::find_if(mChunks.begin(), mChunks.end(), [&](const PlannedChunk& chunk) {
        return chunk.mChunk.FileOffset + chunk.mChunk.Size > mStretches.front().mEnd;
    });
    return static_cast<std::size_t>(end - mChunks.begin());
}
}
