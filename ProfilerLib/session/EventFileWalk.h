#pragma once

#include "ProfilerLib/session/TraceEventCodec.h"
#include "Utility/FileWriter.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Profiler
{
/// Steps over the records of a stretch of an event file and checks each as a reader would. No more than a window of the
/// file is in memory, whatever its records claim to be; long texts are stepped over unread. For who checks or repairs a
/// file; who wants the events takes a `TraceEventStream::Iterator`. One thread; the file must outlive the walk.
class EventFileWalk
{
public:
    enum class EStop : std::uint8_t
    {
        None,         ///< the walk goes on
        End,          ///< at the end of the stretch
        BadRecord,    ///< no record begins there
        PastEnd,      ///< the record that begins there is longer than what is left of the stretch
        TimeGoesBack, ///< the record is sound, but earlier than the one before it
        Unreadable,   ///< the system cannot read on, or the file has become shorter
    };

    explicit EventFileWalk(const FileSystem::InputFile& file);

    /// From now on the records from `begin` on, of which none reaches behind `end`, with times that never fall below
    /// `time`.
    void Start(std::uint64_t begin, std::uint64_t end, double time);

    /// Moves over one record. False at the end of the stretch and at a fault, and from then on.
    [[nodiscard]] bool Step()
    {
        TraceEventRecord record;
        if (mDecoder.Step(record)) [[likely]]
        {
            return Accept(record.GetTime(), mWindowBegin + mDecoder.GetOffset());
        }
        return StepBehindWindow();
    }

    /// Of the record that was stepped over last, in milliseconds; before the first, the time to start from.
    double GetTime() const { return mTime; }
    /// Where the next record begins; after `Step` has returned false, where the walk ended.
    std::uint64_t GetOffset() const { return mOffset; }

    EStop GetStop() const { return mStop; }
    /// What keeps the walk from going on, with its place in the file, as a sentence; empty at the end of the stretch.
    const std::string& GetFault() const { return mFault; }

private:
    bool Accept(double time, std::uint64_t next)
    {
        if (time < mTime) [[unlikely]]
        {
            return StopAtEarlierTime();
        }
        mTime = time;
        mOffset = next;
        return true;
    }
    bool StopAtEarlierTime();
    bool StepBehindWindow();
    bool StepOverLongRecord();
    bool LoadWindow();
    bool Read(std::uint64_t offset, std::span<std::byte> target);
    bool Stop(EStop stop, std::string fault);
    bool StopAtRecord(EDecodeStop reason);

    const FileSystem::InputFile& mFile;
    std::vector<std::byte> mWindow;
    /// The part of the file that the decoder walks.
    std::uint64_t mWindowBegin = 0;
    std::uint64_t mWindowEnd = 0;
    TraceEventDecoder mDecoder;
    std::uint64_t mOffset = 0;
    std::uint64_t mEnd = 0;
    double mTime = 0.0;
    EStop mStop = EStop::End;
    std::string mFault;
};
}
