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

System::Job* System::JobWaitList::FindFirstReady(const RunningGroups& runningGroups, uint64_t orderVersion)
{
    if (!mIsSorted || mOrderVersion != orderVersion)
    {
        SortQueuedJobs();
        mIsSorted = true;
        mOrderVersion = orderVersion;
    }
    Job* unblocked = FindFirstUnblocked(runningGroups);
    for (; mFirst < mOrder.size(); ++mFirst)
    {
        const JobWaitEntry& entry = *mOrder[mFirst];
        Job* job = gGetQueuedJob(entry);
        if (job != nullptr && runningGroups.Contains(job->mGroup))
        {
            PutAside(entry);
        }
        else if (job != nullptr)
        {
            return unblocked != nullptr && gRunsBefore(*unblocked, *job) ? unblocked : job;
        }
    }
    return unblocked;
}

bool System::JobWaitList::HasBlockedJob(uint32_t group) const
{
    return std::any_of(
        mBlocked.begin(), mBlocked.end(), [group](const BlockedGroup& blocked) { return blocked.mGroup == group; });
}

void System::JobWaitList::SortQueuedJobs()
{
    mFirst = 0;
    mOrder.clear();
    mBlocked.clear();
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

void System::JobWaitList::PutAside(const JobWaitEntry& entry)
{
    const uint32_t group = entry.mJob->mGroup;
    auto found = std::find_if(
        mBlocked.begin(), mBlocked.end(), [group](const BlockedGroup& blocked) { return blocked.mGroup == group; });
    if (found == mBlocked.end())
    {
        found = mBlocked.insert(found, BlockedGroup{group, 0, {}});
    }
    found->mEntries.push_back(&entry);
}

System::Job* System::JobWaitList::FindFirstUnblocked(const RunningGroups& runningGroups)
{
    Job* first = nullptr;
    for (size_t i = 0; i < mBlocked.size();)
    {
        BlockedGroup& blocked = mBlocked[i];
        while (blocked.mFirst < blocked.mEntries.size() && gGetQueuedJob(*blocked.mEntries[blocked.mFirst]) == nullptr)
        {
            ++blocked.mFirst;
        }
        if (blocked.mFirst == blocked.mEntries.size())
        {
            std::swap(blocked, mBlocked.back());
            mBlocked.pop_back();
            continue;
        }
        Job* job = blocked.mEntries[blocked.mFirst]->mJob;
        if (!runningGroups.Contains(blocked.mGroup) && (first == nullptr || gRunsBefore(*job, *first)))
        {
            first = job;
        }
        ++i;
    }
    return first;
}
