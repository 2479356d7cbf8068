#include "System/JobScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <latch>
#include <memory>
#include <mutex>
#include <string>

using namespace System;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
/// What happened, in order, from any thread.
class Log
{
public:
    void Add(const std::string& line)
    {
        const std::lock_guard lock(mMutex);
        mLines.push_back(line);
    }

    std::vector<std::string> Take()
    {
        const std::lock_guard lock(mMutex);
        return std::exchange(mLines, {});
    }

private:
    std::mutex mMutex;
    std::vector<std::string> mLines;
};

/// Closed until it is opened, once. Copies are the same gate, so that a job may keep one that outlives the test's.
class Gate
{
public:
    void Open() const
    {
        const std::shared_ptr<State> state = mState;
        const std::lock_guard lock(state->mMutex);
        state->mIsOpen = true;
        state->mChanged.notify_all();
    }

    void Pass() const
    {
        const std::shared_ptr<State> state = mState;
        std::unique_lock lock(state->mMutex);
        state->mChanged.wait(lock, [&] { return state->mIsOpen; });
    }

private:
    struct State
    {
        std::mutex mMutex;
        std::condition_variable mChanged;
        bool mIsOpen = false;
    };
    std::shared_ptr<State> mState = std::make_shared<State>();
};

void gSpinUntilCancelled(const bool& cancelled)
{
    while (!gIsCancelled(cancelled))
    {
        std::this_thread::yield();
    }
}

class JobSchedulerTest : public testing::Test
{
protected:
    void Start(int threads) { mScheduler = std::make_unique<JobScheduler>(threads); }

    /// A job that logs its name.
    JobHandle Add(const std::string& name, uint8_t priority = 1, uint32_t group = JobHandle::sNone)
    {
        return mScheduler->Schedule(
            {.mWork = [this, name](const bool&) { mLog.Add(name); }, .mGroup = group, .mPriority = priority});
    }

    /// The same, and it logs what it is told of its cancellation.
    JobHandle AddTold(const std::string& name, JobDescription::WorkFunction work)
    {
        return mScheduler->Schedule({.mWork = std::move(work), .mCancellation = Tell(name)});
    }

    JobDescription::CancellationFunction Tell(const std::string& name)
    {
        return [this, name](EJobCancellationState state) {
            mLog.Add(name + (state == EJobCancellationState::CancelRequested ? " requested" : " finished"));
        };
    }

    /// Occupies a worker until the gate opens, and returns when it does.
    JobHandle Occupy(const Gate& gate)
    {
        const Gate started;
        const JobHandle handle = mScheduler->Schedule([gate, started](const bool&) {
            started.Open();
            gate.Pass();
        });
        started.Pass();
        return handle;
    }

    /// Returns when a worker has come to the end of the queue. Unlike `Wait`, this takes no job off the workers.
    void PassQueue()
    {
        const Gate end;
        mScheduler->Schedule({.mWork = [end](const bool&) { end.Open(); }, .mPriority = 255});
        end.Pass();
    }

    Log mLog;
    std::unique_ptr<JobScheduler> mScheduler;
};
}

TEST_F(JobSchedulerTest, HandlesCountUpAndNameGroupAndChain)
{
    Start(0);
    EXPECT_EQ(mScheduler->GetCurrentJob(), JobHandle{});
    const JobHandle first = Add("first");
    const JobHandle second = Add("second");
    const JobHandle joined = Add("joined", 1, first.mGroup);
    EXPECT_EQ(first, (JobHandle{1, 0, 0}));
    EXPECT_EQ(second, (JobHandle{2, 1, 1}));
    EXPECT_EQ(joined, (JobHandle{3, 0, 2}));

    JobHandle current;
    JobHandle child;
    const JobHandle parent = mScheduler->Schedule([&](const bool&) {
        current = mScheduler->GetCurrentJob();
        child = Add("child");
    });
    mScheduler->Wait({parent}, false);
    EXPECT_EQ(current, parent);
    EXPECT_EQ(child, (JobHandle{5, 3, parent.mChain}));
    EXPECT_EQ(mScheduler->GetCurrentJob(), JobHandle{});
}

TEST_F(JobSchedulerTest, UrgentJobsStartFirstAndEqualOnesInTheirOrder)
{
    Start(1);
    Gate gate;
    std::vector<JobHandle> handles{Occupy(gate)};
    for (const char* name : {"a", "b", "c"})
    {
        handles.push_back(Add(name));
    }
    handles.push_back(Add("background", 2));
    handles.push_back(Add("urgent", 0));
    handles.push_back(Add("d"));
    handles.push_back(Add("last", 255));
    mScheduler->SetPriority(handles[2], 1);  // "b" goes behind its equals
    mScheduler->SetPriority(handles[7], 0);  // "last" goes behind "urgent"
    mScheduler->SetPriority(handles[0], 3);  // runs, so nothing happens
    mScheduler->SetPriority(JobHandle{}, 3); // no job
    gate.Open();
    PassQueue();
    EXPECT_THAT(mLog.Take(), ElementsAre("urgent", "last", "a", "c", "d", "b", "background"));
}

TEST_F(JobSchedulerTest, JobBlockedByItsGroupIsPassedOverAndStartsAsSoonAsThatIsFree)
{
    Start(2);
    Gate gate;
    const JobHandle first = Occupy(gate);
    const JobHandle blocked = Add("blocked", 1, first.mGroup);
    const JobHandle other = Add("other", 2);
    PassQueue();
    EXPECT_THAT(mLog.Take(), ElementsAre("other"));
    gate.Open();
    mScheduler->Wait({first, blocked, other}, false);
    EXPECT_THAT(mLog.Take(), ElementsAre("blocked"));
}

TEST_F(JobSchedulerTest, JobsBehindACancelledOneOfTheirGroupKeepTheirPlace)
{
    Start(2);
    Gate first;
    Gate second;
    Gate urgentStarted;
    Gate urgent;
    const uint32_t group = Occupy(first).mGroup;
    const JobHandle front = Add("front", 1, group);
    Add("behind", 1, group);
    // The second worker has passed over both of them, and is busy then.
    Occupy(second);
    mScheduler->Schedule({.mWork =
                              [&](const bool&) {
                                  urgentStarted.Open();
                                  urgent.Pass();
                              },
        .mPriority = 0});
    first.Open();
    urgentStarted.Pass();
    // The group is free now and both workers are busy.
    mScheduler->Cancel({front});
    Add("other");
    urgent.Open();
    PassQueue();
    EXPECT_THAT(mLog.Take(), ElementsAre("behind", "other"));
    second.Open();
}

TEST_F(JobSchedulerTest, BurstOfJobsWakesAsManyWorkersAsItNeeds)
{
    constexpr int count = 4;
    Start(count);
    for (int round = 0; round < 100; ++round)
    {
        // Each job needs all others to be running at the same time.
        std::latch meeting(count + 1);
        std::vector<JobHandle> handles;
        for (int i = 0; i < count; ++i)
        {
            handles.push_back(mScheduler->Schedule([&](const bool&) { meeting.arrive_and_wait(); }));
        }
        meeting.arrive_and_wait();
        mScheduler->Wait(handles, false);
    }
}

TEST_F(JobSchedulerTest, CancellationIsToldOncePerStateAndOnlyWhileTheJobLives)
{
    Start(1);
    const auto nothing = [](const bool&) {
    };

    const JobHandle finished = AddTold("finished", nothing);
    mScheduler->Wait({finished}, false);
    mScheduler->Cancel({finished, JobHandle{}});
    EXPECT_THAT(mLog.Take(), IsEmpty());

    Gate started;
    const JobHandle running = AddTold("running", [&](const bool& cancelled) {
        started.Open();
        gSpinUntilCancelled(cancelled);
    });
    started.Pass();
    const JobHandle front = AddTold("front", [&](const bool&) { mLog.Add("never"); });
    const JobHandle back = AddTold("back", [&](const bool&) { mLog.Add("never"); });
    // Marked in the order of the list, removed from the back of the queue.
    mScheduler->Cancel({front, back, front});
    EXPECT_THAT(mLog.Take(), ElementsAre("front requested", "back requested", "back finished", "front finished"));
    mScheduler->Cancel({front});
    EXPECT_THAT(mLog.Take(), IsEmpty());

    mScheduler->Wait({running, running, JobHandle{}}, true);
    EXPECT_THAT(mLog.Take(), ElementsAre("running requested", "running finished"));
}

TEST_F(JobSchedulerTest, CancelledJobSchedulesNothing)
{
    Start(1);
    Gate started;
    JobHandle refused{1, 1, 1};
    const JobHandle job = AddTold("job", [&](const bool& cancelled) {
        started.Open();
        gSpinUntilCancelled(cancelled);
        refused = AddTold("child", [&](const bool&) { mLog.Add("never"); });
    });
    started.Pass();
    mScheduler->Wait({job}, true);
    EXPECT_EQ(refused, JobHandle{});
    EXPECT_THAT(mLog.Take(), ElementsAre("job requested", "child requested", "child finished", "job finished"));
}

TEST_F(JobSchedulerTest, JobThatCancelsItselfIsRefusedToo)
{
    Start(0);
    JobHandle refused{1, 1, 1};
    const JobHandle job = mScheduler->Schedule([&](const bool& cancelled) {
        mScheduler->Cancel({mScheduler->GetCurrentJob()});
        EXPECT_TRUE(gIsCancelled(cancelled));
        refused = AddTold("child", [&](const bool&) { mLog.Add("never"); });
    });
    mScheduler->Wait({job}, false);
    EXPECT_EQ(refused, JobHandle{});
    EXPECT_THAT(mLog.Take(), ElementsAre("child requested", "child finished"));
}

TEST_F(JobSchedulerTest, CancelChainEndsTheWholeTreeAndNothingElse)
{
    Start(2);
    Gate childStarted;
    JobHandle child;
    JobHandle grandchild;
    const JobHandle root = AddTold("root", [&](const bool&) {
        child = AddTold("child", [&](const bool& cancelled) {
            grandchild = mScheduler->Schedule({.mWork = [&](const bool&) { mLog.Add("never"); },
                .mGroup = mScheduler->GetCurrentJob().mGroup,
                .mCancellation = Tell("grandchild")});
            childStarted.Open();
            gSpinUntilCancelled(cancelled);
        });
    });
    mScheduler->Wait({root}, false);
    childStarted.Pass();
    Gate gate;
    const JobHandle other = Occupy(gate);
    mScheduler->CancelChain(JobHandle{});
    EXPECT_THAT(mLog.Take(), IsEmpty());
    mScheduler->CancelChain(root);
    EXPECT_THAT(
        mLog.Take(), ElementsAre("child requested", "grandchild requested", "grandchild finished", "child finished"));
    gate.Open();
    mScheduler->Wait({other}, false);
}

TEST_F(JobSchedulerTest, JobMayCancelItsOwnChainWithoutWaitingForItself)
{
    Start(0);
    const JobHandle job = mScheduler->Schedule([&](const bool&) {
        const JobHandle self = mScheduler->GetCurrentJob();
        AddTold("child", [&](const bool&) { mLog.Add("never"); });
        mScheduler->CancelChain(self);
        mScheduler->Wait({self}, true);
        mScheduler->Wait({self}, false);
    });
    mScheduler->Wait({job}, false);
    EXPECT_THAT(mLog.Take(), ElementsAre("child requested", "child finished"));
}

TEST_F(JobSchedulerTest, WaitOfOtherThreadsRunsTheirListAlone)
{
    Start(0);
    Add("not waited for", 0);
    const JobHandle second = Add("second", 2);
    const JobHandle first = Add("first", 1);
    const JobHandle third = Add("third", 2);
    mScheduler->Wait({}, false);
    mScheduler->Wait({}, true);
    EXPECT_THAT(mLog.Take(), IsEmpty());
    mScheduler->Wait({third, second, JobHandle{}, first, second}, false);
    EXPECT_THAT(mLog.Take(), ElementsAre("first", "second", "third"));
}

TEST_F(JobSchedulerTest, WaitFollowsChangesOfPriorityMadeMeanwhile)
{
    Start(0);
    std::vector<JobHandle> handles;
    handles.push_back(mScheduler->Schedule({.mWork =
                                                [&](const bool&) {
                                                    mScheduler->SetPriority(handles[3], 0);
                                                    mScheduler->Cancel({handles[2]});
                                                },
        .mPriority = 0}));
    for (const char* name : {"a", "b", "c"})
    {
        handles.push_back(Add(name));
    }
    mScheduler->Wait(handles, false);
    EXPECT_THAT(mLog.Take(), ElementsAre("c", "a"));
}

TEST_F(JobSchedulerTest, NestedWaitsEndWithAnyNumberOfWorkers)
{
    for (const int threads : {0, 1, 2, 5})
    {
        SCOPED_TRACE(threads);
        Start(threads);
        std::atomic<int> count = 0;
        std::function<void(int)> spawn = [&](int depth) {
            ++count;
            std::vector<JobHandle> children;
            for (int i = 0; depth > 0 && i < 3; ++i)
            {
                children.push_back(mScheduler->Schedule([&spawn, depth](const bool&) { spawn(depth - 1); }));
            }
            mScheduler->Wait(children, false);
        };
        mScheduler->Wait({mScheduler->Schedule([&](const bool&) { spawn(4); })}, false);
        EXPECT_EQ(count, 1 + 3 + 9 + 27 + 81);
    }
}

TEST_F(JobSchedulerTest, WorkerThatWaitsKeepsThePoolMoving)
{
    Start(1);
    Gate started;
    Gate heldStarted;
    Gate gate;
    JobHandle held;
    const JobHandle waiter = mScheduler->Schedule([&](const bool&) {
        started.Open();
        heldStarted.Pass();
        const JobHandle blocked = Add("blocked", 1, held.mGroup);
        mScheduler->Schedule([&](const bool&) {
            mLog.Add("opener");
            gate.Open();
        });
        mScheduler->Wait({blocked}, false);
        mLog.Add("waiter");
    });
    started.Pass();
    // The only worker is busy, so this runs here, and holds up what the worker waits for until the worker runs another.
    held = mScheduler->Schedule([&](const bool&) {
        heldStarted.Open();
        gate.Pass();
    });
    mScheduler->Wait({held}, false);
    mScheduler->Wait({waiter}, false);
    EXPECT_THAT(mLog.Take(), ElementsAre("opener", "blocked", "waiter"));
}

TEST_F(JobSchedulerTest, SleepingWaiterRunsItsJobWhenTheGroupComesFree)
{
    // Two threads that are no workers: the second one's job is blocked by the first one's.
    Start(0);
    Gate started;
    Gate gate;
    const JobHandle first = mScheduler->Schedule([&](const bool&) {
        started.Open();
        gate.Pass();
    });
    const JobHandle second = Add("second", 1, first.mGroup);
    std::thread firstWaiter([&] { mScheduler->Wait({first}, false); });
    started.Pass();
    std::thread secondWaiter([&] { mScheduler->Wait({second}, false); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    gate.Open();
    firstWaiter.join();
    secondWaiter.join();
    EXPECT_THAT(mLog.Take(), ElementsAre("second"));
}

TEST_F(JobSchedulerTest, CancelWakesAThreadThatWaitsWithoutWorkersToDoSo)
{
    Start(0);
    Gate started;
    Gate gate;
    const JobHandle running = mScheduler->Schedule([&](const bool&) {
        started.Open();
        gate.Pass();
    });
    const JobHandle blocked = Add("blocked", 1, running.mGroup);
    std::thread runner([&] { mScheduler->Wait({running}, false); });
    started.Pass();
    std::thread waiter([&] { mScheduler->Wait({blocked}, false); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    mScheduler->Cancel({blocked});
    waiter.join();
    gate.Open();
    runner.join();
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(JobSchedulerTest, WhatTheWorkHoldsIsGoneWhenWaitReturnsAndMayCallTheScheduler)
{
    Start(1);
    struct Holder
    {
        JobScheduler& mScheduler;
        std::atomic<bool>& mIsGone;
        ~Holder()
        {
            mScheduler.Cancel({});
            mIsGone = true;
        }
    };
    std::atomic<bool> isGone = false;
    std::shared_ptr<Holder> holder(new Holder{*mScheduler, isGone});
    JobDescription description{.mWork = [holder](const bool&) {
    }};
    holder.reset();
    const JobHandle handle = mScheduler->Schedule(std::move(description));
    mScheduler->Wait({handle}, false);
    EXPECT_TRUE(isGone);
}

TEST_F(JobSchedulerTest, DestructionAsksARunningJobAgain)
{
    Start(1);
    Gate started;
    std::atomic<int> requests = 0;
    const JobHandle job = mScheduler->Schedule({.mWork =
                                                    [&](const bool&) {
                                                        started.Open();
                                                        while (requests < 2)
                                                        {
                                                            std::this_thread::yield();
                                                        }
                                                    },
        .mCancellation =
            [&](EJobCancellationState state) {
                if (state == EJobCancellationState::CancelRequested)
                {
                    ++requests;
                }
                else
                {
                    mLog.Add("finished");
                }
            }});
    started.Pass();
    mScheduler->Cancel({job});
    EXPECT_EQ(requests, 1);
    mScheduler.reset();
    EXPECT_EQ(requests, 2);
    EXPECT_THAT(mLog.Take(), ElementsAre("finished"));
}

TEST_F(JobSchedulerTest, DestructionTellsQueuedJobsBothStatesInQueueOrder)
{
    Start(0);
    const auto never = [&](const bool&) {
        mLog.Add("never");
    };
    AddTold("second", never);
    mScheduler->SetPriority(AddTold("first", never), 0);
    mScheduler.reset();
    EXPECT_THAT(mLog.Take(), ElementsAre("first requested", "first finished", "second requested", "second finished"));
}

TEST_F(JobSchedulerTest, DestructionSeesOffAThreadThatWaits)
{
    for (const int threads : {0, 1})
    {
        SCOPED_TRACE(threads);
        Start(threads);
        Gate isInside;
        Gate started;
        JobScheduler& scheduler = *mScheduler;
        const JobHandle running = scheduler.Schedule([&](const bool& cancelled) {
            started.Open();
            gSpinUntilCancelled(cancelled);
        });
        if (threads > 0)
        {
            started.Pass();
        }
        const JobHandle inside = scheduler.Schedule({.mWork = [&](const bool&) { isInside.Open(); }, .mPriority = 0});
        const JobHandle queued = scheduler.Schedule(
            {.mWork = [&](const bool&) { mLog.Add("never"); }, .mGroup = running.mGroup, .mPriority = 3});
        std::thread waiter([&] { scheduler.Wait({inside, running, queued}, false); });
        isInside.Pass();
        mScheduler.reset();
        waiter.join();
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }
}

TEST_F(JobSchedulerTest, SchedulersShareNoThreadLocalState)
{
    Start(0);
    JobScheduler other(1);
    JobHandle current;
    JobHandle spawned;
    const JobHandle job = other.Schedule([&](const bool&) {
        current = mScheduler->GetCurrentJob();
        // A worker of one is no worker of the other.
        Add("not waited for", 0);
        spawned = Add("spawned");
        mScheduler->Wait({spawned}, false);
    });
    other.Wait({job}, false);
    EXPECT_EQ(current, JobHandle{});
    EXPECT_EQ(spawned.mChain, 1U);
    EXPECT_THAT(mLog.Take(), ElementsAre("spawned"));
}
