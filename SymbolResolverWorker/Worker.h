#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Networking/Client.h"
#include "ProfilerLib/symbols/RemoteJob.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "SymbolResolverWorker/JobControl.h"
#include "System/Mutex.h"

namespace Utility
{
class InputMemoryStream;
}

namespace Symbols
{

/// How long a job may take.
struct JobLimits
{
    JobControl::Clock::duration mConversion = std::chrono::minutes{10};
    JobControl::Clock::duration mSource = std::chrono::minutes{2};
    /// When a job goes on for so long after its time was up or it was cancelled, it is given up with the process.
    JobControl::Clock::duration mGrace = std::chrono::seconds{2};
};

/// The worker itself: takes jobs from the process that started it and runs them one after the other on a thread of its
/// own, so that a cancellation or a question is heard meanwhile. A second thread watches the time: a library that hangs
/// is stopped only with the process, so the job is answered for and the process ends. Made once, by `main`'s thread,
/// which receives the messages.
class Worker
{
public:
    explicit Worker(const JobLimits& limits = {});
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    /// Serves until it is told to exit or the other side goes. False when there is no connection to be had.
    [[nodiscard]] bool Serve(const std::string& address, uint16_t port);

    /// Answers for the job that runs now, with "no symbols" and the reason, and ends the process. For what cannot go
    /// on. Any thread.
    [[noreturn]] void GiveUp(const char* reason);

private:
    /// A job from its arrival to its end.
    struct Task
    {
        std::unique_ptr<Profiler::RemoteJobBase> mJob;
        /// From its start on; its time counts from there.
        std::optional<JobControl> mControl;
        /// Whoever sets it answers: the job's thread, or the one that gives up. An exchange decides, so no order beyond
        /// that is needed.
        std::atomic<bool> mIsAnswered = false;
    };

    /// False when there is nothing more to be served.
    [[nodiscard]] bool Handle(const Networking::Frame& frame);
    void AddJob(Utility::InputMemoryStream& stream) EXCLUDES(mLock);
    void CancelJob(Utility::InputMemoryStream& stream) EXCLUDES(mLock);
    void Stop() EXCLUDES(mLock);

    void RunJobs() EXCLUDES(mLock);
    void RunJob(Task& task);
    std::shared_ptr<Task> TakeJob() EXCLUDES(mLock);
    void WatchTime() EXCLUDES(mLock);
    std::shared_ptr<Task> FindRunning() EXCLUDES(mLock);
    JobControl::Clock::duration GetLimit(const Profiler::RemoteJobBase& job) const;

    void SendProgress(const Profiler::RemoteJobBase& job, bool isFinished);
    void SendCompleted(const Task& task, bool wasCancelled);
    void AnswerFailure(const Task& task, const char* reason);

    RTTI::TypeRegistry mRegistry;
    const JobLimits mLimits;
    Networking::Client mClient;

    System::Mutex mLock;
    System::ConditionVariable mChanged;
    std::deque<std::shared_ptr<Task>> mQueue GUARDED_BY(mLock);
    std::shared_ptr<Task> mRunning GUARDED_BY(mLock);
    bool mIsStopping GUARDED_BY(mLock) = false;

    std::thread mJobThread;
    std::thread mWatcher;
};

}
