#include "System/JobScheduler.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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

double gGetMedian(std::vector<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Empty jobs through both queues in turn. The reported time is the scheduler's; `ratio` is the median cost of a job
/// over that in the bare queue, to stand at 1.5 at most. Arguments: worker threads, priorities in use, groups in use (0
/// for a group of its own for each job).
void gRunEmptyJobs(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(0));
    const int64_t priorities = state.range(1);
    const int64_t groups = state.range(2);
    BareQueue bareQueue(threads);
    System::JobScheduler scheduler(threads);
    std::vector<double> bareSeconds;
    std::vector<double> seconds;
    for (auto _ : state)
    {
        bareSeconds.push_back(gTimeBatch([&](int64_t, auto work) { bareQueue.Schedule(work); }));
        seconds.push_back(gTimeBatch([&](int64_t i, auto work) {
            scheduler.Schedule({.mWork = work,
                .mGroup = groups > 0 ? static_cast<uint32_t>(i * 7 % groups) : System::JobHandle::sNone,
                .mPriority = static_cast<uint8_t>(i * 5 % priorities)});
        }));
        state.SetIterationTime(seconds.back());
    }
    const double bareNs = gGetMedian(bareSeconds) / sJobsPerBatch * 1e9;
    const double jobNs = gGetMedian(seconds) / sJobsPerBatch * 1e9;
    state.counters["bare_ns"] = bareNs;
    state.counters["job_ns"] = jobNs;
    state.counters["ratio"] = jobNs / bareNs;
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
