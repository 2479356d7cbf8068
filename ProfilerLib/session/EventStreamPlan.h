#pragma once

#include "ProfilerLib/session/EventRunFinder.h"
#include "ProfilerLib/session/TraceEventStream.h"

#include <cstdint>
#include <vector>

namespace Profiler
{
/// What a repaired event stream keeps of its data file, and the chunks that this makes. Filled from front to back. What
/// is left out makes all behind it move up, so chunks have their offsets in the file as it will be.
class EventStreamPlan
{
public:
    /// A part of the data file as it is.
    struct Stretch
    {
        std::uint64_t mBegin = 0;
        std::uint64_t mEnd = 0;
    };

    struct PlannedChunk
    {
        TraceEventStream::Chunk mChunk;
        std::uint64_t mNumEvents = 0;
    };

    /// A chunk as it is.
    void AddChunk(const TraceEventStream::Chunk& chunk, std::uint64_t numEvents);
    /// Events that no chunk has: as many as recordings put into a chunk make one.
    void AddEvent(const EventPlace& event);

    const std::vector<Stretch>& GetStretches() const { return mStretches; }
    const std::vector<PlannedChunk>& GetChunks() const { return mChunks; }
    /// Of the data file as it will be.
    std::uint64_t GetSize() const { return mSize; }
    std::uint64_t GetNumEvents() const { return mNumEvents; }
    /// Of the last event, 0 without one.
    double GetEndTime() const { return mChunks.empty() ? 0.0 : mChunks.back().mChunk.EndTime; }

    /// The data file as it will be is the beginning of what it is.
    bool IsPrefix() const;
    /// The number of chunks that lie in the file as it is where they will.
    std::size_t GetNumUnmovedChunks() const;

private:
    void AddStretch(std::uint64_t begin, std::uint64_t end);

    std::vector<Stretch> mStretches;
    std::vector<PlannedChunk> mChunks;
    std::uint64_t mSize = 0;
    std::uint64_t mNumEvents = 0;
    bool mIsLastChunkOpen = false;
};
}
