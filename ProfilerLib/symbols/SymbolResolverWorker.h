#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Networking/Server.h"
#include "ProfilerLib/symbols/RemoteMessage.h"
#include "System/Mutex.h"
#include "System/Process.h"
#include "System/SerialThread.h"
#include "Utility/Event.h"

namespace RTTI
{
class TypeRegistry;
}

namespace Utility
{
class Result;
}

namespace Profiler
{

struct ConvertPDBProgress;
struct ConvertPDBResult;
struct FunctionData;
struct FunctionLineData;
struct RemoteJobBase;
struct RemoteJobCompleted;

/// One worker process and the messages to and from it. The process is started with the first job, and again when it has
/// ended by the next one; each start is a run with a number of its own. What starts, talks to and ends the process is
/// done in order by a thread of the worker, so that nobody else waits for a process. Any thread may call.
class SymbolResolverWorker
{
public:
    /// What the owner is told, without any lock held. `run` says which process it came from.
    class Listener
    {
    public:
        virtual ~Listener() = default;

        /// The job is about to be sent to the process of `run`. False when it is not to be, any more.
        [[nodiscard]] virtual bool OnSendJob(SymbolResolverWorker& worker, uint32_t handle, uint32_t run) = 0;
        /// It was not sent. `isLost` when the process ended beforehand, which another try may do without.
        virtual void OnJobNotSent(SymbolResolverWorker& worker, uint32_t handle, bool isLost) = 0;
        /// The process has ended, after all that it said was told.
        virtual void OnProcessEnded(SymbolResolverWorker& worker, uint32_t run, uint32_t exitCode) = 0;

        // On the thread that receives: while it is in here nothing else comes from this worker.
        virtual void OnJobCompleted(
            SymbolResolverWorker& worker, uint32_t run, const RemoteJobCompleted& completed) = 0;
        virtual void OnProgress(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBProgress& progress) = 0;
        virtual void OnConvertResult(SymbolResolverWorker& worker, uint32_t run, const ConvertPDBResult& result) = 0;
        virtual void OnFunctionData(
            SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionData> functionData) = 0;
        virtual void OnLineData(
            SymbolResolverWorker& worker, uint32_t run, std::unique_ptr<FunctionLineData> lineData) = 0;
    };

    static constexpr uint32_t cTestWorker = ~uint32_t{0};

    /// `index` is the worker's number in the log, or `cTestWorker`. Without a listener it starts and ends, and does
    /// nothing else. Starts no process.
    SymbolResolverWorker(uint32_t index, std::string logFilePath, std::string executablePath,
        const RTTI::TypeRegistry& registry, Listener* listener);
    /// Shuts the process down.
    ~SymbolResolverWorker();
    SymbolResolverWorker(const SymbolResolverWorker&) = delete;
    SymbolResolverWorker& operator=(const SymbolResolverWorker&) = delete;

    /// Starts the process if there is none and sends the job to it. Returns at once.
    void RunJob(uint32_t handle, std::shared_ptr<RemoteJobBase> job);
    /// Asks for the end of a job that `RunJob` was called for. Returns at once.
    void CancelJob(uint32_t handle);
    /// Asks the process to end, and ends it when it does not. Returns at once; `whenDone` is called on the worker's
    /// thread.
    void Shutdown(std::function<void()> whenDone);
    /// Returns when all that was asked for has been done.
    void Finish();
    /// Ends the process, which the listener is told like any other end.
    void Kill();

    bool IsRunning() const { return mProcess.IsRunning(); }
    uint32_t GetIndex() const { return mIndex; }
    /// For the next start.
    void SetCrashReportsEnabled(bool isEnabled) { mCrashReportsEnabled = isEnabled; }

    // For who has no listener, on one thread.
    [[nodiscard]] bool EnsureRunning() { return StartProcess() == EStart::Running; }
    Networking::Server& GetServer() { return mServer; }

private:
    enum class EStart
    {
        Running,
        NotStarted,
        Ended, ///< it started, and has ended before it connected
    };

    void Post(std::function<void()> work) EXCLUDES(mThreadLock);
    bool HasThread() EXCLUDES(mThreadLock);

    // On the worker's thread.
    EStart StartProcess();
    std::string MakeArguments() const;
    void SendJob(uint32_t handle, RemoteJobBase& job);
    void EndProcess();
    void EndWithoutPeer();

    void SubscribeToMessages();
    template <class T, class Take>
    EventSubscription SubscribeTo(ERemoteMessage id, Take take);
    void OnUnreadable(ERemoteMessage id, const Utility::Result& result);
    void OnExit(uint32_t exitCode);
    void OnOutput(const std::string& line) const;

    const uint32_t mIndex;
    const std::string mLogFilePath;
    const std::string mExecutablePath;
    const RTTI::TypeRegistry& mRegistry;
    Listener* const mListener;

    std::atomic<bool> mCrashReportsEnabled = true;
    /// Counted up before each start, when no thread of the run before is left: relaxed would do.
    std::atomic<uint32_t> mRun = 0;
    /// It has sent what cannot be read: nothing more of it is heard. Of the server's receiving thread.
    uint32_t mDistrustedRun = 0;

    Networking::Server mServer;
    System::Process mProcess;
    std::vector<EventSubscription> mSubscriptions; ///< constant after construction

    System::Mutex mThreadLock;
    std::unique_ptr<System::SerialThread> mThread GUARDED_BY(mThreadLock); ///< made for the first work
};

}
