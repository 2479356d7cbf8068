#pragma once

#include <cstdint>
#include <vector>

#include "ProfilerLib/session/TraceEventStream.h"
#include "Utility/FileWriter.h"
#include "Utility/Result.h"

namespace Profiler
{

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
    bool VerifyChunk(const FileSystem::InputFile& file, const TraceEventStream::Chunk& chunk, std::string& fault);
    bool VerifyRecords(const TraceEventStream::Chunk& chunk, std::string& fault);

    const TraceEventStream& mStream;
    TraceEventStream::ChunkBuffer mBuffer;
    uint64_t mNumEvents = 0;
};

}
