#pragma once

#include "ProfilerLib/session/EventStreamPlan.h"
#include "Utility/FileWriter.h"
#include "Utility/Result.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{
class EventFileWalk;
class Session;

/// Puts a damaged event stream right: `Examine` reads and says what there is, `Repair` writes. A lost index is made
/// anew from the data file, whole events behind the last chunk are taken in, and what cannot be read is left out, which
/// is why the caller asks first when there are damages. Chunks of a sound index keep their borders; where there is
/// none, every 100000 events make a chunk, as in a recording. One thread; nobody may be writing the stream.
class EventStreamRepair
{
public:
    enum class EIndex : std::uint8_t
    {
        Sound,
        Missing,
        Damaged,
    };

    /// Both, and the flag, which may be null, outlive the object. The work ends soon after the flag is set, with a
    /// failure.
    EventStreamRepair(Session& session, const RTTI::TypeRegistry& registry, const std::atomic<bool>* cancelled);

    /// Changes nothing. False when there is nothing to repair with: no data file, files that the system cannot read, or
    /// an index that is sound but of another build.
    [[nodiscard]] bool Examine(Utility::Result& result);

    EIndex GetIndex() const { return mIndex; }
    /// Why the index cannot be read; empty when it can.
    const std::string& GetIndexFault() const { return mIndexFault; }
    /// What a repair will leave out of the data file, in its order: chunks with their number, offset and reason, and
    /// where no index says where chunks lie, stretches of bytes.
    const std::vector<std::string>& GetDamages() const { return mDamages; }
    /// Whether a repair has anything to do.
    bool IsRepairDue() const;

    /// Bytes behind the last whole event that are none, and that no chunk has: what a recording leaves that was cut off
    /// in the middle of one.
    std::uint64_t GetNumTornBytes() const { return mNumTornBytes; }
    /// Events that a sound index does not name and a repair takes in.
    std::uint64_t GetNumFoundEvents() const { return mNumFoundEvents; }
    /// Events that a sound index names, as far as it is sound.
    std::uint64_t GetNumIndexedEvents() const { return mNumIndexedEvents; }
    /// After the repair.
    std::uint64_t GetNumEvents() const { return mPlan.GetNumEvents(); }
    std::size_t GetNumChunks() const { return mPlan.GetChunks().size(); }

    /// Writes what is due, damages left out. The data file is changed only when there are any. Whatever fails, and
    /// whenever the program dies, the capture can be repaired again, and everything that would have been kept is still
    /// kept then.
    [[nodiscard]] bool Repair(Utility::Result& result);

private:
    bool ExamineIndex(std::vector<TraceEventStream::Chunk>& chunks, Utility::Result& result);
    bool ExamineChunks(const std::vector<TraceEventStream::Chunk>& chunks, Utility::Result& result);
    bool ExamineRest(std::uint64_t begin, double time, Utility::Result& result);
    bool PassDamage(EventFileWalk& walk, double time, std::vector<EventPlace>& recent, Utility::Result& result);
    void NoteRest(const EventFileWalk& walk);

    bool Rewrite(Utility::Result& result);
    bool CopyStretches(FileSystem::AtomicFileWriter& writer, Utility::Result& result);
    bool CutData(Utility::Result& result);
    bool WriteIndex(std::size_t numChunks, Utility::Result& result);
    bool CheckCancelled(Utility::Result& result) const;

    Session& mSession;
    const RTTI::TypeRegistry& mRegistry;
    const std::atomic<bool>* const mCancelled;
    const std::string mIndexPath;
    const std::string mDataPath;

    FileSystem::InputFile mData;
    std::uint64_t mDataSize = 0;
    EIndex mIndex = EIndex::Missing;
    std::string mIndexFault;
    std::uint64_t mNumIndexedEvents = 0;
    std::uint64_t mNumLostChunks = 0; ///< of a sound index, that the data file is too short for
    std::vector<std::string> mDamages;
    std::uint64_t mNumTornBytes = 0;
    std::uint64_t mNumFoundEvents = 0;
    EventStreamPlan mPlan;
};
}
