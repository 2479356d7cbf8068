#include "System/JobQueue.h"

#include "System/Job.h"

#include <algorithm>
#include <cassert>

void System::JobQueue::Append(Job& job)
{
    Level& level = GetLevel(job.mPriority);
    assert(level.mLast == nullptr || gRunsBefore(*level.mLast, job));
    InsertBehind(job, level.mLast != nullptr ? level.mLast : GetLastBefore(level));
    level.mLast = &job;
}

void System::JobQueue::InsertInOrder(Job& job)
{
    Level& level = GetLevel(job.mPriority);
    if (level.mLast == nullptr || gRunsBefore(*level.mLast, job))
    {
        Append(job);
        return;
    }
    Job* previous = GetLastBefore(level);
    Job* next = previous != nullptr ? previous->mNext : mFirst;
    while (gRunsBefore(*next, job))
    {
        previous = next;
        next = next->mNext;
    }
    InsertBehind(job, previous);
}

void System::JobQueue::Remove(Job& job)
{
    assert(job.mQueue == this);
    const bool isFirst = mFirst == &job;
    Level& level = GetLevel(job.mPriority);
    if (level.mLast == &job)
    {
        const bool hasOther = !isFirst && job.mPrevious->mPriority == job.mPriority;
        level.mLast = hasOther ? job.mPrevious : nullptr;
    }
    if (isFirst)
    {
        // The next job is left as it is: to reach it may cost more than all the rest here.
        mFirst = job.mNext;
    }
    else
    {
        job.mPrevious->mNext = job.mNext;
        if (job.mNext != nullptr)
        {
            job.mNext->mPrevious = job.mPrevious;
        }
    }
    job.mQueue = nullptr;
}

System::JobQueue::Level& System::JobQueue::GetLevel(uint8_t priority)
{
    const auto found = std::lower_bound(mLevels.begin(), mLevels.end(), priority,
        [](const Level& level, uint8_t value) { return level.mPriority < value; });
    if (found != mLevels.end() && found->mPriority == priority)
    {
        return *found;
    }
    return *mLevels.insert(found, Level{priority, nullptr});
}

System::Job* System::JobQueue::GetLastBefore(const Level& level) const
{
    for (size_t i = static_cast<size_t>(&level - mLevels.data()); i-- > 0;)
    {
        if (mLevels[i].mLast != nullptr)
        {
            return mLevels[i].mLast;
        }
    }
    return nullptr;
}

void System::JobQueue::InsertBehind(Job& job, Job* previous)
{
    assert(job.mQueue == nullptr);
    Job*& link = previous != nullptr ? previous->mNext : mFirst;
    job.mQueue = this;
    job.mPrevious = previous;
    job.mNext = link;
    if (link != nullptr)
    {
        link->mPrevious = &job;
    }
    link = &job;
}
