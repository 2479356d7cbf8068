#include "SymbolResolverWorker/Worker.h"

#include <algorithm>
#include <exception>

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/RemoteMessage.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "SymbolResolverWorker/JobExecutor.h"
#include "SymbolResolverWorker/ProcessGuard.h"
#include "System/ThreadName.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

using namespace Profiler;

/// How long a running job is waited for when the process is to end.
constexpr std::chrono::milliseconds cLastWait{500};
/// How often the time of a running job is looked at.
constexpr std::chrono::milliseconds cWatchEvery{100};

void LogUnreadable(const char* what, const Utility::Result& result)
{
    Utility::gTrace("%s could not be read: %s", what, result.ToString().c_str());
}

const PDBKey& GetKey(const RemoteJobBase& job)
{
    const auto* convert = dynamic_cast<const ConvertPDBJob*>(&job);
    return convert != nullptr ? convert->Key : static_cast<const ResolveFunctionDataJobBase&>(job).Key;
}

}

Worker::Worker(const JobLimits& limits) : mLimits{limits}
{
    Profiler::gReadySymbolRegistry(mRegistry);
}

Worker::~Worker()
{
    Stop();
}

bool Worker::Serve(const std::string& address, uint16_t port)
{
    if (!mClient.Connect(address, port))
        return false;
    mJobThread = std::thread{&Worker::RunJobs, this};
    mWatcher = std::thread{&Worker::WatchTime, this};
    while (const auto frame = mClient.Receive())
    {
        if (!Handle(*frame))
            break;
    }
    Stop();
    return true;
}

bool Worker::Handle(const Networking::Frame& frame)
{
    Utility::InputMemoryStream stream{frame.mPayload};
    switch (static_cast<ERemoteMessage>(frame.mID))
    {
    case ERemoteMessage::RunJob:
        AddJob(stream);
        return true;
    case ERemoteMessage::CancelJob:
        CancelJob(stream);
        return true;
    case ERemoteMessage::Ping:
        mClient.Send(static_cast<uint8_t>(ERemoteMessage::Pong), nullptr, 0);
        return true;
    case ERemoteMessage::Exit:
        return false;
    default:
        Utility::gTrace("Message %d is not for a worker", frame.mID);
        return true;
    }
}

void Worker::AddJob(Utility::InputMemoryStream& stream)
{
    Utility::Result result;
    auto task = std::make_shared<Task>();
    task->mJob = ReadObject<RemoteJobBase>(mRegistry, stream, result);
    const RemoteJobBase* job = task->mJob.get();
    const bool isKnown = dynamic_cast<const ConvertPDBJob*>(job) != nullptr ||
                         dynamic_cast<const ResolveFunctionDataJob*>(job) != nullptr ||
                         dynamic_cast<const ResolveLineDataJob*>(job) != nullptr;
    if (!isKnown)
        return LogUnreadable("A job", result);
    const System::MutexLock lock{mLock};
    mQueue.push_back(std::move(task));
    mChanged.NotifyAll();
}

void Worker::CancelJob(Utility::InputMemoryStream& stream)
{
    Utility::Result result;
    const auto cancel = ReadObject<CancelRemoteJob>(mRegistry, stream, result);
    if (cancel == nullptr)
        return LogUnreadable("A cancellation", result);
    std::shared_ptr<Task> queued;
    {
        const System::MutexLock lock{mLock};
        if (mRunning != nullptr && mRunning->mJob->JobHandle == cancel->JobHandle)
            mRunning->mControl->Cancel();
        const auto found = std::ranges::find_if(
            mQueue, [&cancel](const auto& task) { return task->mJob->JobHandle == cancel->JobHandle; });
        if (found != mQueue.end())
        {
            queued = *found;
            mQueue.erase(found);
        }
    }
    if (queued != nullptr)
        SendCompleted(*queued, true);
}

void Worker::Stop()
{
    if (!mJobThread.joinable())
        return;
    {
        System::MutexLock lock{mLock};
        mIsStopping = true;
        mQueue.clear();
        if (mRunning != nullptr)
            mRunning->mControl->Cancel();
        mChanged.NotifyAll();
        const auto end = JobControl::Clock::now() + cLastWait;
        while (mRunning != nullptr)
        {
            if (!mChanged.WaitUntil(mLock, end) && mRunning != nullptr)
                gEndProcess(0);
        }
    }
    mJobThread.join();
    mWatcher.join();
}

void Worker::RunJobs()
{
    System::gSetThreadName("Symbol Jobs");
    while (const std::shared_ptr<Task> task = TakeJob())
    {
        gSetCurrentWork("working on " + GetKey(*task->mJob).ModulePath);
        RunJob(*task);
        gSetCurrentWork("");
        const System::MutexLock lock{mLock};
        mRunning.reset();
        mChanged.NotifyAll();
    }
}

std::shared_ptr<Worker::Task> Worker::TakeJob()
{
    const System::MutexLock lock{mLock};
    while (mQueue.empty() && !mIsStopping)
        mChanged.Wait(mLock);
    if (mIsStopping)
        return nullptr;
    mRunning = std::move(mQueue.front());
    mQueue.pop_front();
    mRunning->mControl.emplace(GetLimit(*mRunning->mJob));
    mChanged.NotifyAll();
    return mRunning;
}

JobControl::Clock::duration Worker::GetLimit(const RemoteJobBase& job) const
{
    return dynamic_cast<const ConvertPDBJob*>(&job) != nullptr ? mLimits.mConversion : mLimits.mSource;
}

void Worker::RunJob(Task& task)
{
    const JobControl& control = *task.mControl;
    std::unique_ptr<RTTI::Object> answer;
    ERemoteMessage id = ERemoteMessage::ConvertResult;
    bool wasCancelled = false;
    SendProgress(*task.mJob, false);
    if (const auto* convert = dynamic_cast<const ConvertPDBJob*>(task.mJob.get()))
    {
        auto outcome = gConvert(*convert, control);
        wasCancelled = outcome->Result == ConvertPDBResult::EResult::Canceled;
        answer = std::move(outcome);
    }
    else if (const auto* function = dynamic_cast<const ResolveFunctionDataJob*>(task.mJob.get()))
    {
        answer = gResolveFunctionData(*function, control);
        id = ERemoteMessage::FunctionResult;
        wasCancelled = control.IsCancelled();
    }
    else
    {
        answer = gResolveLineData(static_cast<const ResolveLineDataJob&>(*task.mJob), control);
        id = ERemoteMessage::LineResult;
        wasCancelled = control.IsCancelled();
    }
    if (task.mIsAnswered.exchange(true))
        return;
    // Nobody waits for the source of a job that was cancelled.
    if (!wasCancelled || id == ERemoteMessage::ConvertResult)
        (void)SendObject(mClient, id, *answer);
    SendProgress(*task.mJob, true);
    SendCompleted(task, wasCancelled);
}

void Worker::WatchTime()
{
    System::gSetThreadName("Symbol Watch");
    const Task* watched = nullptr;
    JobControl::Clock::time_point stopSince;
    System::MutexLock lock{mLock};
    while (!mIsStopping)
    {
        if (mRunning == nullptr || !mRunning->mControl->ShouldStop())
            watched = nullptr;
        else if (watched != mRunning.get())
        {
            watched = mRunning.get();
            stopSince = JobControl::Clock::now();
        }
        else if (JobControl::Clock::now() - stopSince >= mLimits.mGrace)
        {
            const bool isCancelled = mRunning->mControl->IsCancelled();
            lock.Unlock();
            GiveUp(isCancelled ? "The job was cancelled and did not end" : "The job took too long");
        }
        if (mRunning == nullptr)
            mChanged.Wait(mLock);
        else
            mChanged.WaitFor(mLock, cWatchEvery);
    }
}

std::shared_ptr<Worker::Task> Worker::FindRunning()
{
    // Memory may have run out on a thread that holds the lock: then there is no answer to be given.
    if (!mLock.TryLock())
        return nullptr;
    auto running = mRunning;
    mLock.Unlock();
    return running;
}

void Worker::GiveUp(const char* reason)
{
    const std::shared_ptr<Task> task = FindRunning();
    if (task == nullptr || task->mIsAnswered.exchange(true))
        gEndProcess(1);
    Utility::gTrace("%s: the worker ends while working on %s", reason, GetKey(*task->mJob).ModulePath.c_str());
    AnswerFailure(*task, reason);
    SendCompleted(*task, task->mControl->IsCancelled());
    gEndProcess(0);
}

void Worker::AnswerFailure(const Task& task, const char* reason)
{
    if (const auto* convert = dynamic_cast<const ConvertPDBJob*>(task.mJob.get()))
    {
        ConvertPDBResult result{convert->Key, {}, convert->SymbolSettingsHash,
            task.mControl->IsCancelled() ? ConvertPDBResult::EResult::Canceled : ConvertPDBResult::EResult::DIAError};
        (void)SendObject(mClient, ERemoteMessage::ConvertResult, result);
    }
    else if (dynamic_cast<const ResolveFunctionDataJob*>(task.mJob.get()) != nullptr)
    {
        FunctionData data;
        data.Result = EResolveFunctionDataResult::CriticalError;
        data.ErrorMessage = reason;
        (void)SendObject(mClient, ERemoteMessage::FunctionResult, data);
    }
    else
    {
        FunctionLineData data;
        data.Result = EResolveLineDataResult::CriticalError;
        data.ErrorMessage = reason;
        (void)SendObject(mClient, ERemoteMessage::LineResult, data);
    }
}

/// Only conversions have stages.
void Worker::SendProgress(const RemoteJobBase& job, bool isFinished)
{
    const auto* convert = dynamic_cast<const ConvertPDBJob*>(&job);
    if (convert == nullptr)
        return;
    ConvertPDBProgress progress{
        convert->Key, isFinished ? ESymbolLoadState::Finished : ESymbolLoadState::StartDownloadAndConvert};
    (void)SendObject(mClient, ERemoteMessage::Progress, progress);
}

void Worker::SendCompleted(const Task& task, bool wasCancelled)
{
    RemoteJobCompleted completed{task.mJob->JobHandle, wasCancelled};
    (void)SendObject(mClient, ERemoteMessage::JobCompleted, completed);
}

}
