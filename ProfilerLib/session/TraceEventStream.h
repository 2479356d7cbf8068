#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/session/TraceEvent.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/FileSystem.h"
#include "Utility/Mutex.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

class Session;

/// All events of a capture in time order, on disk: `events.dat` holds the records in chunks, `events.index` says where each
/// chunk lies. One thread writes; any number of iterators read, on any threads, also beside the writer: they see the
/// chunks that are complete.
class TraceEventStream : public RTTI::Object
{
public:
    /// A finished stretch of `events.dat`.
    struct Chunk
    {
        double StartTime = 0.0;  ///< time of its first event, in milliseconds
        double EndTime = 0.0;    ///< time of its last event
        uint64_t FileOffset = 0; ///< where it begins in `events.dat`
        uint64_t Size = 0;       ///< bytes

        static consteval auto sDescribe();
    };

    class Iterator;

    /// Events that make a chunk.
    static constexpr uint64_t cChunkEvents = 100000;

    explicit TraceEventStream(Session& session);
    ~TraceEventStream() override;

    /// The stream of a session's directory, or null with the reason in `result`.
    static std::unique_ptr<TraceEventStream> sLoad(
        Session& session, const RTTI::TypeRegistry& registry, Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    /// Appends one event. The writing thread only. Every 100000th call writes a chunk; if that fails the events stay
    /// pending, `result` says why, and the next call tries again.
    [[nodiscard]] bool AddEvent(const TraceEvent& event, Utility::Result& result);

    /// Writes what is pending as one chunk, then the index. Nothing is written when nothing is pending.
    [[nodiscard]] bool Flush(Utility::Result& result);

    /// A reader that begins at the first event at or after `startTime`, in milliseconds. It must not outlive the stream.
    Iterator GetIterator(double startTime) const;

    uint64_t GetNumEvents() const;
    std::vector<Chunk> GetChunks() const;
    const std::string& GetDataPath() const;
    const std::string& GetIndexPath() const;
};

}
