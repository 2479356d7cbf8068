#pragma once

#include "System/JobDescription.h"
#include "System/JobQueue.h"

namespace System
{
struct Job;
struct JobWaitEntry;

/// The jobs of one exclusion group, from the first one's scheduling to the last one's end. Guarded by the scheduler's
/// lock.
struct JobGroup
{
    uint32_t mGroup = 0;
    uint32_t mJobCount = 0;  ///< queued and running ones
    bool mIsRunning = false; ///< one of the jobs is running
    JobQueue mParked;        ///< queued jobs that were met in the scheduler's queue while one was running
    JobGroup* mNextInTable = nullptr;
};

/// One scheduled job, owned by the scheduler from scheduling to the end of its life and guarded by its lock, with two
/// exceptions: the thread that runs it may read its handle and call `mWork` without, and `mCancelled` is written under
/// the lock and read with `gIsCancelled` without.
struct Job
{
    JobDescription::WorkFunction mWork;
    bool mCancelled = false;
    uint8_t mPriority = 0;
    uint32_t mJobID = 0;
    uint32_t mGroup = 0;
    uint32_t mChain = 0;
    JobDescription::CancellationFunction mCancellation;

    JobGroup* mGroupState = nullptr;
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
        if (mCancellation)
        {
            mCancellation(state);
        }
    }
};

[[nodiscard]] inline bool gRunsBefore(const Job& a, const Job& b)
{
    return a.mPriority != b.mPriority ? a.mPriority < b.mPriority : a.mSequence < b.mSequence;
}
}
