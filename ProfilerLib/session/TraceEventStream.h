#pragma once

#include "ProfilerLib/session/TraceEvent.h"
#include "ProfilerLib/session/TraceEventReader.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/FileWriter.h"
#include "Utility/Mutex.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{
class DeferredChunkWriter;
class EventStreamRepair;
class Session;

/// All events of a capture in time order, on disk: `events.dat` holds the records in chunks, `events.index` says where
/// each chunk lies. One thread writes; any number of iterators read, on any threads, also beside the writer: they see
/// the chunks that are complete.
///
/// Whenever the program dies, every chunk that the index names is whole on the disk, and what the data file holds
/// behind the last of them is never read; the next chunk overwrites it.
class TraceEventStream : public RTTI::Object
{
public:
    /// A finished stretch of `events.dat`.
    struct Chunk
    {
        double StartTime = 0.0;       ///< time of its first event, in milliseconds
        double EndTime = 0.0;         ///< time of its last event
        std::uint64_t FileOffset = 0; ///< where it begins in `events.dat`
        std::uint64_t Size = 0;       ///< bytes

        bool operator==(const Chunk&) const = default;

        static consteval auto sDescribe()
        {
            return RTTI::gDescribe<Chunk>("Profiler::TraceEventStream::Chunk", RTTI::Version{1}, RTTI::NoCreate{},
                RTTI::Field<&Chunk::StartTime>{"StartTime"}, RTTI::Field<&Chunk::EndTime>{"EndTime"},
                RTTI::Field<&Chunk::FileOffset>{"FileOffset"}, RTTI::Field<&Chunk::Size>{"Size"});
        }
    };

    class Iterator;

    /// Events that make a chunk.
    static constexpr std::uint64_t cChunkEvents = 100000;

    /// The empty stream of a new recording. What the directory holds of an earlier one is replaced by the first write.
    explicit TraceEventStream(Session& session);
    TraceEventStream(const TraceEventStream&) = delete;
    TraceEventStream& operator=(const TraceEventStream&) = delete;
    ~TraceEventStream() override;

    /// The stream of a session's directory, or null with the reason in `result`. A data file that is shorter than the
    /// index says gives the chunks that are whole, and a line in the log; events that are added go behind them.
    static std::unique_ptr<TraceEventStream> sLoad(
        Session& session, const RTTI::TypeRegistry& registry, Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    /// Appends one event. The writing thread only. Every 100000th call writes a chunk; if that fails the events stay
    /// pending, `result` says why, and the next call tries again, so that no more is pending than one chunk and what
    /// came in since. An event that readers would stop at is refused and not kept: one of type None, or with a time
    /// that is no number or below that of the event before.
    [[nodiscard]] bool AddEvent(const TraceEventView& event, Utility::Result& result);

    /// For a recording in a directory that nobody knows before it is complete, such as an import's: chunks are written
    /// by a thread of the stream while further events come in, and are brought to the disk by `Flush`; the index and
    /// the session file are there after gSyncTree of the directory. Any failure is then final: the recording is to be
    /// given up. Before the first event.
    void DeferSync();
    /// Of the files that go with the stream.
    FileSystem::EDurability GetDurability() const;
    /// Of such a recording: has the disk begin with all that is left, while others still work on what `Flush` waits for
    /// after this. After the last event.
    [[nodiscard]] bool StartFlush(Utility::Result& result);

    /// Writes what is pending as one chunk, then the index. When both are on the disk already nothing is written. A
    /// failure leaves the data file as it was and the events pending; when only the index could not be written they are
    /// in a whole chunk, and the next call tries the index again. The writing thread only.
    [[nodiscard]] bool Flush(Utility::Result& result);

    /// A reader that begins at the first event at or after `startTime`, in milliseconds. It must not outlive the
    /// stream.
    Iterator GetIterator(double startTime) const;

    /// All that were added, also those that wait for their chunk. Any thread.
    std::uint64_t GetNumEvents() const;
    /// The complete ones, in file order, which is time order. Any thread.
    std::vector<Chunk> GetChunks() const;
    /// Chunks that the index named and the data file did not hold when the stream was loaded.
    std::uint64_t GetNumLostChunks() const { return mNumLostChunks; }
    /// False, with the reason in `result`, when what was read of this stream may not be all that was recorded: chunks
    /// were lost, or a reading ended at a fault. Any thread.
    [[nodiscard]] bool CheckWhole(Utility::Result& result) const;
    /// Readings that ended at a fault instead of the stream's end, so far. Any thread.
    std::uint64_t GetNumReadFailures() const { return mNumReadFailures.load(std::memory_order_relaxed); }
    const std::string& GetDataPath() const { return mDataPath; }
    const std::string& GetIndexPath() const { return mIndexPath; }

private:
    friend class EventStreamRepair;
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<TraceEventStream>("Profiler::TraceEventStream", RTTI::Version{2},
            RTTI::Base<RTTI::Object>{}, RTTI::NoCreate{}, RTTI::Field<&TraceEventStream::mNumStoredEvents>{"NumEvents"},
            RTTI::Field<&TraceEventStream::mChunks>{"Chunks"});
    }

    bool AppendChunk(Utility::Result& result);
    bool AddDeferred(std::uint64_t numPending, Utility::Result& result);
    void EndDeferredChunk();
    bool FlushDeferred(Utility::Result& result);
    bool WriteDeferred(Utility::Result& result);
    bool WriteIndex(Utility::Result& result);
    std::uint64_t GetDataEnd() const;
    bool GetChunk(std::size_t index, Chunk& chunk) const;
    /// The chunk that holds the first event at or after the time; false when there is none.
    bool FindChunk(double startTime, std::size_t& index) const;

    /// The stream as its index has it, whatever the data file holds.
    static std::unique_ptr<TraceEventStream> sLoadIndex(
        Session& session, const RTTI::TypeRegistry& registry, Utility::Result& result);
    bool CheckIndex(Utility::Result& result) const;
    bool DropLostChunks(Utility::Result& result);
    std::uint64_t CountEvents() const;

    // Constant after construction.
    std::string mIndexPath;
    std::string mDataPath;
    std::uint64_t mNumLostChunks = 0;

    // The writing thread only. Pending events are records already, as they will go to the file.
    Utility::OutputMemoryStream mPendingEvents;
    double mFirstPendingTime = 0.0;
    double mLastTime = 0.0;
    /// The index on the disk, if there is one, names other chunks than `mChunks`.
    bool mIsIndexStale = true;
    /// The chunks that it lacks are on the disk: it is due with the next event.
    bool mIsIndexDue = false;

    /// Only of a recording that is written without syncs.
    std::unique_ptr<DeferredChunkWriter> mDeferred;

    /// Changed by the writing thread alone. Relaxed is enough: nothing else is read on the strength of it.
    std::atomic<std::uint64_t> mNumPendingEvents{0};

    /// A count and nothing more, so relaxed is enough.
    mutable std::atomic<std::uint64_t> mNumReadFailures{0};

    // Changed by the writing thread alone, so that storing the index reads them without the lock.
    mutable Utility::Mutex mMutex;
    std::uint64_t mNumStoredEvents GUARDED_BY(mMutex) = 0;
    std::vector<Chunk> mChunks GUARDED_BY(mMutex);
};

/// Walks the events of a stream in order, a block of a chunk in memory at a time, with a file of its own. One thread at
/// a time. At a fault (the file cannot be read or has shrunk, a record is bad) the reading ends there as if the stream
/// did, and a line in the log says where and why. Once at its end it stays there, also when the writer goes on.
class TraceEventStream::Iterator
{
public:
    Iterator(Iterator&&) noexcept = default;
    Iterator& operator=(Iterator&&) noexcept = default;
    ~Iterator() = default;

    bool IsAtEnd() { return !Prepare(); }

    /// The next event, and moves on; at the end one of type None with the time -1.0.
    TraceEvent Next()
    {
        TraceEventView view;
        return NextView(view) ? TraceEvent{view} : TraceEvent{};
    }

    /// The same without making strings: the texts live until the next call of any operation. False at the end.
    [[nodiscard]] bool NextView(TraceEventView& event)
    {
        if (!Prepare())
        {
            return false;
        }
        event = mRecord.GetView();
        mHasRecord = false;
        return true;
    }

    /// Calls `bool visit(const TraceEventRecord&)` for each event that is left, until it returns false; the record
    /// lives during the call. The fastest way through a stream: an event costs what `visit` looks at.
    template <class Visitor>
    void ForEachRecord(Visitor&& visit)
    {
        while (Prepare())
        {
            mHasRecord = false;
            if (!mReader.VisitBlock(mRecord, visit))
            {
                return;
            }
        }
    }

    /// Why the reading ended before the stream did; empty when it did not.
    const std::string& GetFailure() const { return mFailure; }

private:
    friend class TraceEventStream;
    explicit Iterator(const TraceEventStream& stream) : mStream{&stream} {}

    /// Makes the next record the current one unless there is one that nobody has taken yet. The next block is read only
    /// now, so that texts of the last event of a block live as long as all others.
    bool Prepare()
    {
        if (mHasRecord || mReader.Step(mRecord)) [[likely]]
        {
            mHasRecord = true;
            return true;
        }
        return PrepareNextChunk();
    }
    bool PrepareNextChunk();
    void Stop(std::uint64_t offset, const std::string& reason);

    const TraceEventStream* mStream;
    TraceEventReader mReader;
    TraceEventRecord mRecord;
    bool mHasRecord = false;
    bool mIsAtEnd = true;
    std::size_t mNextChunk = 0;
    std::string mFailure;
};
}
