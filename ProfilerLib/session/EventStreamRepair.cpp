#include "ProfilerLib/session/EventStreamRepair.h"

#include "ProfilerLib/session/EventFileWalk.h"
#include "ProfilerLib/session/EventStreamVerifier.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/Error.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"

#include <algorithm>
#include <cinttypes>

namespace Profiler
{
namespace
{
/// How many events a later one that is earlier can cast doubt on.
constexpr std::size_t cNumRecent = 32;

std::string DescribeBytes(std::uint64_t begin, std::uint64_t end, const std::string& fault)
{
    return Utility::gFormat("Bytes %" PRIu64 " to %" PRIu64 ": %s", begin, end - 1, fault.c_str());
}

bool Fail(const FileSystem::FileError& error, Utility::Result& result)
{
    return result.FailText(Serialization::Unspecified, error.ToString());
}
}

EventStreamRepair::EventStreamRepair(
    Session& session, const RTTI::TypeRegistry& registry, const std::atomic<bool>* cancelled)
    : mSession{session},
      mRegistry{registry},
      mCancelled{cancelled},
      mIndexPath{session.GetEventStream().GetIndexPath()},
      mDataPath{session.GetEventStream().GetDataPath()}
{}

bool EventStreamRepair::Examine(Utility::Result& result)
{
    const auto context = result.PushContext(mDataPath);
    FileSystem::FileError error;
    if (!FileSystem::gFileExists(mDataPath))
    {
        return result.FailText(
            Serialization::FileNotFound, "The file does not exist, and all else of a capture is made from it");
    }
    if (!mData.Open(mDataPath, error) || !mData.GetSize(mDataSize, error))
    {
        return result.FailText(Serialization::FileReadFailed, error.ToString());
    }
    std::vector<TraceEventStream::Chunk> chunks;
    if (!ExamineIndex(chunks, result) || !ExamineChunks(chunks, result))
    {
        return false;
    }

    // What follows is what no index names, or what is left of a chunk that was cut off.
    const std::size_t numWhole = chunks.size() - static_cast<std::size_t>(mNumLostChunks);
    const bool hasWhole = numWhole != 0;
    const std::uint64_t numEvents = mPlan.GetNumEvents();
    if (!ExamineRest(hasWhole ? chunks[numWhole - 1].FileOffset + chunks[numWhole - 1].Size : 0,
            hasWhole ? chunks[numWhole - 1].EndTime : 0.0, result))
    {
        return false;
    }
    mNumFoundEvents = mIndex == EIndex::Sound ? mPlan.GetNumEvents() - numEvents : 0;
    return true;
}

bool EventStreamRepair::ExamineIndex(std::vector<TraceEventStream::Chunk>& chunks, Utility::Result& result)
{
    if (!FileSystem::gFileExists(mIndexPath))
    {
        mIndexFault = "There is none";
        return true;
    }
    Utility::Result loaded;
    const auto stream = TraceEventStream::sLoadIndex(mSession, mRegistry, loaded);
    if (stream != nullptr)
    {
        mIndex = EIndex::Sound;
        mNumIndexedEvents = stream->GetNumEvents();
        chunks = stream->GetChunks();
        return true;
    }
    const Utility::Result::Entry& reason = loaded.GetEntries().back();
    // Of another build, or on a disk that fails: nothing of it is damaged.
    if (reason.mCode == Serialization::Incompatible || reason.mCode == Serialization::FileReadFailed)
    {
        const auto context = result.PushContext(mIndexPath);
        return result.FailText(reason.mCode, reason.mMessage);
    }
    mIndex = EIndex::Damaged;
    mIndexFault = reason.mMessage;
    return true;
}

bool EventStreamRepair::ExamineChunks(const std::vector<TraceEventStream::Chunk>& chunks, Utility::Result& result)
{
    EventFileWalk walk{mData};
    for (std::size_t i = 0; i < chunks.size(); ++i)
    {
        if (!CheckCancelled(result))
        {
            return false;
        }
        const TraceEventStream::Chunk& chunk = chunks[i];
        const bool isWhole = chunk.FileOffset + chunk.Size <= mDataSize;
        std::uint64_t numEvents = 0;
        std::string fault = Utility::gFormat("the file ends at byte %" PRIu64, mDataSize);
        if (isWhole && gVerifyChunk(walk, chunk, numEvents, fault))
        {
            mPlan.AddChunk(chunk, numEvents);
            continue;
        }
        // What the disk does not give now it may give later, or elsewhere: it must not be taken for damage.
        if (isWhole && walk.GetStop() == EventFileWalk::EStop::Unreadable)
        {
            return result.FailText(Serialization::FileReadFailed, walk.GetFault());
        }
        mNumLostChunks += isWhole ? 0 : 1;
        mDamages.push_back(gDescribeDamagedChunk(i, chunks.size(), chunk, fault));
    }
    return true;
}

bool EventStreamRepair::ExamineRest(std::uint64_t begin, double time, Utility::Result& result)
{
    // The last ones wait until it is clear that what follows does not contradict them.
    std::vector<EventPlace> recent;
    const auto keep = [&](std::size_t count) {
        const auto end = recent.begin() + static_cast<std::ptrdiff_t>(count);
        std::for_each(recent.begin(), end, [&](const EventPlace& event) { mPlan.AddEvent(event); });
        time = count == 0 ? time : (end - 1)->mTime;
        recent.erase(recent.begin(), end);
    };

    EventFileWalk walk{mData};
    walk.Start(begin, mDataSize, time);
    do
    {
        for (std::uint64_t offset = walk.GetOffset(); walk.Step(); offset = walk.GetOffset())
        {
            recent.push_back({offset, walk.GetOffset(), walk.GetTime()});
            if (recent.size() == 1024 * cNumRecent)
            {
                if (!CheckCancelled(result))
                {
                    return false;
                }
                keep(recent.size() - cNumRecent);
            }
        }
        keep(recent.size() - std::min(recent.size(), cNumRecent));
        if (walk.GetStop() == EventFileWalk::EStop::Unreadable)
        {
            return result.FailText(Serialization::FileReadFailed, walk.GetFault());
        }
        if (walk.GetStop() != EventFileWalk::EStop::End && !PassDamage(walk, time, recent, result))
        {
            return false;
        }
    } while (walk.GetStop() == EventFileWalk::EStop::None);
    keep(recent.size());
    return true;
}

/// Lets the walk go on where records begin again, without the recent ones that are later than those. Where none do, it
/// stays at its stop.
bool EventStreamRepair::PassDamage(
    EventFileWalk& walk, double time, std::vector<EventPlace>& recent, Utility::Result& result)
{
    const bool isSoundRecord = walk.GetStop() == EventFileWalk::EStop::TimeGoesBack;
    EventRunFinder finder{mData};
    std::optional<EventRunFinder::Run> run;
    FileSystem::FileError error;
    if (!finder.Find(walk.GetOffset() + (isSoundRecord ? 0 : 1), mDataSize, time, recent, run, error))
    {
        return result.FailText(Serialization::FileReadFailed, error.ToString());
    }
    if (!run.has_value())
    {
        NoteRest(walk);
        return true;
    }
    std::uint64_t begin = walk.GetOffset();
    if (run->mNumContradicted != 0)
    {
        const auto contradicted = recent.end() - static_cast<std::ptrdiff_t>(run->mNumContradicted);
        begin = contradicted->mBegin;
        recent.erase(contradicted, recent.end());
    }
    mDamages.push_back(DescribeBytes(begin, run->mBegin, walk.GetFault()));
    walk.Start(run->mBegin, mDataSize, recent.empty() ? time : recent.back().mTime);
    return true;
}

/// What is behind the last whole event. Behind the chunks of a sound index it is what was being written when a
/// recording died; without one only an event that was cut off can be told from damage.
void EventStreamRepair::NoteRest(const EventFileWalk& walk)
{
    if (walk.GetStop() == EventFileWalk::EStop::PastEnd || mIndex == EIndex::Sound)
    {
        mNumTornBytes = mDataSize - walk.GetOffset();
    }
    else
    {
        mDamages.push_back(DescribeBytes(walk.GetOffset(), mDataSize, walk.GetFault()));
    }
}

bool EventStreamRepair::IsRepairDue() const
{
    return mIndex != EIndex::Sound || !mDamages.empty() || mPlan.GetNumEvents() != mNumIndexedEvents;
}

bool EventStreamRepair::Repair(Utility::Result& result)
{
    if (!IsRepairDue())
    {
        return true;
    }
    const auto context = result.PushContext(mDataPath);
    FileSystem::FileError error;
    std::uint64_t size = 0;
    if (!mData.GetSize(size, error))
    {
        return Fail(error, result);
    }
    if (size != mDataSize)
    {
        return result.FailText(Serialization::Unspecified, "The file is being written by somebody else");
    }
    if (!mPlan.IsPrefix())
    {
        return Rewrite(result);
    }
    // Once the index does not name it, what is cut off is of no use to anyone.
    return WriteIndex(mPlan.GetChunks().size(), result) && (mDamages.empty() || CutData(result));
}

/// Replaces the data file by one without the damages. Neither the old index nor the new one fits both files, so in
/// between it is one that fits both.
bool EventStreamRepair::Rewrite(Utility::Result& result)
{
    FileSystem::AtomicFileWriter writer;
    if (!CopyStretches(writer, result))
    {
        return false;
    }
    if (mIndex == EIndex::Sound && !WriteIndex(mPlan.GetNumUnmovedChunks(), result))
    {
        return false;
    }
    FileSystem::FileError error;
    return (writer.Commit(error) || Fail(error, result)) && WriteIndex(mPlan.GetChunks().size(), result);
}

bool EventStreamRepair::CopyStretches(FileSystem::AtomicFileWriter& writer, Utility::Result& result)
{
    FileSystem::FileError error;
    if (!writer.Open(mDataPath, error))
    {
        return Fail(error, result);
    }
    std::vector<std::byte> window(1024 * 1024);
    for (const EventStreamPlan::Stretch& stretch : mPlan.GetStretches())
    {
        for (std::uint64_t position = stretch.mBegin; position < stretch.mEnd;)
        {
            const std::span<std::byte> bytes{window.data(),
                static_cast<std::size_t>(std::min<std::uint64_t>(window.size(), stretch.mEnd - position))};
            const std::optional<std::size_t> count = mData.ReadAt(position, bytes, error);
            if (!count.has_value())
            {
                return Fail(error, result);
            }
            if (*count != bytes.size())
            {
                return result.FailText(Serialization::Unspecified, "The file has become shorter");
            }
            if (!writer.Write(bytes, error))
            {
                return Fail(error, result);
            }
            if (!CheckCancelled(result))
            {
                return false;
            }
            position += bytes.size();
        }
    }
    return true;
}

bool EventStreamRepair::CutData(Utility::Result& result)
{
    FileSystem::AppendFile file;
    FileSystem::FileError error;
    return (file.Open(mDataPath, error) && file.Truncate(mPlan.GetSize(), error) && file.Sync(error)) ||
           Fail(error, result);
}

/// One that names the first of the planned chunks.
bool EventStreamRepair::WriteIndex(std::size_t numChunks, Utility::Result& result)
{
    TraceEventStream stream{mSession};
    {
        const Utility::MutexLock lock{stream.mMutex};
        for (std::size_t i = 0; i < numChunks; ++i)
        {
            const EventStreamPlan::PlannedChunk& planned = mPlan.GetChunks()[i];
            stream.mChunks.push_back(planned.mChunk);
            stream.mNumStoredEvents += planned.mNumEvents;
        }
    }
    return stream.WriteIndex(result);
}

bool EventStreamRepair::CheckCancelled(Utility::Result& result) const
{
    // Relaxed: the flag carries nothing with it.
    return result.Check(mCancelled == nullptr || !mCancelled->load(std::memory_order_relaxed), 0, "Interrupted");
}
}
