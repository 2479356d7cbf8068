#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Importers
{
/// Why an event of the trace could not be used.
enum class ERejection : std::uint8_t
{
    NotAnObject,
    NoPhase,
    NoTime,
    BadTime,
    TimeOutOfRange,
    BadDuration,
    NegativeDuration,
    NoAsyncID,
    Count,
};

/// "the time stamp is not a number"
const char* gGetRejectionText(ERejection rejection);

/// A place where the file is not as it should be. All whole events before it are kept.
struct TraceDamage
{
    std::string mReason;
    /// In the JSON text, which is the file itself unless that is compressed.
    std::uint64_t mTextOffset = 0;
    /// In the file. For a fault in the JSON of a compressed file: how far the file had been read by then.
    std::uint64_t mFileOffset = 0;
    bool mIsCompressed = false;

    /// "byte 120: the file ends within an event"
    std::string ToString() const;
};

/// What an import found, kept and left out. Every entry of the trace is in exactly one of the counts that add up to
/// mNumEvents: mNumComplete, mNumPaired (two for each interval), mNumMetadata, mNumSkipped, mNumRejected,
/// mNumUnfinished, mNumUnmatched, mNumSummaries and mNumOtherProcesses.
struct ImportReport
{
    /// Of the file, and of the text that was read from it.
    std::uint64_t mFileSize = 0;
    std::uint64_t mTextSize = 0;

    std::uint64_t mNumEvents = 0;
    /// Intervals that the capture holds: one for each complete event and one for each pair.
    std::uint64_t mNumIntervals = 0;
    std::uint64_t mNumComplete = 0;
    std::uint64_t mNumPaired = 0;
    std::uint64_t mNumMetadata = 0;
    std::uint64_t mNumSkipped = 0;
    std::uint64_t mNumRejected = 0;
    /// Begins that no end closes, complete events without a duration.
    std::uint64_t mNumUnfinished = 0;
    /// Ends that have no begin.
    std::uint64_t mNumUnmatched = 0;
    /// Intervals of the compiler that sum up others.
    std::uint64_t mNumSummaries = 0;
    /// Left out because another process was asked for.
    std::uint64_t mNumOtherProcesses = 0;

    /// Entries of phases that are no intervals, by phase.
    std::map<std::string, std::uint64_t> mSkippedByPhase;
    std::array<std::uint64_t, static_cast<std::size_t>(ERejection::Count)> mRejectedByReason{};
    /// In the order of the file; the first few when there are many.
    std::vector<TraceDamage> mDamage;

    /// Imported processes, threads of the capture, and those threads among them that hold what overlaps.
    std::uint64_t mNumProcesses = 0;
    std::uint64_t mNumThreads = 0;
    std::uint64_t mNumOverlapLanes = 0;
    std::int32_t mProcessID = 0;

    /// The capture's time 0 on the clock of the trace, and the end of its last interval, in nanoseconds.
    std::int64_t mFirstTimeNs = 0;
    std::int64_t mLastTimeNs = 0;

    /// The import was cancelled; the other figures say how far it came.
    bool mIsCancelled = false;
};
}
