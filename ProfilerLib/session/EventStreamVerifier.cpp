#include "ProfilerLib/session/EventStreamVerifier.h"

#include <cinttypes>

#include "ProfilerLib/session/EventFileWalk.h"
#include "Serialization/Error.h"
#include "Utility/Format.h"

namespace Profiler
{

EventStreamVerifier::EventStreamVerifier(const TraceEventStream& stream) : mStream{stream} {}

bool EventStreamVerifier::Verify(Utility::Result& result)
{
    const auto context = result.PushContext(mStream.GetDataPath());
    FileSystem::InputFile file;
    FileSystem::FileError error;
    if (!file.Open(mStream.GetDataPath(), error))
        return result.FailText(Serialization::FileReadFailed, error.ToString());

    EventFileWalk walk{file};
    uint64_t numEvents = 0;
    bool isSound = true;
    const std::vector<TraceEventStream::Chunk> chunks = mStream.GetChunks();
    for (std::size_t i = 0; i < chunks.size(); ++i)
    {
        uint64_t numChunkEvents = 0;
        std::string fault;
        if (!gVerifyChunk(walk, chunks[i], numChunkEvents, fault))
            isSound =
                result.FailText(Serialization::CorruptData, gDescribeDamagedChunk(i, chunks.size(), chunks[i], fault));
        numEvents += numChunkEvents;
    }
    // A damaged chunk holds nobody knows how many events.
    return isSound &&
           result.Check(numEvents == mStream.GetNumEvents(), Serialization::CorruptData,
               "The chunks hold %" PRIu64 " events, the index counts %" PRIu64, numEvents, mStream.GetNumEvents());
}

bool gVerifyChunk(EventFileWalk& walk, const TraceEventStream::Chunk& chunk, uint64_t& numEvents, std::string& fault)
{
    walk.Start(chunk.FileOffset, chunk.FileOffset + chunk.Size, 0.0);
    numEvents = 0;
    while (walk.Step())
    {
        if (numEvents++ == 0 && walk.GetTime() != chunk.StartTime)
        {
            fault = Utility::gFormat(
                "its first event is at %.17g ms, the index says %.17g ms", walk.GetTime(), chunk.StartTime);
            return false;
        }
    }
    fault = walk.GetFault();
    if (fault.empty() && numEvents == 0)
        fault = "it holds no event";
    else if (fault.empty() && walk.GetTime() != chunk.EndTime)
        fault =
            Utility::gFormat("its last event is at %.17g ms, the index says %.17g ms", walk.GetTime(), chunk.EndTime);
    return fault.empty();
}

std::string gDescribeDamagedChunk(
    std::size_t index, std::size_t numChunks, const TraceEventStream::Chunk& chunk, const std::string& fault)
{
    return Utility::gFormat(
        "Chunk %zu of %zu, at byte %" PRIu64 ": %s", index + 1, numChunks, chunk.FileOffset, fault.c_str());
}

}
