#include "System/JobScheduler.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <deque>

namespace
{
/// What a job costs at the least: one mutex, one deque, one condition variable.
class BareQueue
{
public:
    explicit BareQueue(int threadCount)
    {
        for (int i = 0; i < threadCount; ++i)
        {
            mThreads.emplace_back([this] { Run(); });
        }
    }

    ~BareQueue()
    {
        {
            System::MutexLock lock(mMutex);
            mStop = true;
        }
        mWorkAvailable.NotifyAll();
        for (std::thread& thread : mThreads)
        {
            thread.join();
        }
    }

    void Schedule(std::function<void(const bool&)> work)
    {
        {
            System::MutexLock lock(mMutex);
            mQueue.push_back(std::move(work));
        }
        mWorkAvailable.NotifyOne();
    }

private:
    void Run()
    {
        System::MutexLock lock(mMutex);
        while (true)
        {
            while (mQueue.empty() && !mStop)
            {
                mWorkAvailable.Wait(mMutex);
            }
            if (mQueue.empty())
            {
                return;
            }
            const std::function<void(const bool&)> work = std::move(mQueue.front());
            mQueue.pop_front();
            lock.Unlock();
            work(mNever);
            lock.Lock();
        }
    }

    System::Mutex mMutex;
    System::ConditionVariable mWorkAvailable;
    std::deque<std::function<void(const bool&)>> mQueue GUARDED_BY(mMutex);
    bool mStop GUARDED_BY(mMutex) = false;
    const bool mNever = false;
    std::vector<std::thread> mThreads;
};

/// Counts a batch of jobs down, so that both queues tell their end in the same way.
class Batch
{
public:
    explicit Batch(int64_t count) : mLeft(count) {}

    void CountDown()
    {
        if (mLeft.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            mLeft.notify_one();
        }
    }

    void Wait() const
    {
        for (int64_t left = mLeft.load(std::memory_order_acquire); left != 0;)
        {
            mLeft.wait(left, std::memory_order_acquire);
            left = mLeft.load(std::memory_order_acquire);
        }
    }

private:
    std::atomic<int64_t> mLeft;
};

constexpr int64_t sJobsPerBatch = 20000;

template <typename Schedule>
double gTimeBatch(Schedule schedule)
{
    const auto begin = std::chrono::steady_clock::now();
    Batch batch(sJobsPerBatch);
    for (int64_t i = 0; i < sJobsPerBatch; ++i)
    {
        schedule(i, [&batch](const bool&) { batch.CountDown(); });
    }
    batch.Wait();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Empty jobs through both queues in turn. The reported time is the scheduler's; `ratio` is its cost over that of the
/// bare queue. Arguments: worker threads, priorities in use, groups in use (0 for a group of its own for each job).
void gRunEmptyJobs(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(0));
    const int64_t priorities = state.range(1);
    const int64_t groups = state.range(2);
    BareQueue bareQueue(threads);
    System::JobScheduler scheduler(threads);
    double bareSeconds = 0;
    double seconds = 0;
    for (auto _ : state)
    {
        bareSeconds += gTimeBatch([&](int64_t, auto work) { bareQueue.Schedule(work); });
        const double batchSeconds = gTimeBatch([&](int64_t i, auto work) {
            scheduler.Schedule({.mWork = work,
                .mGroup = groups > 0 ? static_cast<uint32_t>(i * 7 % groups) : System::JobHandle::sNone,
                .mPriority = static_cast<uint8_t>(i * 5 % priorities)});
        });
        seconds += batchSeconds;
        state.SetIterationTime(batchSeconds);
    }
    const double jobs = static_cast<double>(state.iterations() * sJobsPerBatch);
    state.counters["ratio"] = seconds / bareSeconds;
    state.counters["bare_ns"] = bareSeconds / jobs * 1e9;
    state.counters["job_ns"] = seconds / jobs * 1e9;
}
}

BENCHMARK(gRunEmptyJobs)
    ->ArgNames({"threads", "priorities", "groups"})
    ->Args({1, 1, 0})
    ->Args({2, 1, 0})
    ->Args({2, 3, 0})
    ->Args({2, 3, 16})
    ->Args({2, 3, 2})
    ->Args({2, 1, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
