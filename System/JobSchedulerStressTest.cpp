#include "System/JobScheduler.h"
#include "System/LockDelays.h"
#include "System/Platform.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <random>

using namespace System;

namespace
{
/// Ends the process when a seed does not come to its end, and says which.
class Watchdog
{
public:
    explicit Watchdog(unsigned seed) : mThread([this, seed] { Watch(seed); }) {}

    ~Watchdog()
    {
        {
            const MutexLock lock(mMutex);
            mIsOver = true;
        }
        mChanged.NotifyAll();
        mThread.join();
    }

private:
    void Watch(unsigned seed)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const MutexLock lock(mMutex);
        while (!mIsOver)
        {
            if (!mChanged.WaitUntil(mMutex, end))
            {
                std::fprintf(stderr, "Seed %u hangs.\n", seed);
                std::abort();
            }
        }
    }

    Mutex mMutex;
    ConditionVariable mChanged;
    bool mIsOver GUARDED_BY(mMutex) = false;
    std::thread mThread;
};

/// What one job has been through.
struct Record
{
    std::atomic<int> mStarted = 0;
    std::atomic<int> mEnded = 0;
    std::atomic<int> mRequested = 0;
    std::atomic<int> mFinished = 0;
    bool mWasRefused = false;
};

/// Several threads and their jobs use one scheduler in every way, with delays in all that it calls; what the work holds
/// is late to end, too. A job waits for nothing but jobs that it has scheduled itself, each in a group of its own: more
/// would not be sound.
class Stress
{
public:
    explicit Stress(unsigned seed) : mRandom(seed), mThreads(static_cast<int>(seed % 4)) {}

    void Run()
    {
        {
            JobScheduler scheduler(mThreads);
            mScheduler = &scheduler;
            std::vector<std::thread> clients;
            for (int i = 0; i < 3; ++i)
            {
                clients.emplace_back([this, seed = Next()] { RunClient(seed); });
            }
            for (std::thread& client : clients)
            {
                client.join();
            }
        }
        Check();
    }

private:
    using Random = std::minstd_rand;

    static unsigned Pick(Random& random, unsigned count) { return static_cast<unsigned>(random() >> 4) % count; }

    unsigned Next() { return static_cast<unsigned>(mRandom()); }

    static void Delay(Random& random)
    {
        switch (Pick(random, 12))
        {
        case 0:
            std::this_thread::sleep_for(std::chrono::microseconds(Pick(random, 200)));
            break;
        case 1:
        case 2:
            std::this_thread::yield();
            break;
        default:
            break;
        }
    }

    Record& AddRecord()
    {
        const MutexLock lock(mRecordMutex);
        return mRecords.emplace_back();
    }

    JobHandle Schedule(Random& random, int depth, int group)
    {
        Record& record = AddRecord();
        JobDescription description;
        description.mPriority = static_cast<uint8_t>(Pick(random, 3));
        description.mGroup = group >= 0 ? sFirstGroup + static_cast<uint32_t>(group) : JobHandle::sNone;
        auto lateToEnd = std::shared_ptr<void>(nullptr, [seed = random()](void*) {
            Random own(seed);
            Delay(own);
        });
        description.mWork = [this, &record, depth, group, seed = random(), lateToEnd = std::move(lateToEnd)](
                                const bool& cancelled) {
            ++record.mStarted;
            Random own(seed);
            if (group >= 0)
            {
                // Not an atomic: tsan, too, is to see that the group excludes.
                EXPECT_EQ(mGroupUsers[static_cast<size_t>(group)]++, 0);
            }
            RunJob(own, depth, cancelled);
            if (group >= 0)
            {
                --mGroupUsers[static_cast<size_t>(group)];
            }
            ++record.mEnded;
        };
        if (Pick(random, 4) > 0)
        {
            description.mCancellation = [&record, seed = random()](EJobCancellationState state) {
                Random own(seed);
                Delay(own);
                if (state == EJobCancellationState::CancelRequested)
                {
                    ++record.mRequested;
                }
                else
                {
                    EXPECT_GE(record.mRequested, 1);
                    EXPECT_EQ(record.mStarted, record.mEnded);
                    ++record.mFinished;
                }
            };
        }
        const JobHandle handle = mScheduler->Schedule(std::move(description));
        record.mWasRefused = !handle.IsValid();
        return handle;
    }

    void RunJob(Random& random, int depth, const bool& cancelled)
    {
        const JobHandle self = mScheduler->GetCurrentJob();
        Delay(random);
        std::vector<JobHandle> children;
        for (unsigned i = depth > 0 ? Pick(random, 4) : 0; i > 0 && !gIsCancelled(cancelled); --i)
        {
            children.push_back(Schedule(random, depth - 1, -1));
            EXPECT_TRUE(!children.back().IsValid() || children.back().mChain == self.mChain);
            Delay(random);
        }
        if (Pick(random, 2) == 0)
        {
            mScheduler->Wait(children, Pick(random, 4) == 0);
        }
        EXPECT_EQ(mScheduler->GetCurrentJob(), self);
    }

    void RunClient(unsigned seed)
    {
        Random random(seed);
        std::vector<JobHandle> handles;
        for (int step = 0; step < 60; ++step)
        {
            Delay(random);
            const unsigned action = Pick(random, 20);
            if (handles.empty() || action < 13)
            {
                const int group = static_cast<int>(Pick(random, 2 * sGroups)) - static_cast<int>(sGroups);
                handles.push_back(Schedule(random, 2, group));
                continue;
            }
            const JobHandle any = handles[Pick(random, static_cast<unsigned>(handles.size()))];
            switch (action)
            {
            case 13:
            case 14:
                mScheduler->SetPriority(any, static_cast<uint8_t>(Pick(random, 3)));
                break;
            case 15:
                mScheduler->Cancel({any, handles.back()});
                break;
            case 16:
                mScheduler->CancelChain(any);
                break;
            case 17:
                mScheduler->Wait({any}, true);
                break;
            case 18:
                mScheduler->Wait({any, handles.back()}, false);
                break;
            default:
                mScheduler->Wait(handles, false);
                handles.clear();
                break;
            }
        }
        // Otherwise the rest is left to the destructor.
        if (Pick(random, 2) == 0)
        {
            mScheduler->Wait(handles, Pick(random, 2) == 0);
        }
    }

    void Check()
    {
        for (const Record& record : mRecords)
        {
            EXPECT_LE(record.mStarted, 1);
            EXPECT_EQ(record.mStarted, record.mEnded);
            EXPECT_LE(record.mFinished, 1);
            EXPECT_EQ(record.mFinished > 0, record.mRequested > 0);
            EXPECT_LE(record.mRequested, 2) << "once by a client and once by the destructor";
            EXPECT_TRUE(!record.mWasRefused || record.mStarted == 0);
        }
    }

    static constexpr unsigned sGroups = 4;
    static constexpr uint32_t sFirstGroup = 1000000;

    Random mRandom;
    const int mThreads;
    std::array<int, sGroups> mGroupUsers{};
    Mutex mRecordMutex;
    std::deque<Record> mRecords;
    JobScheduler* mScheduler = nullptr;
};
}

/// QUARKSPINDLE_STRESS_SEEDS is the number of seeds of a long run, QUARKSPINDLE_STRESS_FIRST the first one.
TEST(JobSchedulerStress, RandomUseFromManyThreadsKeepsAllPromises)
{
    const auto getNumber = [](const char* name, unsigned otherwise) {
        const std::string text = gGetEnvironmentVariable(name);
        return text.empty() ? otherwise : static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
    };
    const unsigned first = getNumber("QUARKSPINDLE_STRESS_FIRST", 1);
    const unsigned count = getNumber("QUARKSPINDLE_STRESS_SEEDS", 50);
    for (unsigned seed = first; seed < first + count && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE(seed);
        const Watchdog watchdog(seed);
        const LockDelays delays(seed);
        Stress(seed).Run();
    }
}
