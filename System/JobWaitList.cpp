#include "System/JobWaitList.h"

#include "System/Job.h"

#include <algorithm>
#include <cassert>

namespace
{
/// The job of the entry, if it is still queued.
System::Job* gGetQueuedJob(const System::JobWaitEntry& entry)
{
    return entry.mJob != nullptr && entry.mJob->IsQueued() ? entry.mJob : nullptr;
}
}

System::JobWaitList::JobWaitList(ConditionVariable& condition, size_t capacity) : mCondition(condition)
{
    mEntries.reserve(capacity);
}

System::JobWaitList::~JobWaitList()
{
    assert(IsEmpty());
}

void System::JobWaitList::Add(Job& job)
{
    // The jobs point at the entries, so these must not move.
    assert(mEntries.size() < mEntries.capacity());
    mEntries.push_back({this, &job, job.mWaits});
    job.mWaits = &mEntries.back();
    ++mRemaining;
}

void System::JobWaitList::Sleep(Mutex& mutex)
{
    mIsAsleep = true;
    mCondition.Wait(mutex);
    mIsAsleep = false;
}

void System::JobWaitList::sRemove(Job& job)
{
    for (JobWaitEntry* entry = job.mWaits; entry != nullptr;)
    {
        JobWaitList& list = *entry->mList;
        JobWaitEntry* next = entry->mNext;
        entry->mJob = nullptr;
        if (--list.mRemaining == 0 && list.mIsAsleep)
        {
            list.mCondition.NotifyAll();
        }
        entry = next;
    }
    job.mWaits = nullptr;
}

System::Job* System::JobWaitList::FindFirstReady(uint64_t orderVersion)
{
    if (!mIsSorted || mOrderVersion != orderVersion)
    {
        SortQueuedJobs();
        mIsSorted = true;
        mOrderVersion = orderVersion;
    }
    Job* parked = FindFirstParked();
    for (; mFirst < mOrder.size(); ++mFirst)
    {
        const JobWaitEntry& entry = *mOrder[mFirst];
        Job* job = gGetQueuedJob(entry);
        if (job != nullptr && job->mGroupState->mIsRunning)
        {
            Park(entry);
        }
        else if (job != nullptr)
        {
            return parked != nullptr && gRunsBefore(*parked, *job) ? parked : job;
        }
    }
    return parked;
}

void System::JobWaitList::SortQueuedJobs()
{
    mFirst = 0;
    mOrder.clear();
    mParked.clear();
    for (const JobWaitEntry& entry : mEntries)
    {
        if (gGetQueuedJob(entry) != nullptr)
        {
            mOrder.push_back(&entry);
        }
    }
    const auto runsBefore = [](const JobWaitEntry* a, const JobWaitEntry* b) {
        return gRunsBefore(*a->mJob, *b->mJob);
    };
    if (!std::is_sorted(mOrder.begin(), mOrder.end(), runsBefore))
    {
        std::sort(mOrder.begin(), mOrder.end(), runsBefore);
    }
}

void System::JobWaitList::Park(const JobWaitEntry& entry)
{
    const uint32_t group = entry.mJob->mGroup;
    auto found = std::find_if(
        mParked.begin(), mParked.end(), [group](const ParkedGroup& parked) { return parked.mGroup == group; });
    if (found == mParked.end())
    {
        found = mParked.insert(found, ParkedGroup{group, 0, {}});
    }
    found->mEntries.push_back(&entry);
}

System::Job* System::JobWaitList::FindFirstParked()
{
    Job* first = nullptr;
    for (size_t i = 0; i < mParked.size();)
    {
        ParkedGroup& parked = mParked[i];
        while (parked.mFirst < parked.mEntries.size() && gGetQueuedJob(*parked.mEntries[parked.mFirst]) == nullptr)
        {
            ++parked.mFirst;
        }
        if (parked.mFirst == parked.mEntries.size())
        {
            std::swap(parked, mParked.back());
            mParked.pop_back();
            continue;
        }
        Job* job = parked.mEntries[parked.mFirst]->mJob;
        if (!job->mGroupState->mIsRunning && (first == nullptr || gRunsBefore(*job, *first)))
        {
            first = job;
        }
        ++i;
    }
    return first;
}
