#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/SymbolResolverWorker.h"
#include "System/Mutex.h"

namespace Profiler
{

class SymbolModule;
struct ResolvedAddress;

/// The pool of symbol workers: takes jobs, gives each to an idle worker or keeps it in a queue, and follows it to its
/// end. Processes start with their first job, and again with the next one after they have ended. Any thread may call;
/// no operation but `CancelAndWait`, `ShutdownIdleWorkers` and the destructor waits for a process.
///
/// Every job ends in exactly one of these ways, whatever its worker does, and is known until its callback has returned:
///
/// - with its result, and then `RemoteJobCompleted` from the worker;
/// - failed: the worker could not be started, said that the job was done but gave no result, or was lost twice while it
///   ran the job (it ended, or was ended because it sent what cannot be read). The job's result callback gets a
///   failure;
/// - cancelled: while it was queued, or when the worker answers. A worker that does not answer somebody who waits for
///   it is ended.
///
/// Callbacks run without any lock of the pool on a thread of the worker, or on that of who cancels a queued job. They
/// may submit, prioritise and cancel, but must not wait for jobs.
///
/// States of a job: queued (`mPendingJobs`) -> given to a worker (`mWorker`) -> sent (`mRun`) -> ending (`mIsEnding`:
/// its last callback runs) -> gone. Only the thread that sets `mIsEnding` ends it.
class SymbolResolver : private SymbolResolverWorker::Listener
{
public:
    using CrashHandler = std::function<void()>;
    using ProgressHandler = std::function<void(const std::string&, ESymbolLoadState)>; ///< the module's path
    using ConvertHandler = std::function<void(const PDBKey&, std::unique_ptr<SymbolModule>, ConvertPDBResult::EResult)>;
    using FunctionDataHandler = std::function<void(std::unique_ptr<FunctionData>)>;
    using LineDataHandler = std::function<void(std::unique_ptr<FunctionLineData>)>;
    using CancelHandler = std::function<void()>;

    SymbolResolver(uint32_t workerCount, const std::string& logFilePath, const std::string& executablePath,
        const RTTI::TypeRegistry& registry);
    /// Cancels all jobs, waits for their ends and ends all processes.
    ~SymbolResolver() override;
    SymbolResolver(const SymbolResolver&) = delete;
    SymbolResolver& operator=(const SymbolResolver&) = delete;

    /// Called when a process has ended with another exit code than 0.
    void SetCrashCallback(CrashHandler onWorkerCrashed) EXCLUDES(mLock);
    void SetConvertCallbacks(ProgressHandler onProgress, ConvertHandler onResult) EXCLUDES(mLock);
    /// For the jobs that are submitted from now on.
    void SetResolveCallbacks(FunctionDataHandler onFunctionData, LineDataHandler onLineData) EXCLUDES(mLock);
    /// For the next start of each worker.
    void SetCrashReportsEnabled(bool isEnabled);

    // All return the job's handle. `cancelCallback` may be empty; it is called instead of the one for the result.
    uint32_t SubmitConvertPDB(PDBKey key, uint64_t settingsHash, std::string cacheFilePath,
        std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
        CancelHandler cancelCallback) EXCLUDES(mLock);
    uint32_t SubmitResolveFunctionData(PDBKey key, uint64_t moduleBase, const ResolvedAddress& resolvedAddress,
        uint64_t functionLineAddress, uint64_t cursorLineAddress, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localDirectories, CancelHandler cancelCallback)
        EXCLUDES(mLock);
    uint32_t SubmitResolveLineData(PDBKey key, uint64_t moduleBase, std::vector<uint64_t> addresses,
        std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localDirectories,
        CancelHandler cancelCallback) EXCLUDES(mLock);

    /// Unlike the other jobs for sources it has a handler of its own, which gets a `SourceLineData` or what says why
    /// there is none, and leaves its worker running. Addresses count from the image's base.
    uint32_t SubmitResolveSourceLines(PDBKey key, std::vector<uint64_t> addresses, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localDirectories, LineDataHandler onLineData,
        CancelHandler cancelCallback) EXCLUDES(mLock);

    /// Moves a queued job to the head of the queue. Any other is left alone.
    void Prioritize(uint32_t handle) EXCLUDES(mLock);

    /// Ends queued jobs at once; their callbacks have returned when this does. Running ones are asked to end.
    void Cancel(const std::vector<uint32_t>& handles) EXCLUDES(mLock);

    /// Returns when none of the jobs is there any more. With `cancelFirst` it cancels them, and after three seconds it
    /// ends the workers that have not answered.
    void CancelAndWait(const std::vector<uint32_t>& handles, bool cancelFirst) EXCLUDES(mLock);

    /// Ends the processes that have no job, and waits for their end.
    void ShutdownIdleWorkers() EXCLUDES(mLock);

private:
    struct JobRecord
    {
        uint32_t mHandle = 0;
        std::shared_ptr<RemoteJobBase> mJob;
        CancelHandler mCancelCallback;
        FunctionDataHandler mOnFunctionData; ///< of a `ResolveFunctionDataJob`
        LineDataHandler mOnLineData;         ///< of a `ResolveLineDataJob` or one that is derived
        SymbolResolverWorker* mWorker = nullptr;
        uint32_t mRun = 0; ///< of the worker, once it has been sent; no run has the number 0
        int mLosses = 0;   ///< workers that ended while they ran it
        bool mRestartWorkerAfterJob = false;
        bool mHasResult = false;
        bool mIsCancelRequested = false;
        bool mIsEnding = false;
    };

    struct WorkerState
    {
        JobRecord* mJob = nullptr; ///< from when it is given to the worker to its end
        uint32_t mEndedRun = 0;    ///< the last one whose process has ended
    };

    enum class EEnd
    {
        Completed, ///< as the worker says; without a result it has failed
        Failed,
        Cancelled,
    };

    uint32_t Submit(std::unique_ptr<RemoteJobBase> job, JobRecord record) EXCLUDES(mLock);
    SymbolResolverWorker* TakeIdleWorker(const JobRecord& record) REQUIRES(mLock);
    bool IsAnyNearlyIdle() const REQUIRES(mLock);
    void Give(JobRecord& record, SymbolResolverWorker& worker) REQUIRES(mLock);

    /// The job that the process of `run` works on. Null when it has none or that is ending.
    JobRecord* FindRunning(const SymbolResolverWorker& worker, uint32_t run) REQUIRES(mLock);
    JobRecord* Find(uint32_t handle) REQUIRES(mLock);
    /// The record of a result that a worker may send now; marks it as having one.
    JobRecord* TakeResultOf(const SymbolResolverWorker& worker, uint32_t run, const RTTI::TypeHandle& type)
        REQUIRES(mLock);

    void EndJob(uint32_t handle, EEnd end) EXCLUDES(mLock);
    void TellEnd(const JobRecord& record, EEnd end) EXCLUDES(mLock);
    void TellFailure(const JobRecord& record) EXCLUDES(mLock);
    void OnWorkerLost(uint32_t handle) EXCLUDES(mLock);
    /// Removes what a worker that has ended may have left half-written of this job.
    void CleanUpAfter(uint32_t handle) EXCLUDES(mLock);
    void OnWorkerAvailable(SymbolResolverWorker& worker) REQUIRES(mLock);
    void KillUnresponsive(const std::vector<uint32_t>& handles) REQUIRES(mLock);
    bool AreGone(const std::vector<uint32_t>& handles) const REQUIRES(mLock);
    std::vector<uint32_t> GetAllHandles() const EXCLUDES(mLock);

    bool OnSendJob(SymbolResolverWorker& worker, uint32_t handle, uint32_t run) override;
    void OnJobNotSent(SymbolResolverWorker& worker, uint32_t handle, bool isLost) override;
    void OnProcessEnded(SymbolResolverWorker& worker, uint32_t run, uint32_t exitCode) override;
    void OnJobCompleted(SymbolResolverWorker& worker, uint32_t run, const RemoteJobCompleted& completed) override;
    void OnProgress(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBProgress& progress) override;
    void OnConvertResult(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBResult& result) override;
    void OnFunctionData(
        SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionData> functionData) override;
    void OnLineData(SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionLineData> lineData) override;

    std::unique_ptr<SymbolModule> LoadResult(const ConvertPDBResult& result, ConvertPDBResult::EResult& outcome) const;

    const RTTI::TypeRegistry& mRegistry;

    mutable System::Mutex mLock;
    System::ConditionVariable mJobsChanged;
    std::vector<SymbolResolverWorker*> mIdleWorkers GUARDED_BY(mLock);                ///< the longest idle first
    std::deque<JobRecord*> mPendingJobs GUARDED_BY(mLock);                            ///< the next one first
    std::unordered_map<uint32_t, std::unique_ptr<JobRecord>> mJobs GUARDED_BY(mLock); ///< all that have not ended
    std::vector<WorkerState> mStates GUARDED_BY(mLock);                               ///< of each worker
    uint32_t mNextJobHandle GUARDED_BY(mLock) = 0;
    CrashHandler mOnWorkerCrashed GUARDED_BY(mLock);
    ProgressHandler mOnConvertProgress GUARDED_BY(mLock);
    ConvertHandler mOnConvertResult GUARDED_BY(mLock);
    FunctionDataHandler mOnFunctionData GUARDED_BY(mLock);
    LineDataHandler mOnFunctionLineData GUARDED_BY(mLock);

    /// Constant after construction. The last member: the end of a worker may still call.
    std::vector<std::unique_ptr<SymbolResolverWorker>> mWorkers;
};

}
