#pragma once

#include "Importers/Interval.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Importers
{
class ThreadTable;
struct ImportReport;

/// One thread of a capture: a lane of a thread of the trace. Its intervals nest.
struct RecordingThread
{
    std::int32_t mID = 0;
    /// Empty when it gets none.
    std::string mName;
    /// Of all lanes of the thread; those of this one are chained from mFirst on. The ThreadTable owns them.
    std::span<const Interval> mIntervals;
    std::uint32_t mFirst = 0;
};

/// Ids that are given out count from here up: far above the ids that systems use, so that they are told from real ones.
constexpr std::int32_t gFirstFreeID = 1'000'000'000;

/// Distributes the intervals of each thread over lanes and gives each lane its id and name, all independent of the
/// order of events in the file. A thread's id stays if it is an int32_t and no process with a smaller id has a thread
/// of that id; all others get free ids. Fills the report's counts of processes, threads and lanes, and the process.
std::vector<RecordingThread> gMakeRecordingThreads(ThreadTable& threads, ImportReport& report);
}
