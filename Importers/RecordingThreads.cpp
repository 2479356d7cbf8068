#include "Importers/RecordingThreads.h"

#include "Importers/ImportReport.h"
#include "Importers/ParallelLoop.h"
#include "Importers/ThreadTable.h"

#include <algorithm>
#include <optional>
#include <set>
#include <unordered_set>

namespace Importers
{
namespace
{
class FreeIDs
{
public:
    bool Take(std::int32_t id) { return mTaken.insert(id).second; }
    std::int32_t TakeAny()
    {
        while (!Take(mNext))
        {
            ++mNext;
        }
        return mNext++;
    }

private:
    std::unordered_set<std::int32_t> mTaken;
    std::int32_t mNext = gFirstFreeID;
};

std::string GetThreadLabel(const TraceThread& thread)
{
    if (thread.mIsAsync)
    {
        return "async: " + thread.mCategory;
    }
    if (!thread.mName.empty())
    {
        return thread.mName;
    }
    return thread.mID.mKind == TraceID::EKind::Text ? thread.mID.ToString() : "Thread " + thread.mID.ToString();
}

std::string GetProcessLabel(const TraceProcess& process)
{
    return process.mName.empty() ? "Process " + process.mID.ToString() : process.mName;
}

bool HasSeveralProcesses(ThreadTable& threads)
{
    const std::deque<TraceProcess>& processes = threads.GetProcesses();
    return std::count_if(
               processes.begin(), processes.end(), [](const TraceProcess& process) { return process.mHasEvents; }) > 1;
}

/// The one with most intervals, and of equal ones that with the smallest id.
std::int32_t ChooseProcessID(ThreadTable& threads)
{
    const TraceProcess* chosen = nullptr;
    for (const TraceProcess& process : threads.GetProcesses())
    {
        if (chosen == nullptr || process.mNumIntervals > chosen->mNumIntervals ||
            (process.mNumIntervals == chosen->mNumIntervals && process.mID < chosen->mID))
        {
            chosen = &process;
        }
    }
    return chosen != nullptr && chosen->mID.FitsInt32() ? static_cast<std::int32_t>(chosen->mID.mNumber) : gFirstFreeID;
}
}

std::vector<RecordingThread> gMakeRecordingThreads(ThreadTable& threads, ImportReport& report)
{
    const std::vector<std::uint32_t> sorted = threads.GetSortedThreads();
    const bool hasSeveralProcesses = HasSeveralProcesses(threads);

    // All ids that stay come before any that is given out.
    FreeIDs ids;
    std::vector<std::optional<std::int32_t>> ownIDs;
    std::set<std::uint32_t> processes;
    for (const std::uint32_t index : sorted)
    {
        const TraceThread& thread = threads.GetThreads()[index];
        const auto number = static_cast<std::int32_t>(thread.mID.mNumber);
        const bool stays = !thread.mIsAsync && thread.mID.FitsInt32() && ids.Take(number);
        ownIDs.push_back(stays ? std::optional(number) : std::nullopt);
        processes.insert(thread.mProcess);
    }

    gLoopInParallel(sorted.size(),
        [&](std::size_t, std::size_t index) { threads.GetThreads()[sorted[index]].mIntervals.FinishLanes(); });

    std::vector<RecordingThread> recording;
    for (std::size_t i = 0; i < sorted.size(); ++i)
    {
        const TraceThread& thread = threads.GetThreads()[sorted[i]];
        std::string name = GetThreadLabel(thread);
        if (hasSeveralProcesses)
        {
            name = GetProcessLabel(threads.GetProcessOf(thread)) + " / " + name;
        }
        // A number that stays says as much as the name that would be made of it.
        const bool needsName = hasSeveralProcesses || thread.mIsAsync || !thread.mName.empty() || !ownIDs[i];

        const std::span<const std::uint32_t> lanes = thread.mIntervals.GetLanes();
        for (std::size_t lane = 0; lane < lanes.size(); ++lane)
        {
            RecordingThread& added = recording.emplace_back();
            added.mID = lane == 0 && ownIDs[i] ? *ownIDs[i] : ids.TakeAny();
            added.mName = lane > 0    ? name + " (overlap " + std::to_string(lane) + ")"
                          : needsName ? name
                                      : std::string();
            added.mIntervals = thread.mIntervals.Get();
            added.mFirst = lanes[lane];
        }
        report.mNumOverlapLanes += lanes.size() - 1;
    }
    report.mNumProcesses = processes.size();
    report.mNumThreads = recording.size();
    report.mProcessID = ChooseProcessID(threads);
    return recording;
}
}
