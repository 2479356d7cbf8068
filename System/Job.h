#pragma once

#include "System/JobDescription.h"
#include "System/JobQueue.h"

#include <memory>

namespace System
{
struct Job;
struct JobWaitEntry;

/// The queued jobs of one group that were met at the front of the queue while another one was running. Most groups
/// never have one. Guarded by the scheduler's lock.
struct ParkedGroup
{
    uint32_t mGroup = 0;
    JobQueue mJobs;
    ParkedGroup* mNextInTable = nullptr;
};

/// One scheduled job, owned by the scheduler from scheduling to the end of its life and guarded by its lock, with two
/// exceptions: the thread that runs it may read its handle and call `mWork` without, and `mCancelled` is written under
/// the lock and read with `gIsCancelled` without. Two cache lines: the cost of a job is mostly that of reaching them.
struct alignas(128) Job
{
    JobDescription::WorkFunction mWork;
    std::unique_ptr<JobDescription::CancellationFunction> mCancellation; ///< as a rule there is none
    bool mCancelled = false;
    uint8_t mPriority = 0;
    uint32_t mJobID = 0;
    uint32_t mGroup = 0;
    uint32_t mChain = 0;

    uint64_t mSequence = 0;      ///< orders the jobs of one priority
    JobQueue* mQueue = nullptr;  ///< where it is queued; null once it runs
    Job* mPrevious = nullptr;    ///< in `mQueue`
    Job* mNext = nullptr;        ///< in `mQueue`
    Job* mNextInTable = nullptr; ///< in the table of all jobs
    Job* mOuter = nullptr;       ///< the job that its thread was in when it began to run this one
    JobWaitEntry* mWaits = nullptr;

    [[nodiscard]] JobHandle GetHandle() const { return {mJobID, mGroup, mChain}; }
    [[nodiscard]] bool IsQueued() const { return mQueue != nullptr; }

    void Tell(EJobCancellationState state) const
    {
        if (mCancellation != nullptr)
        {
            (*mCancellation)(state);
        }
    }
};

[[nodiscard]] inline bool gRunsBefore(const Job& a, const Job& b)
{
    return a.mPriority != b.mPriority ? a.mPriority < b.mPriority : a.mSequence < b.mSequence;
}
}
