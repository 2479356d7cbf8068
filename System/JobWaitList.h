#pragma once

#include "System/Mutex.h"
#include "System/RunningGroups.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace System
{
class JobWaitList;
struct Job;

/// One job on the list of one waiting thread.
struct JobWaitEntry
{
    JobWaitList* mList = nullptr;
    Job* mJob = nullptr; ///< null once the job is gone
    JobWaitEntry* mNext = nullptr;
};

/// The jobs that one thread waits for. It lives on that thread's stack, and each job knows the lists that it is on: the
/// end of a job costs a step for each of them, and wakes no thread but one that has nothing left to wait for. Guarded
/// by the scheduler's lock.
class JobWaitList
{
public:
    /// `condition` is what the thread sleeps on. Room for `capacity` jobs is made here, so that it can be made
    /// unlocked.
    JobWaitList(ConditionVariable& condition, size_t capacity);
    ~JobWaitList();
    JobWaitList(const JobWaitList&) = delete;
    JobWaitList& operator=(const JobWaitList&) = delete;

    void Add(Job& job);

    /// Whether all its jobs are gone.
    [[nodiscard]] bool IsEmpty() const { return mRemaining == 0; }

    /// The first of its queued jobs, in execution order, whose group is not running; null when there is none.
    /// `orderVersion` is any number that is another one after a queued job has changed its place.
    [[nodiscard]] Job* FindFirstReady(const RunningGroups& runningGroups, uint64_t orderVersion);

    /// Whether it has a job of this group that was in the way of FindFirstReady when that last found none.
    [[nodiscard]] bool HasBlockedJob(uint32_t group) const;

    /// Sleeps until something may have changed for this thread.
    void Sleep(Mutex& mutex) REQUIRES(mutex);

    /// Takes a job that is leaving off all lists, and wakes the threads for which it was the last one.
    static void sRemove(Job& job);

private:
    struct BlockedGroup
    {
        uint32_t mGroup;
        size_t mFirst;
        std::vector<const JobWaitEntry*> mEntries; ///< in execution order, from `mFirst` on
    };

    void SortQueuedJobs();
    void PutAside(const JobWaitEntry& entry);
    [[nodiscard]] Job* FindFirstUnblocked(const RunningGroups& runningGroups);

    ConditionVariable& mCondition;
    size_t mRemaining = 0;
    bool mIsAsleep = false;
    std::vector<JobWaitEntry> mEntries;

    // For FindFirstReady alone: the entries that may still be run here.
    uint64_t mOrderVersion = 0;
    bool mIsSorted = false;
    size_t mFirst = 0;
    std::vector<const JobWaitEntry*> mOrder; ///< in execution order, from `mFirst` on
    std::vector<BlockedGroup> mBlocked;      ///< taken out of `mOrder` when their group was running
};
}
