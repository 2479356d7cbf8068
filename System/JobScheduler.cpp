#include "System/JobScheduler.h"

#include "System/ThreadName.h"
#include "Utility/Format.h"

#include <algorithm>
#include <cassert>

namespace
{
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
            Dequeue(*job);
            job->Tell(EJobCancellationState::CancelRequested);
            job->Tell(EJobCancellationState::CancelFinished);
            Leave(*job);
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
    const Job* parent = GetJobOfThread();
    MutexLock lock(mMutex);
    if (parent != nullptr && parent->mCancelled)
    {
        if (description.mCancellation)
        {
            description.mCancellation(EJobCancellationState::CancelRequested);
            description.mCancellation(EJobCancellationState::CancelFinished);
        }
        return {};
    }
    const Job& job = Enter(description, parent);
    const JobHandle handle = job.GetHandle();
    const WakeUps wakeUps{.mTaker = mIdleTakers > 0 && !job.mGroupState->mIsRunning};
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

void System::JobScheduler::RunWorker(int index)
{
    mIsWorkerThread.Set(this);
    gSetThreadName(Utility::gFormat("Job Scheduler %d", index + 1));
    const JobGroup* freedGroup = nullptr;
    MutexLock lock(mMutex);
    while (!mStop)
    {
        Job* job = StartFirst();
        if (job == nullptr)
        {
            ++mIdleTakers;
            mWorkAvailable.Wait(mMutex);
            --mIdleTakers;
            continue;
        }
        const WakeUps wakeUps = GetWakeUps(freedGroup);
        lock.Unlock();
        Notify(wakeUps);
        Run(*job);
        lock.Lock();
        freedGroup = Finish(*job);
    }
}

/// Not to be left by an exception: it would unwind into a scheduler that counts the job as running.
void System::JobScheduler::Run(Job& job) noexcept
{
    job.mOuter = GetJobOfThread();
    mCurrentJob.Set(&job);
    job.mWork(job.mCancelled);
    mCurrentJob.Set(job.mOuter);
    // What the work holds may take its time to end, and may call the scheduler.
    job.mWork = nullptr;
}

void System::JobScheduler::WaitAndRun(const std::vector<JobHandle>& handles)
{
    const bool isTaker = mIsWorkerThread.Get() != nullptr;
    JobWaitList list(isTaker ? mWorkAvailable : mJobFinished, handles.size());
    const JobGroup* freedGroup = nullptr;
    bool wasWoken = false;
    MutexLock lock(mMutex);
    ++mOpenWaits;
    for (Job* job : FindJobs(handles))
    {
        AddToList(list, *job);
    }
    while (true)
    {
        const bool isDone = list.IsEmpty();
        Job* job = isDone ? nullptr : StartForList(list, isTaker);
        const WakeUps wakeUps = GetWakeUps(freedGroup);
        freedGroup = nullptr;
        if (job != nullptr)
        {
            lock.Unlock();
            Notify(wakeUps);
            Run(*job);
            lock.Lock();
            freedGroup = Finish(*job);
            wasWoken = false;
            continue;
        }
        Notify(wakeUps);
        if (isDone)
        {
            break;
        }
        int& sleepers = isTaker ? mIdleTakers : mIdleWaiters;
        ++sleepers;
        list.Sleep(mMutex);
        --sleepers;
        wasWoken = true;
    }
    if (isTaker && wasWoken && !mQueue.IsEmpty())
    {
        // The wake-up may have been meant for a taker, and this thread takes nothing.
        mWorkAvailable.NotifyOne();
    }
    CloseWait();
}

/// Enters a new job into everything; it takes the functions out of the description.
System::Job& System::JobScheduler::Enter(JobDescription& description, const Job* parent)
{
    // The counters may come round while old jobs live.
    do
    {
        ++mLastJobID;
    } while (mLastJobID == 0 || mLastJobID == JobHandle::sNone || mJobs.Find(mLastJobID) != nullptr);
    JobGroup& group = EnterGroup(description.mGroup);
    Job& job = mJobPool.Take();
    job.mWork = std::move(description.mWork);
    job.mCancellation = std::move(description.mCancellation);
    job.mCancelled = false;
    job.mPriority = description.mPriority;
    job.mJobID = mLastJobID;
    job.mGroup = group.mGroup;
    job.mGroupState = &group;
    job.mChain = parent != nullptr ? parent->mChain : TakeChain();
    mJobs.Insert(job);
    Enqueue(job);
    return job;
}

System::JobGroup& System::JobScheduler::EnterGroup(uint32_t number)
{
    JobGroup* group = number != JobHandle::sNone ? mGroups.Find(number) : nullptr;
    if (group == nullptr)
    {
        while (number == JobHandle::sNone || mGroups.Find(number) != nullptr)
        {
            number = mNextGroup++;
        }
        group = &mGroupPool.Take();
        group->mGroup = number;
        mGroups.Insert(*group);
    }
    ++group->mJobCount;
    return *group;
}

uint32_t System::JobScheduler::TakeChain()
{
    if (mNextChain == JobHandle::sNone)
    {
        mNextChain = 0;
    }
    return mNextChain++;
}

/// The end of a job, which is in no queue any more.
void System::JobScheduler::Leave(Job& job)
{
    mJobs.Remove(job);
    job.mWork = nullptr;
    job.mCancellation = nullptr;
    JobWaitList::sRemove(job);
    JobGroup& group = *job.mGroupState;
    if (--group.mJobCount == 0)
    {
        mGroups.Remove(group);
        mGroupPool.GiveBack(group);
    }
    mJobPool.GiveBack(job);
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
    const bool wasParked = job.mQueue != &mQueue;
    job.mQueue->Remove(job);
    if (!wasParked && !job.mGroupState->mIsRunning)
    {
        Unpark(*job.mGroupState);
    }
}

void System::JobScheduler::Unpark(JobGroup& group)
{
    if (Job* job = group.mParked.GetFirst())
    {
        group.mParked.Remove(*job);
        mQueue.InsertInOrder(*job);
    }
}

/// Starts the first job that may start, and parks those before it. Null when there is none.
System::Job* System::JobScheduler::StartFirst()
{
    while (Job* job = mQueue.GetFirst())
    {
        if (!job->mGroupState->mIsRunning)
        {
            Start(*job);
            return job;
        }
        mQueue.Remove(*job);
        job->mGroupState->mParked.InsertInOrder(*job);
    }
    return nullptr;
}

System::Job* System::JobScheduler::StartForList(JobWaitList& list, bool isTaker)
{
    if (Job* job = list.FindFirstReady(mOrderVersion))
    {
        Start(*job);
        return job;
    }
    return isTaker ? StartFirst() : nullptr;
}

void System::JobScheduler::Start(Job& job)
{
    job.mQueue->Remove(job);
    job.mGroupState->mIsRunning = true;
}

/// The end of a job that has run. Returns its group when that has queued jobs, which may start now.
System::JobGroup* System::JobScheduler::Finish(Job& job)
{
    if (job.mCancelled)
    {
        job.Tell(EJobCancellationState::CancelFinished);
    }
    JobGroup& group = *job.mGroupState;
    group.mIsRunning = false;
    Unpark(group);
    const bool hasOthers = group.mJobCount > 1;
    Leave(job);
    return hasOthers ? &group : nullptr;
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
        Dequeue(*job);
        job->Tell(EJobCancellationState::CancelFinished);
        Leave(*job);
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

System::JobScheduler::WakeUps System::JobScheduler::GetWakeUps(const JobGroup* freedGroup) const
{
    const bool isFree = freedGroup != nullptr && !freedGroup->mIsRunning && freedGroup->mJobCount > 0;
    return {.mTaker = isFree && mIdleTakers > 0, .mWaiters = isFree && mIdleWaiters > 0};
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
