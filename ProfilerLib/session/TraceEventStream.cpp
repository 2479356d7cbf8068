#include "ProfilerLib/session/TraceEventStream.h"

#include "ProfilerLib/session/DeferredChunkWriter.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/Format.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <cinttypes>
#include <limits>
#include <span>

namespace Profiler
{
TraceEventStream::TraceEventStream(Session& session)
    : mIndexPath{session.GetFile("events.index")},
      mDataPath{session.GetFile("events.dat")}
{}

TraceEventStream::~TraceEventStream() = default;

const RTTI::TypeHandle& TraceEventStream::GetType() const
{
    return RTTI::gTypeOf<TraceEventStream>();
}

bool TraceEventStream::AddEvent(const TraceEventView& event, Utility::Result& result)
{
    if (static_cast<std::size_t>(event.mType) >= TraceEventLayout::cNumTypes) [[unlikely]]
    {
        return result.Fail(
            Serialization::Unspecified, "An event of type %d cannot be stored", static_cast<int>(event.mType));
    }
    if (!(event.mTime >= mLastTime && event.mTime <= std::numeric_limits<double>::max())) [[unlikely]]
    {
        return result.Fail(Serialization::Unspecified,
            "An event at %.17g ms cannot be stored behind one at %.17g ms: times are finite and never decrease",
            event.mTime, mLastTime);
    }
    gEncodeTraceEvent(event, mPendingEvents);
    mLastTime = event.mTime;

    const std::uint64_t numPending = mNumPendingEvents.load(std::memory_order_relaxed) + 1;
    mNumPendingEvents.store(numPending, std::memory_order_relaxed);
    if (numPending == 1)
    {
        mFirstPendingTime = event.mTime;
    }
    if (mDeferred != nullptr)
    {
        return AddDeferred(numPending, result);
    }
    if (numPending >= cChunkEvents) [[unlikely]]
    {
        return Flush(result);
    }
    return !mIsIndexDue || WriteIndex(result);
}

void TraceEventStream::DeferSync()
{
    mDeferred = std::make_unique<DeferredChunkWriter>(mDataPath);
}

/// Leaves the pending records to the thread when there are many. Where a chunk ends does not matter for that.
bool TraceEventStream::AddDeferred(std::uint64_t numPending, Utility::Result& result)
{
    if (numPending >= cChunkEvents)
    {
        EndDeferredChunk();
    }
    return mPendingEvents.GetSize() < DeferredChunkWriter::cPieceSize || mDeferred->Write(mPendingEvents, result);
}

void TraceEventStream::EndDeferredChunk()
{
    const std::uint64_t start = GetDataEnd();
    const std::uint64_t end = mDeferred->GetSize() + mPendingEvents.GetSize();
    const Utility::MutexLock lock{mMutex};
    mChunks.push_back({mFirstPendingTime, mLastTime, start, end - start});
    mNumStoredEvents += mNumPendingEvents.load(std::memory_order_relaxed);
    mNumPendingEvents.store(0, std::memory_order_relaxed);
    mIsIndexStale = true;
}

/// All that is pending, as the last piece.
bool TraceEventStream::WriteDeferred(Utility::Result& result)
{
    if (mNumPendingEvents.load(std::memory_order_relaxed) != 0)
    {
        EndDeferredChunk();
    }
    return mPendingEvents.GetSize() == 0 || mDeferred->Write(mPendingEvents, result);
}

bool TraceEventStream::StartFlush(Utility::Result& result)
{
    if (!WriteDeferred(result))
    {
        return false;
    }
    mDeferred->StartSync();
    return true;
}

bool TraceEventStream::FlushDeferred(Utility::Result& result)
{
    if (!WriteDeferred(result) || !mDeferred->Finish(result))
    {
        return false;
    }
    return !mIsIndexStale || WriteIndex(result);
}

bool TraceEventStream::Flush(Utility::Result& result)
{
    if (mDeferred != nullptr)
    {
        return FlushDeferred(result);
    }
    if (mNumPendingEvents.load(std::memory_order_relaxed) != 0)
    {
        return AppendChunk(result) && WriteIndex(result);
    }
    if (!mIsIndexStale)
    {
        return true;
    }
    if (GetDataEnd() == 0)
    {
        // A recording without events is a capture too, and one that replaces an earlier recording.
        FileSystem::AppendFile file;
        FileSystem::FileError error;
        if (!file.Open(mDataPath, error))
        {
            return result.Fail(Serialization::Unspecified, "Unable to open event stream %s. Error: %s",
                mDataPath.c_str(), error.GetReason().c_str());
        }
        if (!WriteIndex(result))
        {
            return false;
        }
        return file.Truncate(0, error) || result.FailText(Serialization::Unspecified, error.ToString());
    }
    return WriteIndex(result);
}

/// Brings the pending records to the disk, behind the last whole chunk.
bool TraceEventStream::AppendChunk(Utility::Result& result)
{
    const std::uint64_t end = GetDataEnd();
    FileSystem::AppendFile file;
    FileSystem::FileError error;
    if (!file.Open(mDataPath, error))
    {
        return result.Fail(Serialization::Unspecified, "Unable to open event stream %s. Error: %s", mDataPath.c_str(),
            error.GetReason().c_str());
    }
    // An index that names other chunks must not see its bytes replaced.
    if (mIsIndexStale && FileSystem::gFileExists(mIndexPath) && !WriteIndex(result))
    {
        return false;
    }

    std::uint64_t size = 0;
    if (!file.GetSize(size, error))
    {
        return result.FailText(Serialization::Unspecified, error.ToString());
    }
    if (size < end)
    {
        return result.Fail(Serialization::CorruptData,
            "Unable to write event stream %s. Error: the file has shrunk to %" PRIu64
            " bytes, its chunks end at %" PRIu64,
            mDataPath.c_str(), size, end);
    }
    const std::span<const std::byte> bytes = mPendingEvents.GetData();
    if ((size > end && !file.Truncate(end, error)) || !file.WriteAt(end, bytes, error) || !file.Sync(error))
    {
        // Nothing of it may stay. Should this fail too, the next try truncates first.
        FileSystem::FileError ignored;
        static_cast<void>(file.Truncate(end, ignored));
        return result.Fail(Serialization::Unspecified, "Unable to write event stream %s. Error: %s", mDataPath.c_str(),
            error.GetReason().c_str());
    }

    {
        const Utility::MutexLock lock{mMutex};
        mChunks.push_back({mFirstPendingTime, mLastTime, end, bytes.size()});
        mNumStoredEvents += mNumPendingEvents.load(std::memory_order_relaxed);
        mNumPendingEvents.store(0, std::memory_order_relaxed);
    }
    mPendingEvents.Clear();
    mIsIndexStale = true;
    return true;
}

bool TraceEventStream::WriteIndex(Utility::Result& result)
{
    const bool isWritten = Serialization::gWriteBinaryFile(mIndexPath, {this}, result, GetDurability());
    mIsIndexStale = !isWritten;
    mIsIndexDue = !isWritten && GetDataEnd() != 0;
    return isWritten;
}

FileSystem::EDurability TraceEventStream::GetDurability() const
{
    return mDeferred != nullptr ? FileSystem::EDurability::WithFolder : FileSystem::EDurability::AtOnce;
}

std::uint64_t TraceEventStream::GetDataEnd() const
{
    const Utility::MutexLock lock{mMutex};
    return mChunks.empty() ? 0 : mChunks.back().FileOffset + mChunks.back().Size;
}

bool TraceEventStream::GetChunk(std::size_t index, Chunk& chunk) const
{
    const Utility::MutexLock lock{mMutex};
    if (index >= mChunks.size())
    {
        return false;
    }
    chunk = mChunks[index];
    return true;
}

bool TraceEventStream::FindChunk(double startTime, std::size_t& index) const
{
    const Utility::MutexLock lock{mMutex};
    // By the ends: of several chunks that begin at the same time, the first may hold the event.
    const auto position = std::lower_bound(mChunks.begin(), mChunks.end(), startTime,
        [](const Chunk& chunk, double time) { return chunk.EndTime < time; });
    index = static_cast<std::size_t>(position - mChunks.begin());
    return position != mChunks.end();
}

TraceEventStream::Iterator TraceEventStream::GetIterator(double startTime) const
{
    Iterator iterator{*this};
    if (!FindChunk(startTime, iterator.mNextChunk))
    {
        return iterator;
    }
    iterator.mIsAtEnd = false;
    FileSystem::FileError error;
    if (!iterator.mReader.Open(mDataPath, error))
    {
        iterator.Stop(0, error.GetReason());
        return iterator;
    }
    while (iterator.Prepare() && iterator.mRecord.GetTime() < startTime)
    {
        iterator.mHasRecord = false;
    }
    return iterator;
}

std::uint64_t TraceEventStream::GetNumEvents() const
{
    const Utility::MutexLock lock{mMutex};
    return mNumStoredEvents + mNumPendingEvents.load(std::memory_order_relaxed);
}

std::vector<TraceEventStream::Chunk> TraceEventStream::GetChunks() const
{
    const Utility::MutexLock lock{mMutex};
    return mChunks;
}

bool TraceEventStream::Iterator::PrepareNextChunk()
{
    while (!mIsAtEnd)
    {
        Chunk chunk;
        if (!mReader.GetFailure().empty())
        {
            Stop(mReader.GetOffset(), mReader.GetFailure());
        }
        else if (!mStream->GetChunk(mNextChunk, chunk))
        {
            mIsAtEnd = true;
        }
        else
        {
            ++mNextChunk;
            mHasRecord = mReader.Begin(chunk.FileOffset, chunk.Size) && mReader.Step(mRecord);
            if (mHasRecord)
            {
                return true;
            }
        }
    }
    return false;
}

void TraceEventStream::Iterator::Stop(std::uint64_t offset, const std::string& reason)
{
    mIsAtEnd = true;
    mStream->mNumReadFailures.fetch_add(1, std::memory_order_relaxed);
    mFailure = Utility::gFormat("Reading of event stream %s stopped at offset %" PRIu64 ": %s",
        mStream->mDataPath.c_str(), offset, reason.c_str());
    Utility::gTrace("%s", mFailure.c_str());
}
}
