#include "System/JobScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>

using namespace System;

namespace
{
/// The rules of the scheduler in their plainest form: one row of jobs, searched from its front.
class Model
{
public:
    struct Entry
    {
        size_t mJob;
        uint32_t mGroup;
        uint8_t mPriority;
    };

    void Insert(const Entry& entry)
    {
        auto behind = mQueue.begin();
        while (behind != mQueue.end() && behind->mPriority <= entry.mPriority)
        {
            ++behind;
        }
        mQueue.insert(behind, entry);
    }

    bool Remove(size_t job)
    {
        return std::erase_if(mQueue, [job](const Entry& entry) { return entry.mJob == job; }) > 0;
    }

    void SetPriority(size_t job, uint8_t priority)
    {
        const auto found =
            std::find_if(mQueue.begin(), mQueue.end(), [job](const Entry& entry) { return entry.mJob == job; });
        if (found != mQueue.end())
        {
            Entry entry = *found;
            entry.mPriority = priority;
            mQueue.erase(found);
            Insert(entry);
        }
    }

    void End(size_t job)
    {
        mRunning.erase(job);
        mRunningGroups.erase(mGroupOf[job]);
    }

    /// Lets idle threads take what they can.
    void Settle(size_t threads)
    {
        for (auto entry = mQueue.begin(); entry != mQueue.end() && mRunning.size() < threads;)
        {
            if (mRunningGroups.insert(entry->mGroup).second)
            {
                mRunning.insert(entry->mJob);
                mGroupOf[entry->mJob] = entry->mGroup;
                entry = mQueue.erase(entry);
            }
            else
            {
                ++entry;
            }
        }
    }

    const std::set<size_t>& GetRunning() const { return mRunning; }

private:
    std::vector<Entry> mQueue;
    std::set<size_t> mRunning;
    std::set<uint32_t> mRunningGroups;
    std::map<size_t, uint32_t> mGroupOf;
};

/// Jobs that run until the test releases them, so that it knows at each moment which ones must be running.
class HeldJobs
{
public:
    JobDescription::WorkFunction MakeWork(size_t job)
    {
        return [this, job](const bool&) {
            std::unique_lock lock(mMutex);
            mRunning.insert(job);
            mChanged.notify_all();
            mChanged.wait(lock, [&] { return mReleased.contains(job); });
            mRunning.erase(job);
            mChanged.notify_all();
        };
    }

    void Release(size_t job)
    {
        const std::lock_guard lock(mMutex);
        mReleased.insert(job);
        mChanged.notify_all();
    }

    /// False when the jobs in question do not come to run.
    bool WaitUntilRunning(const std::set<size_t>& jobs)
    {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::seconds(20), [&] { return mRunning == jobs; });
    }

    std::set<size_t> GetRunning()
    {
        const std::lock_guard lock(mMutex);
        return mRunning;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::set<size_t> mRunning;
    std::set<size_t> mReleased;
};

size_t gPick(std::mt19937& random, size_t count)
{
    return std::uniform_int_distribution<size_t>(0, count - 1)(random);
}

/// Any jobs, held or let go one at a time: after each step just those run that the model says.
void gCompareWithModel(unsigned seed)
{
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const size_t threads = 1 + gPick(random, 4);
    const size_t sharedGroups = 1 + gPick(random, 5);
    HeldJobs held;
    Model model;
    JobScheduler scheduler(static_cast<int>(threads));
    std::vector<JobHandle> handles;
    for (int step = 0; step < 150; ++step)
    {
        const size_t action = gPick(random, 100);
        if (handles.empty() || action < 55)
        {
            const size_t job = handles.size();
            // Earlier jobs' groups, most of them the first few, so that rows of blocked jobs come up.
            uint32_t group = JobHandle::sNone;
            if (!handles.empty() && gPick(random, 4) > 0)
            {
                group = handles[gPick(random, std::min(handles.size(), sharedGroups))].mGroup;
            }
            const auto priority = static_cast<uint8_t>(gPick(random, 4));
            handles.push_back(
                scheduler.Schedule({.mWork = held.MakeWork(job), .mGroup = group, .mPriority = priority}));
            model.Insert({job, handles.back().mGroup, priority});
        }
        else if (action < 70)
        {
            const size_t job = gPick(random, handles.size());
            const auto priority = static_cast<uint8_t>(gPick(random, 4));
            scheduler.SetPriority(handles[job], priority);
            model.SetPriority(job, priority);
        }
        else if (action < 80)
        {
            const size_t job = gPick(random, handles.size());
            scheduler.Cancel({handles[job]});
            model.Remove(job);
        }
        else if (!model.GetRunning().empty())
        {
            const auto job = std::next(
                model.GetRunning().begin(), static_cast<std::ptrdiff_t>(gPick(random, model.GetRunning().size())));
            held.Release(*job);
            model.End(*job);
        }
        model.Settle(threads);
        if (!held.WaitUntilRunning(model.GetRunning()))
        {
            EXPECT_EQ(held.GetRunning(), model.GetRunning()) << "step " << step;
            break;
        }
    }
    for (size_t job = 0; job < handles.size(); ++job)
    {
        held.Release(job);
    }
    scheduler.Wait(handles, false);
}

/// One thread that waits for some of the jobs, which change each other's places and cancel each other meanwhile.
void gCompareWaitWithModel(unsigned seed)
{
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    JobScheduler scheduler(0);
    Model model;
    std::vector<JobHandle> handles;
    std::vector<size_t> ran;
    std::vector<size_t> expected;
    const auto meddle = [&] {
        const size_t job = gPick(random, handles.size());
        if (gPick(random, 3) == 0)
        {
            scheduler.Cancel({handles[job]});
            model.Remove(job);
        }
        else
        {
            const auto priority = static_cast<uint8_t>(gPick(random, 4));
            scheduler.SetPriority(handles[job], priority);
            model.SetPriority(job, priority);
        }
    };
    const size_t count = 60;
    for (size_t job = 0; job < count; ++job)
    {
        const uint32_t group = job < 3 || gPick(random, 2) == 0 ? JobHandle::sNone : handles[gPick(random, 3)].mGroup;
        const auto priority = static_cast<uint8_t>(gPick(random, 4));
        handles.push_back(scheduler.Schedule({.mWork =
                                                  [&, job](const bool&) {
                                                      ran.push_back(job);
                                                      model.Settle(1);
                                                      expected.push_back(*model.GetRunning().begin());
                                                      if (gPick(random, 3) == 0)
                                                      {
                                                          meddle();
                                                      }
                                                      model.End(expected.back());
                                                  },
            .mGroup = group,
            .mPriority = priority}));
        model.Insert({job, handles.back().mGroup, priority});
    }
    // The jobs that are not waited for stay where they are, in the model by never having been there.
    std::vector<JobHandle> list;
    for (size_t job = 0; job < count; ++job)
    {
        if (gPick(random, 4) == 0)
        {
            model.Remove(job);
        }
        else
        {
            list.insert(list.begin() + static_cast<std::ptrdiff_t>(gPick(random, list.size() + 1)), handles[job]);
        }
    }
    scheduler.Wait(list, false);
    EXPECT_EQ(ran, expected);
}
}

TEST(JobSchedulerOrder, WorkersRunWhatThePlainRulesSay)
{
    for (unsigned seed = 1; seed <= 200 && !testing::Test::HasFailure(); ++seed)
    {
        gCompareWithModel(seed);
    }
}

TEST(JobSchedulerOrder, WaitRunsItsListInTheOrderOfThePlainRules)
{
    for (unsigned seed = 1; seed <= 100 && !testing::Test::HasFailure(); ++seed)
    {
        gCompareWaitWithModel(seed);
    }
}
