#pragma once

#include <cstdint>
#include <string>

#include "ProfilerLib/session/TraceEventStream.h"
#include "Utility/Result.h"

namespace Profiler
{

class EventFileWalk;

/// Reads every chunk of a stream anew from where the index says that it begins, and checks that its records are sound,
/// in time order, and what the index says of them. A damaged chunk does not keep the ones behind it from being checked.
/// One thread; the stream may be in use by readers, but not by a writer.
class EventStreamVerifier
{
public:
    explicit EventStreamVerifier(const TraceEventStream& stream);

    /// True when all is sound. Otherwise `result` has an entry for every damaged chunk, with its number, its offset in
    /// the data file and the reason.
    [[nodiscard]] bool Verify(Utility::Result& result);

private:
    const TraceEventStream& mStream;
};

/// Checks one chunk. True, with the number of its events, when it is what the index says; otherwise `fault` says why
/// not.
[[nodiscard]] bool gVerifyChunk(
    EventFileWalk& walk, const TraceEventStream::Chunk& chunk, uint64_t& numEvents, std::string& fault);

/// The one form in which damaged chunks are told. The first chunk has the index 0, and the number 1.
std::string gDescribeDamagedChunk(
    std::size_t index, std::size_t numChunks, const TraceEventStream::Chunk& chunk, const std::string& fault);

}
