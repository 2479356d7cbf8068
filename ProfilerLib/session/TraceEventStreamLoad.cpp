#include "ProfilerLib/session/TraceEventStream.h"

#include "ProfilerLib/session/Session.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <limits>

namespace Profiler
{
std::unique_ptr<TraceEventStream> TraceEventStream::sLoad(
    Session& session, const RTTI::TypeRegistry& registry, Utility::Result& result)
{
    const std::string dataPath = session.GetFile("events.dat");
    {
        const auto context = result.PushContext(dataPath);
        if (!result.Check(FileSystem::gFileExists(dataPath), Serialization::FileNotFound,
                "Unable to open events data file %s, the file does not exist", dataPath.c_str()))
        {
            return nullptr;
        }
    }
    std::unique_ptr<TraceEventStream> stream = sLoadIndex(session, registry, result);
    return stream != nullptr && stream->DropLostChunks(result) ? std::move(stream) : nullptr;
}

std::unique_ptr<TraceEventStream> TraceEventStream::sLoadIndex(
    Session& session, const RTTI::TypeRegistry& registry, Utility::Result& result)
{
    const std::string indexPath = session.GetFile("events.index");
    const auto context = result.PushContext(indexPath);
    RTTI::ObjectFactory factory;
    factory.SetFactory<TraceEventStream>([&session] { return std::make_unique<TraceEventStream>(session); });
    auto stream = Serialization::gReadFirst<TraceEventStream>(indexPath, registry, factory,
        Serialization::EUnknownTypePolicy::Fail,
        "The file does not appear to be a TraceEventStream file (missing TraceEventStream object)", result);
    if (stream == nullptr)
    {
        return nullptr;
    }
    stream->mIsIndexStale = false;
    return stream->CheckIndex(result) ? std::move(stream) : nullptr;
}

/// What a valid checksum does not say: the chunks lie back to back in time order.
bool TraceEventStream::CheckIndex(Utility::Result& result) const
{
    const Utility::MutexLock lock{mMutex};
    std::uint64_t end = 0;
    double time = 0.0;
    for (std::size_t i = 0; i < mChunks.size(); ++i)
    {
        const Chunk& chunk = mChunks[i];
        if (chunk.FileOffset != end || chunk.Size < TraceEventLayout::cPayload ||
            chunk.Size > std::numeric_limits<std::int64_t>::max() - end)
        {
            return result.Fail(Serialization::CorruptData,
                "Chunk %zu of the event stream is given as %" PRIu64 " bytes at offset %" PRIu64
                ", the one before it ends at %" PRIu64,
                i, chunk.Size, chunk.FileOffset, end);
        }
        if (!(chunk.StartTime >= time && chunk.EndTime >= chunk.StartTime && std::isfinite(chunk.EndTime)))
        {
            return result.Fail(Serialization::CorruptData,
                "Chunk %zu of the event stream is given as the time from %.17g to %.17g ms, the one before it ends at "
                "%.17g ms",
                i, chunk.StartTime, chunk.EndTime, time);
        }
        end += chunk.Size;
        time = chunk.EndTime;
    }
    if (mNumStoredEvents < mChunks.size() || mNumStoredEvents > end / TraceEventLayout::cPayload)
    {
        return result.Fail(Serialization::CorruptData,
            "The index gives %" PRIu64 " events to %zu chunks of %" PRIu64 " bytes in all", mNumStoredEvents,
            mChunks.size(), end);
    }
    return true;
}

/// Leaves the chunks that the data file holds whole.
bool TraceEventStream::DropLostChunks(Utility::Result& result)
{
    const auto context = result.PushContext(mDataPath);
    FileSystem::InputFile file;
    FileSystem::FileError error;
    std::uint64_t fileSize = 0;
    if (!file.Open(mDataPath, error) || !file.GetSize(fileSize, error))
    {
        return result.FailText(Serialization::FileReadFailed, error.ToString());
    }

    const std::uint64_t end = GetDataEnd();
    const std::size_t numChunks = GetChunks().size();
    {
        const Utility::MutexLock lock{mMutex};
        while (!mChunks.empty() && mChunks.back().FileOffset + mChunks.back().Size > fileSize)
        {
            mChunks.pop_back();
            ++mNumLostChunks;
        }
        mLastTime = mChunks.empty() ? 0.0 : mChunks.back().EndTime;
    }
    if (mNumLostChunks != 0)
    {
        const std::uint64_t numEvents = CountEvents();
        const Utility::MutexLock lock{mMutex};
        Utility::gTrace("Event stream %s has %" PRIu64 " bytes where its index names %" PRIu64 ": the last %" PRIu64
                        " of %zu chunks were dropped, and with them %" PRIu64 " of %" PRIu64 " events",
            mDataPath.c_str(), fileSize, end, mNumLostChunks, numChunks,
            mNumStoredEvents - std::min(mNumStoredEvents, numEvents), mNumStoredEvents);
        mNumStoredEvents = numEvents;
        mIsIndexStale = true;
    }
    return true;
}

bool TraceEventStream::CheckWhole(Utility::Result& result) const
{
    const auto context = result.PushContext(mDataPath);
    if (mNumLostChunks != 0)
    {
        return result.Fail(Serialization::CorruptData,
            "The file lacks %" PRIu64 " chunk(s) that its index names; what they held is missing", mNumLostChunks);
    }
    return GetNumReadFailures() == 0 ||
           result.FailText(Serialization::CorruptData,
               "An event cannot be read; all from there on is missing ('verify' says where)");
}

std::uint64_t TraceEventStream::CountEvents() const
{
    std::uint64_t numEvents = 0;
    TraceEventReader reader;
    FileSystem::FileError error;
    bool isReadable = reader.Open(mDataPath, error);
    for (const Chunk& chunk : GetChunks())
    {
        TraceEventRecord record;
        isReadable = isReadable && reader.Begin(chunk.FileOffset, chunk.Size);
        while (isReadable && reader.Step(record))
        {
            ++numEvents;
        }
    }
    return numEvents;
}
}
