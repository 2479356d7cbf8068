#include "System/JobScheduler.h"
#include "System/PinThread.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <latch>
#include <mutex>

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
            const std::lock_guard lock(mMutex);
            mStop = true;
        }
        mWorkAvailable.notify_all();
        for (std::thread& thread : mThreads)
        {
            thread.join();
        }
    }

    void Schedule(std::function<void(const bool&)> work)
    {
        {
            const std::lock_guard lock(mMutex);
            mQueue.push_back(std::move(work));
        }
        mWorkAvailable.notify_one();
    }

private:
    void Run()
    {
        std::unique_lock lock(mMutex);
        while (true)
        {
            mWorkAvailable.wait(lock, [this] { return !mQueue.empty() || mStop; });
            if (mQueue.empty())
            {
                return;
            }
            const std::function<void(const bool&)> work = std::move(mQueue.front());
            mQueue.pop_front();
            lock.unlock();
            work(mNever);
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mWorkAvailable;
    std::deque<std::function<void(const bool&)>> mQueue;
    bool mStop = false;
    const bool mNever = false;
    std::vector<std::thread> mThreads;
};

constexpr int64_t sRows = 64;
constexpr int64_t sJobsPerRow = 300;
constexpr int64_t sJobsPerBatch = sRows * sJobsPerRow;
constexpr int sPairsPerRound = 8;
constexpr double sRatioLimit = 1.5;

/// What the jobs of a case have. Each job has a group of its own where `mGroups` is 0.
struct Mix
{
    int mPriorities = 1;
    int mGroups = 0;
};

System::JobDescription gDescribe(Mix mix, int64_t number, System::JobDescription::WorkFunction work)
{
    return {.mWork = std::move(work),
        .mGroup = mix.mGroups > 0 ? static_cast<uint32_t>(number * 7 % mix.mGroups) : System::JobHandle::sNone,
        .mPriority = static_cast<uint8_t>(number * 5 % mix.mPriorities)};
}

/// Jobs each of which does nothing but schedule the next one.
template <typename Schedule>
struct Row
{
    Schedule& mSchedule;
    std::latch& mEnds;
    int64_t mNumber;
    int64_t mEnd;

    void RunJob()
    {
        if (++mNumber == mEnd)
        {
            mEnds.count_down();
            return;
        }
        ScheduleJob();
    }

    void ScheduleJob()
    {
        mSchedule(mNumber, [this](const bool&) { RunJob(); });
    }
};

/// Seconds for a batch that is scheduled by the jobs themselves: the threads of the queue are all that is at work.
template <typename Schedule>
double gTimeRows(Schedule schedule)
{
    const auto begin = std::chrono::steady_clock::now();
    std::latch ends(sRows);
    std::deque<Row<Schedule>> rows;
    for (int64_t i = 0; i < sRows; ++i)
    {
        rows.push_back({schedule, ends, i * sJobsPerRow, (i + 1) * sJobsPerRow});
    }
    for (Row<Schedule>& row : rows)
    {
        row.ScheduleJob();
    }
    ends.wait();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Seconds for a batch that a thread beside the queue's schedules as fast as it can.
template <typename Schedule>
double gTimeBurst(Schedule schedule)
{
    const auto begin = std::chrono::steady_clock::now();
    std::latch ends(sJobsPerBatch);
    for (int64_t i = 0; i < sJobsPerBatch; ++i)
    {
        schedule(i, [&ends](const bool&) { ends.count_down(); });
    }
    ends.wait();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Gives each thread of a queue a processor of its own. Left to the system, they share one now and then; that is many
/// times faster with jobs so short, as nothing goes from one processor to the other, and comes and goes by chance.
template <typename Schedule>
void gPinThreads(std::barrier<>& all, int threads, Schedule schedule)
{
    for (int i = 0; i < threads; ++i)
    {
        schedule([&all, i](const bool&) {
            System::gPinThread(i);
            all.arrive_and_wait();
        });
    }
    all.arrive_and_wait();
}

/// The value that `part` of the others lie below.
double gGetQuantile(std::vector<double>& values, double part)
{
    const auto index = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[static_cast<size_t>(index)];
}

/// Rounds of batches through both queues in turn, with new threads in each round. The figures are medians.
template <typename TimeBare, typename TimeJobs>
void gCompare(benchmark::State& state, int threads, TimeBare timeBare, TimeJobs timeJobs)
{
    std::vector<double> bareNs;
    std::vector<double> jobNs;
    std::vector<double> ratios;
    for (auto _ : state)
    {
        const auto begin = std::chrono::steady_clock::now();
        std::barrier<> all(threads + 1);
        BareQueue queue(threads);
        System::JobScheduler scheduler(threads);
        gPinThreads(all, threads, [&](auto work) { queue.Schedule(work); });
        gPinThreads(all, threads, [&](auto work) { scheduler.Schedule(work); });
        std::vector<double> bareSeconds;
        std::vector<double> jobSeconds;
        for (int i = 0; i < sPairsPerRound; ++i)
        {
            bareSeconds.push_back(timeBare(queue));
            jobSeconds.push_back(timeJobs(scheduler));
        }
        bareNs.push_back(gGetQuantile(bareSeconds, 0.5) / sJobsPerBatch * 1e9);
        jobNs.push_back(gGetQuantile(jobSeconds, 0.5) / sJobsPerBatch * 1e9);
        ratios.push_back(jobNs.back() / bareNs.back());
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    state.counters["bare_ns"] = gGetQuantile(bareNs, 0.5);
    state.counters["job_ns"] = gGetQuantile(jobNs, 0.5);
    state.counters["ratio_25%"] = gGetQuantile(ratios, 0.25);
    state.counters["ratio"] = gGetQuantile(ratios, 0.5);
    state.counters["ratio_75%"] = gGetQuantile(ratios, 0.75);
    if (threads > 1)
    {
        state.counters["limit"] = sRatioLimit;
    }
}

void gRunRows(benchmark::State& state, int threads, Mix mix)
{
    gCompare(
        state, threads, [](BareQueue& queue) { return gTimeRows([&](int64_t, auto work) { queue.Schedule(work); }); },
        [mix](System::JobScheduler& scheduler) {
            return gTimeRows([&](int64_t i, auto work) { scheduler.Schedule(gDescribe(mix, i, work)); });
        });
}

/// One group for all jobs: they run one by one, and nothing is faster at that than a single thread. What is compared
/// is therefore how the bare queue, with as many threads, would keep that promise: its jobs lock a mutex.
void gRunOneGroup(benchmark::State& state, int threads)
{
    std::mutex group;
    gCompare(
        state, threads,
        [&group](BareQueue& queue) {
            return gTimeRows([&](int64_t, auto work) {
                queue.Schedule([&group, work](const bool& cancelled) {
                    const std::lock_guard lock(group);
                    work(cancelled);
                });
            });
        },
        [](System::JobScheduler& scheduler) {
            return gTimeRows([&](int64_t i, auto work) { scheduler.Schedule(gDescribe({.mGroups = 1}, i, work)); });
        });
}

void gRunBurst(benchmark::State& state, int threads, Mix mix)
{
    gCompare(
        state, threads, [](BareQueue& queue) { return gTimeBurst([&](int64_t, auto work) { queue.Schedule(work); }); },
        [mix](System::JobScheduler& scheduler) {
            return gTimeBurst([&](int64_t i, auto work) { scheduler.Schedule(gDescribe(mix, i, work)); });
        });
}
}

// The limit is meant for `mixed`: two threads, with priorities and groups in use. With one thread there is none:
// nothing is shared, and what is seen is how long the path is.
BENCHMARK_CAPTURE(gRunRows, mixed, 2, Mix{.mPriorities = 3, .mGroups = 16})->UseManualTime();
BENCHMARK_CAPTURE(gRunRows, plain, 2, Mix{})->UseManualTime();
BENCHMARK_CAPTURE(gRunRows, priorities, 2, Mix{.mPriorities = 3})->UseManualTime();
BENCHMARK_CAPTURE(gRunRows, many_groups, 2, Mix{.mGroups = 16})->UseManualTime();
BENCHMARK_CAPTURE(gRunRows, one_thread, 1, Mix{.mPriorities = 3, .mGroups = 16})->UseManualTime();
BENCHMARK_CAPTURE(gRunOneGroup, all, 2)->UseManualTime();
BENCHMARK_CAPTURE(gRunBurst, mixed, 2, Mix{.mPriorities = 3, .mGroups = 16})->UseManualTime();
