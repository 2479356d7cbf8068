#pragma once

#include "System/IdTable.h"
#include "System/Job.h"
#include "System/JobDescription.h"
#include "System/JobWaitList.h"
#include "System/Mutex.h"
#include "System/ObjectPool.h"
#include "System/RunningGroups.h"
#include "System/ThreadLocalSlot.h"

#include <span>
#include <thread>
#include <vector>

namespace System
{
/// The application's one pool of background threads. A caller hands it work with a priority and a group and gets a
/// handle back. Work of one group never runs at the same time, more urgent work starts first, and work can be cancelled
/// before it starts, or asked to stop while it runs. A thread that waits for jobs runs them itself. The host owns the
/// scheduler and gives it to the plug-ins. Every operation may be called on any thread, also from inside a job; not
/// from a cancellation function. What a job waits for must not need a group that the job itself holds up.
///
/// Invariants, all of them under `mMutex`:
///
/// 1. `mJobs` holds every job from `Schedule` to its end. A queued job is in `mQueue`, or in `mParkedGroups` with the
///    others of its group; a running one is in neither, and its group is in `mRunningGroups`, once.
/// 2. While a group has parked jobs and is not running, `mQueue` holds a job of it that comes before all of them: when
///    a run ends, or a job leaves `mQueue` without being run, the first parked one moves back. So the first job of
///    `mQueue` whose group is not running is the first of all queued jobs that may start. A job that is passed over is
///    parked, and is not met again before its group is free: a long row of blocked jobs costs each of them once.
/// 3. No queued job is marked as cancelled: the operation that marks it also removes it.
/// 4. A job knows its entries in the lists of the threads that wait for it, and a list counts those of its entries
///    whose jobs are in `mJobs`.
///
/// Progress. A taker is a thread that may run any job: a worker, in its loop or in `Wait`. Takers sleep on
/// `mWorkAvailable`, all others on `mJobFinished`.
///
/// 5. At each release of the lock no taker sleeps, or no queued job may start, or a taker has been woken and has not
///    looked yet (`mIsTakerOnItsWay`). Only `Schedule` and the end of a job let a job start that could not, and only a
///    taker that looks ends the third case; each of them goes through `TakeWakeUps` before it releases the lock, and so
///    does a taker that leaves `Wait` instead of taking a job. A burst of jobs thus wakes the takers one by one, each
///    by the one before it.
/// 6. A waiting thread that is no taker may run the jobs of its list alone, and no later job joins that. It sleeps when
///    all of them are running or blocked, so it needs to look again when the group of one comes free and is not taken
///    at once by the thread that freed it. `TakeWakeUps` sees to that too.
/// 7. Any waiting thread, taker or not, is woken by the end of the last job on its list.
///
/// So a job that may start is started as long as there is a taker, or a thread that waits for it, that is not busy; and
/// a thread that waits leaves when its jobs have ended.
class JobScheduler
{
public:
    /// Starts that many workers, none for less than 1: jobs then run only on threads that wait for them. A thread that
    /// cannot be started ends the process.
    explicit JobScheduler(int threadCount) noexcept;

    /// Cancels all jobs and waits for those that run. A thread that is still in an operation that waits is seen off
    /// first; to begin one beside the destructor is an error of the caller.
    ~JobScheduler();

    JobScheduler(const JobScheduler&) = delete;
    JobScheduler& operator=(const JobScheduler&) = delete;

    /// Inside a job that has been cancelled nothing is scheduled: the cancellation function is told both states, the
    /// work never runs, and the handle is no job. What the work holds is destroyed as soon as it has returned, before
    /// any thread that waits for the job goes on.
    JobHandle Schedule(JobDescription description) EXCLUDES(mMutex);
    JobHandle Schedule(JobDescription::WorkFunction work) EXCLUDES(mMutex);

    /// Queued jobs never run. Running ones have their flag set, and run until they heed it. Does not wait.
    void Cancel(const std::vector<JobHandle>& handles) EXCLUDES(mMutex);

    /// Returns when none of the jobs exists any more, except for those that this thread is itself inside of, which it
    /// cannot outwait. With `cancelFirst` it cancels them and sleeps. Without, it runs those that may start; a worker
    /// with none of them to run takes any other job.
    void Wait(const std::vector<JobHandle>& handles, bool cancelFirst) EXCLUDES(mMutex);

    /// Cancels every job of the handle's chain and sleeps until they are gone, with the same exception as `Wait`.
    void CancelChain(const JobHandle& handle) EXCLUDES(mMutex);

    /// Moves a queued job behind those of its new priority. Any other is left alone.
    void SetPriority(const JobHandle& handle, uint8_t priority) EXCLUDES(mMutex);

    /// The job that the calling thread is running, or no job.
    [[nodiscard]] JobHandle GetCurrentJob() const;

private:
    /// Whom to wake once the lock is released.
    struct WakeUps
    {
        bool mTaker = false;
        bool mWaiters = false;
    };

    /// What a thread knows about itself while it may run jobs. On its own stack.
    struct RunningThread
    {
        const bool mIsWorker = false;
        Job* mJob = nullptr;   ///< the one that it is running, the innermost one where they nest
        Job* mSpare = nullptr; ///< used for the next job that it schedules: it has run the last one and has it at hand
    };

    void RunWorker(int index) EXCLUDES(mMutex);
    static void sRun(Job& job, RunningThread& thread) noexcept;
    void WaitAndRun(const std::vector<JobHandle>& handles) EXCLUDES(mMutex);

    using CancellationPointer = std::unique_ptr<JobDescription::CancellationFunction>;

    Job& Enter(JobDescription& description, CancellationPointer cancellation, RunningThread* thread) REQUIRES(mMutex);
    void Leave(Job& job) REQUIRES(mMutex);
    void Discard(Job& job) REQUIRES(mMutex);

    void Enqueue(Job& job) REQUIRES(mMutex);
    void Dequeue(Job& job) REQUIRES(mMutex);
    void Park(Job& job) REQUIRES(mMutex);
    void Unpark(uint32_t group) REQUIRES(mMutex);
    void RemoveIfEmpty(ParkedGroup& parked) REQUIRES(mMutex);
    [[nodiscard]] Job* FindFirstReady() REQUIRES(mMutex);
    void Start(Job& job) REQUIRES(mMutex);
    void Finish(Job& job, RunningThread& thread) REQUIRES(mMutex);

    [[nodiscard]] std::vector<Job*> FindJobs(const std::vector<JobHandle>& handles) const REQUIRES(mMutex);
    void CancelJobs(std::span<Job* const> jobs) REQUIRES(mMutex);
    void SleepUntilGone(std::span<Job* const> jobs) REQUIRES(mMutex);
    void CloseWait() REQUIRES(mMutex);
    void AddToList(JobWaitList& list, Job& job) const REQUIRES(mMutex);

    void NoteTakerAwake() REQUIRES(mMutex);
    [[nodiscard]] WakeUps TakeWakeUps(uint32_t freedGroup) REQUIRES(mMutex);
    void Notify(WakeUps wakeUps);

    [[nodiscard]] RunningThread* GetThread() const { return static_cast<RunningThread*>(mThread.Get()); }
    [[nodiscard]] Job* GetJobOfThread() const;

    std::vector<std::thread> mThreads; ///< constant from the constructor to the destructor
    ThreadLocalSlot mThread;           ///< the RunningThread of workers, and of others while they wait and run

    // What each job changes lies in few cache lines, the first of which comes with the lock: these lines are what the
    // threads hand each other.
    alignas(64) Mutex mMutex;
    int mIdleTakers GUARDED_BY(mMutex) = 0;           ///< asleep on `mWorkAvailable`
    bool mIsTakerOnItsWay GUARDED_BY(mMutex) = false; ///< one of them has been woken and has not looked yet
    bool mStop GUARDED_BY(mMutex) = false;            ///< set once there is no job any more
    bool mIsClosing GUARDED_BY(mMutex) = false;       ///< the destructor waits for the last job
    uint32_t mLastJobID GUARDED_BY(mMutex) = 0;
    uint32_t mNextGroup GUARDED_BY(mMutex) = 0;
    uint32_t mNextChain GUARDED_BY(mMutex) = 0;
    alignas(64) JobQueue mQueue GUARDED_BY(mMutex);
    RunningGroups mRunningGroups GUARDED_BY(mMutex);
    uint64_t mLastSequence GUARDED_BY(mMutex) = 0;
    IdTable<Job, &Job::mJobID> mJobs GUARDED_BY(mMutex);
    ObjectPool<Job> mJobPool GUARDED_BY(mMutex);

    IdTable<ParkedGroup, &ParkedGroup::mGroup> mParkedGroups GUARDED_BY(mMutex); ///< none of them empty
    ObjectPool<ParkedGroup> mParkedPool GUARDED_BY(mMutex);
    std::vector<JobWaitList*> mIdleWaiters GUARDED_BY(mMutex); ///< of `Wait`, asleep on `mJobFinished`
    int mOpenWaits GUARDED_BY(mMutex) = 0;                     ///< threads in `Wait` or `CancelChain`
    uint64_t mOrderVersion GUARDED_BY(mMutex) = 0;             ///< counts the changes of queued jobs' places
    ConditionVariable mWorkAvailable;                          ///< takers: there may be something to run
    ConditionVariable mJobFinished; ///< all other waiting threads: a job has left, or a group has come free
};
}
