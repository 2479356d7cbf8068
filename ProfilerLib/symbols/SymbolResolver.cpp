#include "ProfilerLib/symbols/SymbolResolver.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "ProfilerLib/symbols/CacheFolder.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// What a worker gets to answer a cancellation that somebody waits for.
constexpr auto cCancelPatience = 3s;
constexpr auto cKillPause = 100ms;
constexpr int cMostTries = 2;

}

SymbolResolver::SymbolResolver(uint32_t workerCount, const std::string& logFilePath, const std::string& executablePath,
    const RTTI::TypeRegistry& registry)
    : mRegistry{registry},
      mStates(workerCount)
{
    SymbolResolverWorker::Listener* const listener = this;
    for (uint32_t index = 0; index < workerCount; ++index)
    {
        mWorkers.push_back(
            std::make_unique<SymbolResolverWorker>(index, logFilePath, executablePath, registry, listener));
        mIdleWorkers.push_back(mWorkers.back().get());
    }
}

SymbolResolver::~SymbolResolver()
{
    // A callback may have submitted another one.
    for (std::vector<uint32_t> handles = GetAllHandles(); !handles.empty(); handles = GetAllHandles())
        CancelAndWait(handles, true);
    mWorkers.clear();
}

void SymbolResolver::SetCrashCallback(CrashHandler onWorkerCrashed)
{
    const System::MutexLock lock{mLock};
    mOnWorkerCrashed = std::move(onWorkerCrashed);
}

void SymbolResolver::SetConvertCallbacks(ProgressHandler onProgress, ConvertHandler onResult)
{
    const System::MutexLock lock{mLock};
    mOnConvertProgress = std::move(onProgress);
    mOnConvertResult = std::move(onResult);
}

void SymbolResolver::SetResolveCallbacks(FunctionDataHandler onFunctionData, LineDataHandler onLineData)
{
    const System::MutexLock lock{mLock};
    mOnFunctionData = std::move(onFunctionData);
    mOnFunctionLineData = std::move(onLineData);
}

void SymbolResolver::SetCrashReportsEnabled(bool isEnabled)
{
    for (const auto& worker : mWorkers)
        worker->SetCrashReportsEnabled(isEnabled);
}

uint32_t SymbolResolver::SubmitConvertPDB(PDBKey key, uint64_t settingsHash, std::string cacheFilePath,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
    CancelHandler cancelCallback)
{
    JobRecord record;
    record.mCancelCallback = std::move(cancelCallback);
    return Submit(std::make_unique<ConvertPDBJob>(std::move(key), settingsHash, std::move(cacheFilePath),
                      std::move(symbolServerPath), std::move(symbolCacheDirectory), std::move(localDirectories)),
        std::move(record));
}

uint32_t SymbolResolver::SubmitResolveFunctionData(PDBKey key, uint64_t moduleBase,
    const ResolvedAddress& resolvedAddress, uint64_t functionLineAddress, uint64_t cursorLineAddress,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
    CancelHandler cancelCallback)
{
    JobRecord record;
    record.mCancelCallback = std::move(cancelCallback);
    record.mRestartWorkerAfterJob = true;
    const uint64_t address = resolvedAddress.mFunctionAddress == ResolvedAddress::cNoFunction
                                 ? resolvedAddress.mAddress
                                 : resolvedAddress.mFunctionAddress;
    return Submit(std::make_unique<ResolveFunctionDataJob>(std::move(key), moduleBase, std::move(symbolServerPath),
                      std::move(symbolCacheDirectory), std::move(localDirectories), address,
                      resolvedAddress.mFunctionSize, functionLineAddress, cursorLineAddress),
        std::move(record));
}

uint32_t SymbolResolver::SubmitResolveLineData(PDBKey key, uint64_t moduleBase, std::vector<uint64_t> addresses,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
    CancelHandler cancelCallback)
{
    JobRecord record;
    record.mCancelCallback = std::move(cancelCallback);
    record.mRestartWorkerAfterJob = true;
    return Submit(std::make_unique<ResolveLineDataJob>(std::move(key), moduleBase, std::move(symbolServerPath),
                      std::move(symbolCacheDirectory), std::move(localDirectories), std::move(addresses)),
        std::move(record));
}

uint32_t SymbolResolver::SubmitResolveSourceLines(PDBKey key, std::vector<uint64_t> addresses,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
    LineDataHandler onLineData, CancelHandler cancelCallback)
{
    JobRecord record;
    record.mCancelCallback = std::move(cancelCallback);
    record.mOnLineData = std::move(onLineData);
    return Submit(std::make_unique<ResolveSourceLinesJob>(std::move(key), 0, std::move(symbolServerPath),
                      std::move(symbolCacheDirectory), std::move(localDirectories), std::move(addresses)),
        std::move(record));
}

uint32_t SymbolResolver::Submit(std::unique_ptr<RemoteJobBase> job, JobRecord record)
{
    const System::MutexLock lock{mLock};
    const uint32_t handle = mNextJobHandle++;
    job->JobHandle = static_cast<int32_t>(handle);
    record.mHandle = handle;
    record.mJob = std::move(job);
    record.mOnFunctionData = mOnFunctionData;
    if (!record.mOnLineData)
        record.mOnLineData = mOnFunctionLineData;
    JobRecord& entered = *(mJobs[handle] = std::make_unique<JobRecord>(std::move(record)));
    if (SymbolResolverWorker* const worker = TakeIdleWorker(entered))
        Give(entered, *worker);
    else
        mPendingJobs.push_back(&entered);
    return handle;
}

/// Null when the job has to wait for one.
SymbolResolverWorker* SymbolResolver::TakeIdleWorker(const JobRecord& record)
{
    auto idle = mIdleWorkers.begin();
    if (RTTI::gIsA<ResolveSourceLinesJob>(*record.mJob))
    {
        // What takes a moment only is not worth the start of a process, if one runs, also if that has its last result
        // behind it and will be idle in a moment.
        idle = std::ranges::find_if(mIdleWorkers, &SymbolResolverWorker::IsRunning);
        if (idle == mIdleWorkers.end() && !IsAnyNearlyIdle())
            idle = mIdleWorkers.begin();
    }
    if (idle == mIdleWorkers.end())
        return nullptr;
    SymbolResolverWorker* const worker = *idle;
    mIdleWorkers.erase(idle);
    return worker;
}

bool SymbolResolver::IsAnyNearlyIdle() const
{
    return std::ranges::any_of(mStates, [](const WorkerState& state) {
        return state.mJob != nullptr && state.mJob->mHasResult && !state.mJob->mRestartWorkerAfterJob;
    });
}

void SymbolResolver::Give(JobRecord& record, SymbolResolverWorker& worker)
{
    record.mWorker = &worker;
    record.mRun = 0;
    mStates[worker.GetIndex()].mJob = &record;
    worker.RunJob(record.mHandle, record.mJob);
}

void SymbolResolver::OnWorkerAvailable(SymbolResolverWorker& worker)
{
    if (mPendingJobs.empty())
    {
        mIdleWorkers.push_back(&worker);
        return;
    }
    JobRecord& record = *mPendingJobs.front();
    mPendingJobs.pop_front();
    Give(record, worker);
}

void SymbolResolver::Prioritize(uint32_t handle)
{
    const System::MutexLock lock{mLock};
    const auto found = std::ranges::find(mPendingJobs, handle, &JobRecord::mHandle);
    if (found != mPendingJobs.end())
        std::rotate(mPendingJobs.begin(), found, std::next(found));
}

void SymbolResolver::Cancel(const std::vector<uint32_t>& handles)
{
    std::vector<uint32_t> queued;
    {
        const System::MutexLock lock{mLock};
        for (const uint32_t handle : handles)
        {
            JobRecord* const record = Find(handle);
            if (record == nullptr || std::exchange(record->mIsCancelRequested, true))
                continue;
            if (record->mWorker == nullptr)
                queued.push_back(handle);
            else
            {
                Utility::gTrace("Canceling remote job %u that is currently being executed on worker %X", handle,
                    record->mWorker->GetIndex());
                record->mWorker->CancelJob(handle);
            }
        }
        // None of them is given to a worker from here on.
        std::erase_if(mPendingJobs, [](const JobRecord* record) { return record->mIsCancelRequested; });
    }
    for (const uint32_t handle : queued)
    {
        Utility::gTrace("Canceling remote job %u before being executed", handle);
        EndJob(handle, EEnd::Cancelled);
    }
}

void SymbolResolver::CancelAndWait(const std::vector<uint32_t>& handles, bool cancelFirst)
{
    if (cancelFirst)
        Cancel(handles);
    auto end = Clock::now() + cCancelPatience;
    const System::MutexLock lock{mLock};
    while (!AreGone(handles))
    {
        if (!cancelFirst)
            mJobsChanged.Wait(mLock);
        else if (!mJobsChanged.WaitUntil(mLock, end))
        {
            // Again and again: it may just be starting its process.
            KillUnresponsive(handles);
            end = Clock::now() + cKillPause;
        }
    }
}

void SymbolResolver::KillUnresponsive(const std::vector<uint32_t>& handles)
{
    for (const uint32_t handle : handles)
    {
        const JobRecord* const record = Find(handle);
        if (record == nullptr || record->mWorker == nullptr || !record->mWorker->IsRunning())
            continue;
        Utility::gTrace("Worker %u does not cancel remote job %u, and is ended", record->mWorker->GetIndex(), handle);
        record->mWorker->Kill();
    }
}

void SymbolResolver::ShutdownIdleWorkers()
{
    std::vector<SymbolResolverWorker*> idle;
    {
        const System::MutexLock lock{mLock};
        idle = mIdleWorkers;
    }
    // One that gets a job meanwhile has it behind the end of its process, and starts another.
    std::erase_if(idle, [](const SymbolResolverWorker* worker) { return !worker->IsRunning(); });
    for (SymbolResolverWorker* const worker : idle)
        worker->Shutdown([] {});
    for (SymbolResolverWorker* const worker : idle)
        worker->Finish();
}

SymbolResolver::JobRecord* SymbolResolver::Find(uint32_t handle)
{
    const auto found = mJobs.find(handle);
    return found == mJobs.end() || found->second->mIsEnding ? nullptr : found->second.get();
}

SymbolResolver::JobRecord* SymbolResolver::FindRunning(const SymbolResolverWorker& worker, uint32_t run)
{
    JobRecord* const record = mStates[worker.GetIndex()].mJob;
    return record != nullptr && record->mRun == run && !record->mIsEnding ? record : nullptr;
}

bool SymbolResolver::AreGone(const std::vector<uint32_t>& handles) const
{
    return std::ranges::none_of(handles, [this](uint32_t handle) REQUIRES(mLock) { return mJobs.contains(handle); });
}

std::vector<uint32_t> SymbolResolver::GetAllHandles() const
{
    const System::MutexLock lock{mLock};
    std::vector<uint32_t> handles;
    for (const auto& [handle, record] : mJobs)
        handles.push_back(handle);
    return handles;
}

void SymbolResolver::EndJob(uint32_t handle, EEnd end)
{
    const JobRecord* record = nullptr;
    {
        const System::MutexLock lock{mLock};
        JobRecord* const found = Find(handle);
        if (found == nullptr)
            return;
        found->mIsEnding = true;
        record = found;
    }
    // From here on nobody else touches the record; it stays until those who wait for the job may go on.
    TellEnd(*record, end);
    SymbolResolverWorker* const worker = record->mWorker;
    const bool isRestart = record->mRestartWorkerAfterJob;
    {
        const System::MutexLock lock{mLock};
        if (worker != nullptr)
            mStates[worker->GetIndex()].mJob = nullptr;
        mJobs.erase(handle);
        if (worker != nullptr && !isRestart)
            OnWorkerAvailable(*worker);
        mJobsChanged.NotifyAll();
    }
    if (worker != nullptr && isRestart)
    {
        worker->Shutdown([this, worker] {
            const System::MutexLock lock{mLock};
            OnWorkerAvailable(*worker);
        });
    }
}

void SymbolResolver::TellEnd(const JobRecord& record, EEnd end)
{
    if (record.mHasResult)
        return;
    if (end == EEnd::Cancelled)
    {
        if (record.mCancelCallback)
            record.mCancelCallback();
        return;
    }
    Utility::gTrace(
        end == EEnd::Failed ? "Remote job %u has failed" : "Remote job %u has ended without a result", record.mHandle);
    TellFailure(record);
}

void SymbolResolver::TellFailure(const JobRecord& record)
{
    const char* const reason = "The symbol resolver worker could not do the job";
    if (RTTI::gIsA<ConvertPDBJob>(*record.mJob))
    {
        ConvertHandler onResult;
        {
            const System::MutexLock lock{mLock};
            onResult = mOnConvertResult;
        }
        if (onResult)
            onResult(static_cast<const ConvertPDBJob&>(*record.mJob).Key, nullptr, ConvertPDBResult::EResult::DIAError);
    }
    else if (RTTI::gIsA<ResolveFunctionDataJob>(*record.mJob) && record.mOnFunctionData)
    {
        auto data = std::make_unique<FunctionData>();
        data->Result = EResolveFunctionDataResult::CriticalError;
        data->ErrorMessage = reason;
        record.mOnFunctionData(std::move(data));
    }
    else if (RTTI::gIsA<ResolveLineDataJob>(*record.mJob) && record.mOnLineData)
    {
        auto data = std::make_unique<FunctionLineData>();
        data->Result = EResolveLineDataResult::CriticalError;
        data->ErrorMessage = reason;
        record.mOnLineData(std::move(data));
    }
}

bool SymbolResolver::OnSendJob(SymbolResolverWorker& worker, uint32_t handle, uint32_t run)
{
    {
        const System::MutexLock lock{mLock};
        JobRecord* const record = Find(handle);
        if (record == nullptr)
            return false;
        if (mStates[worker.GetIndex()].mEndedRun != run)
        {
            record->mRun = run;
            return true;
        }
    }
    OnWorkerLost(handle);
    return false;
}

void SymbolResolver::OnJobNotSent(SymbolResolverWorker&, uint32_t handle, bool isLost)
{
    if (isLost)
        OnWorkerLost(handle);
    else
        EndJob(handle, EEnd::Failed);
}

void SymbolResolver::OnProcessEnded(SymbolResolverWorker& worker, uint32_t run, uint32_t exitCode)
{
    CrashHandler onCrashed;
    std::optional<uint32_t> handle;
    {
        const System::MutexLock lock{mLock};
        mStates[worker.GetIndex()].mEndedRun = run;
        if (const JobRecord* const record = FindRunning(worker, run))
            handle = record->mHandle;
        if (exitCode != 0)
            onCrashed = mOnWorkerCrashed;
    }
    if (onCrashed)
        onCrashed();
    if (handle)
        OnWorkerLost(*handle);
}

void SymbolResolver::OnWorkerLost(uint32_t handle)
{
    CleanUpAfter(handle);
    EEnd end = EEnd::Failed;
    {
        const System::MutexLock lock{mLock};
        JobRecord* const record = Find(handle);
        if (record == nullptr)
            return;
        if (record->mIsCancelRequested)
            end = EEnd::Cancelled;
        else if (!record->mHasResult && ++record->mLosses < cMostTries)
        {
            Utility::gTrace("Remote job %u is tried again on worker %u", handle, record->mWorker->GetIndex());
            Give(*record, *record->mWorker);
            return;
        }
    }
    EndJob(handle, end);
}

void SymbolResolver::CleanUpAfter(uint32_t handle)
{
    std::string path;
    {
        const System::MutexLock lock{mLock};
        const JobRecord* const record = Find(handle);
        if (record == nullptr || !RTTI::gIsA<ConvertPDBJob>(*record->mJob))
            return;
        path = static_cast<const ConvertPDBJob&>(*record->mJob).CacheFilePath;
    }
    CacheFolder::sRemoveAbandoned(FileSystem::gGetDirectory(path));
}

void SymbolResolver::OnJobCompleted(SymbolResolverWorker& worker, uint32_t run, const RemoteJobCompleted& completed)
{
    const auto handle = static_cast<uint32_t>(completed.JobHandle);
    {
        const System::MutexLock lock{mLock};
        const JobRecord* const record = FindRunning(worker, run);
        if (record == nullptr || record->mHandle != handle)
        {
            Utility::gTrace("Worker %u completed remote job %u, which it does not run", worker.GetIndex(), handle);
            return;
        }
    }
    if (completed.Canceled)
        Utility::gTrace("Running job %u has been canceled", handle);
    EndJob(handle, completed.Canceled ? EEnd::Cancelled : EEnd::Completed);
}

void SymbolResolver::OnProgress(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBProgress& progress)
{
    ProgressHandler onProgress;
    {
        const System::MutexLock lock{mLock};
        const JobRecord* const record = FindRunning(worker, run);
        if (record == nullptr || !RTTI::gIsA<ConvertPDBJob>(*record->mJob) ||
            static_cast<const ConvertPDBJob&>(*record->mJob).Key != progress.Key)
            return;
        onProgress = mOnConvertProgress;
    }
    if (onProgress)
        onProgress(progress.Key.ModulePath, progress.SymbolLoadState);
}

SymbolResolver::JobRecord* SymbolResolver::TakeResultOf(
    const SymbolResolverWorker& worker, uint32_t run, const RTTI::TypeHandle& type)
{
    JobRecord* const record = FindRunning(worker, run);
    if (record == nullptr || !RTTI::gIsDerivedFrom(record->mJob->GetType(), type) ||
        std::exchange(record->mHasResult, true))
    {
        Utility::gTrace("Worker %u sent a result that it was not asked for", worker.GetIndex());
        return nullptr;
    }
    return record;
}

void SymbolResolver::OnConvertResult(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBResult& result)
{
    // What was cancelled is told by the end of the job.
    if (result.Result == ConvertPDBResult::EResult::Canceled)
        return;
    ConvertHandler onResult;
    PDBKey key;
    {
        const System::MutexLock lock{mLock};
        const JobRecord* const record = TakeResultOf(worker, run, RTTI::gTypeOf<ConvertPDBJob>());
        if (record == nullptr)
            return;
        // The job's key: a worker may be wrong about what it was asked.
        key = static_cast<const ConvertPDBJob&>(*record->mJob).Key;
        onResult = mOnConvertResult;
    }
    ConvertPDBResult::EResult outcome = result.Result;
    std::unique_ptr<SymbolModule> module = LoadResult(result, outcome);
    if (onResult)
        onResult(key, std::move(module), outcome);
}

std::unique_ptr<SymbolModule> SymbolResolver::LoadResult(
    const ConvertPDBResult& result, ConvertPDBResult::EResult& outcome) const
{
    if (outcome != ConvertPDBResult::EResult::Success)
        return nullptr;
    const std::string& path = result.SymbolModulePath;
    Utility::Result loading;
    std::unique_ptr<SymbolModule> module;
    if (!FileSystem::gFileExists(path))
        Utility::gTrace("The file %s that was written by the SymbolResolverWorker does not exist", path.c_str());
    else
    {
        module = SymbolModule::Load(path, mRegistry, result.SymbolSettingsHash, loading);
        if (module == nullptr)
            Utility::gTrace("The file %s that was written by the SymbolResolverWorker could not be read: %s",
                path.c_str(), loading.ToString().c_str());
    }
    if (module == nullptr)
        outcome = ConvertPDBResult::EResult::FileError;
    return module;
}

void SymbolResolver::OnFunctionData(
    SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionData> functionData)
{
    FunctionDataHandler onFunctionData;
    {
        const System::MutexLock lock{mLock};
        if (const JobRecord* const record = TakeResultOf(worker, run, RTTI::gTypeOf<ResolveFunctionDataJob>()))
            onFunctionData = record->mOnFunctionData;
    }
    if (onFunctionData)
        onFunctionData(std::move(functionData));
}

void SymbolResolver::OnLineData(SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionLineData> lineData)
{
    LineDataHandler onLineData;
    {
        const System::MutexLock lock{mLock};
        if (const JobRecord* const record = TakeResultOf(worker, run, RTTI::gTypeOf<ResolveLineDataJob>()))
            onLineData = record->mOnLineData;
    }
    if (onLineData)
        onLineData(std::move(lineData));
}

}
