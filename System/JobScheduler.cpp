#include "System/JobScheduler.h"

#include "System/Prefetch.h"
#include "System/ThreadName.h"
#include "Utility/Format.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace
{
uint32_t gTakeNumber(uint32_t& next)
{
    if (next == System::JobHandle::sNone)
    {
        next = 0;
    }
    return next++;
}

/// The callers see the flag change while they run without the lock.
void gSetFlag(bool& flag)
{
    std::atomic_ref<bool>(flag).store(true, std::memory_order_relaxed);
}
}

System::JobScheduler::JobScheduler(int threadCount) noexcept
{
    for (int i = 0; i < threadCount; ++i)
    {
        mThreads.emplace_back([this, i] { RunWorker(i); });
    }
}

System::JobScheduler::~JobScheduler()
{
    {
        MutexLock lock(mMutex);
        mIsClosing = true;
        std::vector<Job*> queued;
        std::vector<Job*> running;
        mJobs.ForEach([&](Job& job) { (job.IsQueued() ? queued : running).push_back(&job); });
        std::sort(queued.begin(), queued.end(), [](const Job* a, const Job* b) { return gRunsBefore(*a, *b); });
        for (Job* job : queued)
        {
            job->Tell(EJobCancellationState::CancelRequested);
            Discard(*job);
        }
        for (Job* job : running)
        {
            gSetFlag(job->mCancelled);
            job->Tell(EJobCancellationState::CancelRequested);
        }
        while (!mJobs.IsEmpty())
        {
            mJobFinished.Wait(mMutex);
        }
        mStop = true;
        mWorkAvailable.NotifyAll();
        mJobFinished.NotifyAll();
    }
    for (std::thread& thread : mThreads)
    {
        thread.join();
    }
    MutexLock lock(mMutex);
    while (mOpenWaits > 0)
    {
        mJobFinished.Wait(mMutex);
    }
}

System::JobHandle System::JobScheduler::Schedule(JobDescription description)
{
    assert(description.mWork);
    RunningThread* thread = GetThread();
    CancellationPointer cancellation;
    if (description.mCancellation)
    {
        cancellation = std::make_unique<JobDescription::CancellationFunction>(std::move(description.mCancellation));
    }
    MutexLock lock(mMutex);
    if (thread != nullptr && thread->mJob != nullptr && thread->mJob->mCancelled)
    {
        if (cancellation != nullptr)
        {
            (*cancellation)(EJobCancellationState::CancelRequested);
            (*cancellation)(EJobCancellationState::CancelFinished);
        }
        return {};
    }
    const JobHandle handle = Enter(description, std::move(cancellation), thread).GetHandle();
    const WakeUps wakeUps = TakeWakeUps(JobHandle::sNone);
    lock.Unlock();
    Notify(wakeUps);
    return handle;
}

System::JobHandle System::JobScheduler::Schedule(JobDescription::WorkFunction work)
{
    return Schedule(JobDescription{.mWork = std::move(work)});
}

void System::JobScheduler::Cancel(const std::vector<JobHandle>& handles)
{
    MutexLock lock(mMutex);
    CancelJobs(FindJobs(handles));
}

void System::JobScheduler::Wait(const std::vector<JobHandle>& handles, bool cancelFirst)
{
    if (!cancelFirst)
    {
        WaitAndRun(handles);
        return;
    }
    MutexLock lock(mMutex);
    CancelJobs(FindJobs(handles));
    SleepUntilGone(FindJobs(handles));
}

void System::JobScheduler::CancelChain(const JobHandle& handle)
{
    MutexLock lock(mMutex);
    std::vector<JobHandle> handles;
    mJobs.ForEach([&](const Job& job) {
        if (job.mChain == handle.mChain)
        {
            handles.push_back(job.GetHandle());
        }
    });
    std::sort(
        handles.begin(), handles.end(), [](const JobHandle& a, const JobHandle& b) { return a.mJobID < b.mJobID; });
    CancelJobs(FindJobs(handles));
    SleepUntilGone(FindJobs(handles));
}

void System::JobScheduler::SetPriority(const JobHandle& handle, uint8_t priority)
{
    MutexLock lock(mMutex);
    Job* job = mJobs.Find(handle.mJobID);
    if (job != nullptr && job->IsQueued())
    {
        Dequeue(*job);
        job->mPriority = priority;
        Enqueue(*job);
        ++mOrderVersion;
    }
}

System::JobHandle System::JobScheduler::GetCurrentJob() const
{
    const Job* job = GetJobOfThread();
    return job != nullptr ? job->GetHandle() : JobHandle{};
}

System::Job* System::JobScheduler::GetJobOfThread() const
{
    const RunningThread* thread = GetThread();
    return thread != nullptr ? thread->mJob : nullptr;
}

void System::JobScheduler::RunWorker(int index)
{
    RunningThread thread{.mIsWorker = true};
    mThread.Set(&thread);
    gSetThreadName(Utility::gFormat("Job Scheduler %d", index + 1));
    uint32_t freedGroup = JobHandle::sNone;
    MutexLock lock(mMutex);
    while (!mStop)
    {
        Job* job = FindFirstReady();
        if (job == nullptr)
        {
            ++mIdleTakers;
            mWorkAvailable.Wait(mMutex);
            NoteTakerAwake();
            continue;
        }
        Start(*job);
        const WakeUps wakeUps = TakeWakeUps(freedGroup);
        lock.Unlock();
        Notify(wakeUps);
        sRun(*job, thread);
        lock.Lock();
        freedGroup = job->mGroup;
        Finish(*job, thread);
    }
}

/// Not to be left by an exception: it would unwind into a scheduler that counts the job as running.
void System::JobScheduler::sRun(Job& job, RunningThread& thread) noexcept
{
    job.mOuter = thread.mJob;
    thread.mJob = &job;
    job.mWork(job.mCancelled);
    thread.mJob = job.mOuter;
    // What the work holds may take its time to end, and may call the scheduler.
    job.mWork = nullptr;
}

void System::JobScheduler::WaitAndRun(const std::vector<JobHandle>& handles)
{
    RunningThread own;
    RunningThread* thread = GetThread();
    const bool isOutside = thread == nullptr;
    if (isOutside)
    {
        thread = &own;
        mThread.Set(thread);
    }
    const bool isTaker = thread->mIsWorker;
    JobWaitList list(isTaker ? mWorkAvailable : mJobFinished, handles.size());
    uint32_t freedGroup = JobHandle::sNone;
    MutexLock lock(mMutex);
    ++mOpenWaits;
    for (Job* job : FindJobs(handles))
    {
        AddToList(list, *job);
    }
    while (true)
    {
        const bool isDone = list.IsEmpty();
        Job* job = isDone ? nullptr : list.FindFirstReady(mRunningGroups, mOrderVersion);
        if (job == nullptr && !isDone && isTaker)
        {
            job = FindFirstReady();
        }
        if (job != nullptr)
        {
            Start(*job);
        }
        const WakeUps wakeUps = TakeWakeUps(freedGroup);
        freedGroup = JobHandle::sNone;
        if (job != nullptr)
        {
            lock.Unlock();
            Notify(wakeUps);
            sRun(*job, *thread);
            lock.Lock();
            freedGroup = job->mGroup;
            Finish(*job, *thread);
            continue;
        }
        Notify(wakeUps);
        if (isDone)
        {
            break;
        }
        if (isTaker)
        {
            ++mIdleTakers;
            list.Sleep(mMutex);
            NoteTakerAwake();
        }
        else
        {
            mIdleWaiters.push_back(&list);
            list.Sleep(mMutex);
            std::erase(mIdleWaiters, &list);
        }
    }
    if (isOutside)
    {
        mThread.Set(nullptr);
        if (own.mSpare != nullptr)
        {
            mJobPool.GiveBack(*own.mSpare);
        }
    }
    // Nothing of the scheduler may be touched once it is unlocked: it may be gone.
    CloseWait();
}

/// The end of a job that has been cancelled before it could run.
void System::JobScheduler::Discard(Job& job)
{
    Dequeue(job);
    job.Tell(EJobCancellationState::CancelFinished);
    job.mWork = nullptr;
    Leave(job);
    mJobPool.GiveBack(job);
}

/// Enters a new job into everything.
System::Job& System::JobScheduler::Enter(
    JobDescription& description, CancellationPointer cancellation, RunningThread* thread)
{
    // The counters may come round while old jobs live. Two jobs that then share a group by chance do no harm.
    do
    {
        ++mLastJobID;
    } while (mLastJobID == 0 || mLastJobID == JobHandle::sNone || mJobs.Find(mLastJobID) != nullptr);
    const bool hasSpare = thread != nullptr && thread->mSpare != nullptr;
    Job& job = hasSpare ? *std::exchange(thread->mSpare, nullptr) : mJobPool.Take();
    job.mWork.swap(description.mWork);
    job.mCancellation = std::move(cancellation);
    job.mCancelled = false;
    job.mPriority = description.mPriority;
    job.mJobID = mLastJobID;
    job.mGroup = description.mGroup != JobHandle::sNone ? description.mGroup : gTakeNumber(mNextGroup);
    const Job* parent = thread != nullptr ? thread->mJob : nullptr;
    job.mChain = parent != nullptr ? parent->mChain : gTakeNumber(mNextChain);
    mJobs.Insert(job);
    Enqueue(job);
    return job;
}

/// The end of a job, which is in no queue any more. Its object is left to the caller.
void System::JobScheduler::Leave(Job& job)
{
    mJobs.Remove(job);
    job.mCancellation = nullptr;
    JobWaitList::sRemove(job);
    if (mIsClosing && mJobs.IsEmpty())
    {
        mJobFinished.NotifyAll();
    }
}

void System::JobScheduler::Enqueue(Job& job)
{
    job.mSequence = ++mLastSequence;
    mQueue.Append(job);
}

/// Takes a job out of its queue that is not going to run now.
void System::JobScheduler::Dequeue(Job& job)
{
    JobQueue& queue = *job.mQueue;
    queue.Remove(job);
    if (mParkedGroups.IsEmpty())
    {
        return;
    }
    if (&queue == &mQueue)
    {
        if (!mRunningGroups.Contains(job.mGroup))
        {
            Unpark(job.mGroup);
        }
    }
    else
    {
        RemoveIfEmpty(*mParkedGroups.Find(job.mGroup));
    }
}

void System::JobScheduler::Park(Job& job)
{
    mQueue.Remove(job);
    ParkedGroup* parked = mParkedGroups.Find(job.mGroup);
    if (parked == nullptr)
    {
        parked = &mParkedPool.Take();
        parked->mGroup = job.mGroup;
        mParkedGroups.Insert(*parked);
    }
    parked->mJobs.InsertInOrder(job);
}

/// Moves the first parked job of the group, if there is one, back into the queue.
void System::JobScheduler::Unpark(uint32_t group)
{
    if (ParkedGroup* parked = mParkedGroups.Find(group))
    {
        Job& job = *parked->mJobs.GetFirst();
        parked->mJobs.Remove(job);
        mQueue.InsertInOrder(job);
        RemoveIfEmpty(*parked);
    }
}

void System::JobScheduler::RemoveIfEmpty(ParkedGroup& parked)
{
    if (parked.mJobs.IsEmpty())
    {
        mParkedGroups.Remove(parked);
        mParkedPool.GiveBack(parked);
    }
}

/// The first job that may start, at the front of the queue; those before it are parked. Null when there is none.
System::Job* System::JobScheduler::FindFirstReady()
{
    Job* job = mQueue.GetFirst();
    while (job != nullptr && mRunningGroups.Contains(job->mGroup))
    {
        Park(*job);
        job = mQueue.GetFirst();
    }
    return job;
}

void System::JobScheduler::Start(Job& job)
{
    mRunningGroups.Add(job.mGroup);
    JobQueue& queue = *job.mQueue;
    queue.Remove(job);
    // The next one to start was made by another thread, as a rule, and comes here while this one runs.
    gPrefetch(mQueue.GetFirst());
    if (&queue != &mQueue)
    {
        RemoveIfEmpty(*mParkedGroups.Find(job.mGroup));
    }
}

/// The end of a job that has run on the calling thread.
void System::JobScheduler::Finish(Job& job, RunningThread& thread)
{
    if (job.mCancelled)
    {
        job.Tell(EJobCancellationState::CancelFinished);
    }
    mRunningGroups.Remove(job.mGroup);
    if (!mParkedGroups.IsEmpty())
    {
        Unpark(job.mGroup);
    }
    Leave(job);
    if (thread.mSpare == nullptr)
    {
        thread.mSpare = &job;
    }
    else
    {
        mJobPool.GiveBack(job);
    }
}

std::vector<System::Job*> System::JobScheduler::FindJobs(const std::vector<JobHandle>& handles) const
{
    std::vector<Job*> jobs;
    jobs.reserve(handles.size());
    for (const JobHandle& handle : handles)
    {
        if (Job* job = mJobs.Find(handle.mJobID))
        {
            jobs.push_back(job);
        }
    }
    return jobs;
}

void System::JobScheduler::CancelJobs(std::span<Job* const> jobs)
{
    std::vector<Job*> queued;
    for (Job* job : jobs)
    {
        if (!job->mCancelled)
        {
            gSetFlag(job->mCancelled);
            job->Tell(EJobCancellationState::CancelRequested);
            if (job->IsQueued())
            {
                queued.push_back(job);
            }
        }
    }
    // From the back of the queue to its front.
    std::sort(queued.begin(), queued.end(), [](const Job* a, const Job* b) { return gRunsBefore(*b, *a); });
    for (Job* job : queued)
    {
        Discard(*job);
    }
}

void System::JobScheduler::SleepUntilGone(std::span<Job* const> jobs)
{
    JobWaitList list(mJobFinished, jobs.size());
    ++mOpenWaits;
    for (Job* job : jobs)
    {
        AddToList(list, *job);
    }
    while (!list.IsEmpty())
    {
        list.Sleep(mMutex);
    }
    CloseWait();
}

void System::JobScheduler::AddToList(JobWaitList& list, Job& job) const
{
    const Job* own = job.IsQueued() ? nullptr : GetJobOfThread();
    while (own != nullptr && own != &job)
    {
        own = own->mOuter;
    }
    if (own == nullptr)
    {
        list.Add(job);
    }
}

void System::JobScheduler::CloseWait()
{
    if (--mOpenWaits == 0 && mStop)
    {
        mJobFinished.NotifyAll();
    }
}

void System::JobScheduler::NoteTakerAwake()
{
    --mIdleTakers;
    mIsTakerOnItsWay = false;
}

/// Whom this thread, about to release the lock, has to wake. `freedGroup` is that of the job that it has just finished,
/// or all ones.
System::JobScheduler::WakeUps System::JobScheduler::TakeWakeUps(uint32_t freedGroup)
{
    WakeUps wakeUps;
    if (mIdleTakers > 0 && !mIsTakerOnItsWay && FindFirstReady() != nullptr)
    {
        mIsTakerOnItsWay = true;
        wakeUps.mTaker = true;
    }
    if (!mIdleWaiters.empty() && freedGroup != JobHandle::sNone && !mRunningGroups.Contains(freedGroup))
    {
        wakeUps.mWaiters = std::any_of(mIdleWaiters.begin(), mIdleWaiters.end(),
            [freedGroup](const JobWaitList* list) { return list->HasBlockedJob(freedGroup); });
    }
    return wakeUps;
}

void System::JobScheduler::Notify(WakeUps wakeUps)
{
    if (wakeUps.mTaker)
    {
        mWorkAvailable.NotifyOne();
    }
    if (wakeUps.mWaiters)
    {
        mJobFinished.NotifyAll();
    }
}
