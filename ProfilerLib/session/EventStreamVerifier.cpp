#include "ProfilerLib/session/EventStreamVerifier.h"

#include "ProfilerLib/session/TraceEventCodec.h"
#include "Serialization/Error.h"
#include "Utility/Format.h"

namespace Profiler
{

namespace
{

unsigned long long ToPrintable(uint64_t value)
{
    return value;
}

}

EventStreamVerifier::EventStreamVerifier(const TraceEventStream& stream) : mStream{stream} {}

bool EventStreamVerifier::Verify(Utility::Result& result)
{
    const auto context = result.PushContext(mStream.GetDataPath());
    FileSystem::InputFile file;
    FileSystem::FileError error;
    if (!file.Open(mStream.GetDataPath(), error))
        return result.FailText(Serialization::FileReadFailed, error.ToString());

    mNumEvents = 0;
    bool isSound = true;
    const std::vector<TraceEventStream::Chunk> chunks = mStream.GetChunks();
    for (std::size_t i = 0; i < chunks.size(); ++i)
    {
        std::string fault;
        if (VerifyChunk(file, chunks[i], fault))
            continue;
        isSound = false;
        result.Fail(Serialization::CorruptData, "Chunk %zu of %zu, at byte %llu: %s", i + 1, chunks.size(),
            ToPrintable(chunks[i].FileOffset), fault.c_str());
    }
    // A damaged chunk holds nobody knows how many events.
    return isSound && result.Check(mNumEvents == mStream.GetNumEvents(), Serialization::CorruptData,
                          "The chunks hold %llu events, the index counts %llu", ToPrintable(mNumEvents),
                          ToPrintable(mStream.GetNumEvents()));
}

bool EventStreamVerifier::VerifyChunk(
    const FileSystem::InputFile& file, const TraceEventStream::Chunk& chunk, std::string& fault)
{
    TraceEventStream::ReadFailure failure;
    if (TraceEventStream::sReadChunk(file, chunk, mBuffer, failure))
        return VerifyRecords(chunk, fault);
    fault = Utility::gFormat("byte %llu cannot be read: %s", ToPrintable(failure.mOffset), failure.mReason.c_str());
    return false;
}

bool EventStreamVerifier::VerifyRecords(const TraceEventStream::Chunk& chunk, std::string& fault)
{
    TraceEventDecoder decoder{mBuffer.GetBytes()};
    TraceEventRecord record;
    uint64_t numEvents = 0;
    double lastTime = chunk.StartTime;
    std::size_t offset = 0;
    while (decoder.Step(record))
    {
        const double time = record.GetTime();
        if (numEvents == 0 && time != chunk.StartTime)
            fault = Utility::gFormat("its first event is at %.17g ms, the index says %.17g ms", time, chunk.StartTime);
        else if (time < lastTime)
            fault = Utility::gFormat(
                "the event at byte %llu is earlier than the one before it", ToPrintable(chunk.FileOffset + offset));
        if (!fault.empty())
            return false;
        lastTime = time;
        offset = decoder.GetOffset();
        ++numEvents;
    }
    mNumEvents += numEvents;
    if (decoder.GetStop() != EDecodeStop::End)
        fault = Utility::gFormat("the event at byte %llu cannot be read: %s",
            ToPrintable(chunk.FileOffset + decoder.GetOffset()), gGetText(decoder.GetStop()));
    else if (numEvents == 0)
        fault = "it holds no event";
    else if (lastTime != chunk.EndTime)
        fault = Utility::gFormat("its last event is at %.17g ms, the index says %.17g ms", lastTime, chunk.EndTime);
    return fault.empty();
}

}
