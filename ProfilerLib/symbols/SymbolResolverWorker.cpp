#include "ProfilerLib/symbols/SymbolResolverWorker.h"

#include <chrono>
#include <limits>
#include <utility>

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RemoteJob.h"
#include "System/CommandLine.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

using namespace std::chrono_literals;

/// What a process gets to end by itself, once it was asked to or its connection is gone.
constexpr auto cEndPatience = 1s;

std::string MakeName(uint32_t index)
{
    return index == SymbolResolverWorker::cTestWorker ? "TestWorker"
                                                      : Utility::gFormat("SymbolResolverWorker %u", index);
}

}

SymbolResolverWorker::SymbolResolverWorker(uint32_t index, std::string logFilePath, std::string executablePath,
    const RTTI::TypeRegistry& registry, Listener* listener)
    : mIndex{index},
      mLogFilePath{std::move(logFilePath)},
      mExecutablePath{std::move(executablePath)},
      mRegistry{registry},
      mListener{listener},
      mServer{MakeName(index)}
{
    mSubscriptions.push_back(mProcess.SubscribeToExit([this](uint32_t exitCode) { OnExit(exitCode); }));
    mSubscriptions.push_back(mProcess.SubscribeToOutput([this](const std::string& line) { OnOutput(line); }));
    if (mListener != nullptr)
        SubscribeToMessages();
}

SymbolResolverWorker::~SymbolResolverWorker()
{
    if (HasThread())
    {
        Post([this] { EndProcess(); });
        Finish();
    }
    else
        EndProcess();
}

void SymbolResolverWorker::Post(std::function<void()> work)
{
    const System::MutexLock lock{mThreadLock};
    if (mThread == nullptr)
    {
        const std::size_t noLimit = std::numeric_limits<std::size_t>::max();
        mThread = std::make_unique<System::SerialThread>(MakeName(mIndex), noLimit);
    }
    mThread->Post(std::move(work));
}

bool SymbolResolverWorker::HasThread()
{
    const System::MutexLock lock{mThreadLock};
    return mThread != nullptr;
}

void SymbolResolverWorker::Finish()
{
    System::SerialThread* thread = nullptr;
    {
        const System::MutexLock lock{mThreadLock};
        thread = mThread.get();
    }
    if (thread != nullptr)
        thread->Finish();
}

void SymbolResolverWorker::RunJob(uint32_t handle, std::shared_ptr<RemoteJobBase> job)
{
    Post([this, handle, job = std::move(job)] {
        const EStart start = StartProcess();
        if (start == EStart::Running)
            SendJob(handle, *job);
        else
        {
            Utility::gTrace("Failed to start worker %u", mIndex);
            mListener->OnJobNotSent(*this, handle, start == EStart::Ended);
        }
    });
}

void SymbolResolverWorker::SendJob(uint32_t handle, RemoteJobBase& job)
{
    if (!mListener->OnSendJob(*this, handle, mRun))
        return;
    if (!SendObject(mServer, ERemoteMessage::RunJob, job))
    {
        Utility::gTrace("Failed to send job to worker %u", mIndex);
        mListener->OnJobNotSent(*this, handle, false);
    }
}

void SymbolResolverWorker::CancelJob(uint32_t handle)
{
    Post([this, handle] {
        CancelRemoteJob cancel{static_cast<int32_t>(handle)};
        static_cast<void>(SendObject(mServer, ERemoteMessage::CancelJob, cancel));
    });
}

void SymbolResolverWorker::Shutdown(std::function<void()> whenDone)
{
    Post([this, whenDone = std::move(whenDone)] {
        EndProcess();
        whenDone();
    });
}

void SymbolResolverWorker::Kill()
{
    mProcess.Kill();
}

SymbolResolverWorker::EStart SymbolResolverWorker::StartProcess()
{
    if (mProcess.IsRunning() && mServer.IsConnected())
        return EStart::Running;
    // A process without a connection is of no use. The end of the last run has been told when this returns.
    uint32_t exitCode = 0;
    if (mProcess.IsRunning())
        mProcess.Terminate();
    else
        mProcess.WaitForExit(exitCode);

    // Nobody is let in before it is known which process has to be.
    mServer.Stop();
    mServer.SetPeerProcess(Networking::Server::cNoProcess);
    if (!mServer.Start())
        return EStart::NotStarted;
    ++mRun;
    if (!mProcess.Start(mExecutablePath, MakeArguments(), true, true, ""))
    {
        mServer.Stop();
        return EStart::NotStarted;
    }
    mServer.SetPeerProcess(mProcess.GetProcessID());
    if (mServer.WaitForConnection())
        return EStart::Running;
    const bool hasEnded = !mProcess.IsRunning();
    mProcess.Terminate();
    mServer.Stop();
    return hasEnded ? EStart::Ended : EStart::NotStarted;
}

std::string SymbolResolverWorker::MakeArguments() const
{
    return Utility::gFormat("--serverAddress %s --serverPort %u --dataDirectory %s --logFilePath %s%s", "127.0.0.1",
        mServer.GetPort(), System::gQuoteArgument(FileSystem::gGetCurrentDirectory()).c_str(),
        System::gQuoteArgument(mLogFilePath).c_str(), mCrashReportsEnabled ? "" : " --noCrashReports");
}

void SymbolResolverWorker::EndProcess()
{
    uint32_t exitCode = 0;
    if (mProcess.IsRunning())
    {
        mServer.Send(static_cast<uint8_t>(ERemoteMessage::Exit), nullptr, 0);
        mProcess.WaitForExit(exitCode, cEndPatience);
    }
    mProcess.Terminate();
    // Also when it has ended by itself: afterwards all has been told.
    mProcess.WaitForExit(exitCode);
    mServer.Stop();
}

void SymbolResolverWorker::EndWithoutPeer()
{
    uint32_t exitCode = 0;
    if (mProcess.IsRunning() && !mServer.IsConnected() &&
        mProcess.WaitForExit(exitCode, cEndPatience) == System::NotExited)
        mProcess.Terminate();
}

template <class T, class Take>
EventSubscription SymbolResolverWorker::SubscribeTo(ERemoteMessage id, Take take)
{
    return mServer.Subscribe(static_cast<uint8_t>(id), [this, id, take](Utility::InputMemoryStream& stream) {
        if (mDistrustedRun == mRun)
            return;
        Utility::Result result;
        if (std::unique_ptr<T> object = ReadObject<T>(mRegistry, stream, result))
            take(std::move(object));
        else
            OnUnreadable(id, result);
    });
}

void SymbolResolverWorker::SubscribeToMessages()
{
    mSubscriptions.push_back(SubscribeTo<ConvertPDBResult>(ERemoteMessage::ConvertResult,
        [this](std::unique_ptr<ConvertPDBResult> result) { mListener->OnConvertResult(*this, mRun, *result); }));
    mSubscriptions.push_back(SubscribeTo<ConvertPDBProgress>(ERemoteMessage::Progress,
        [this](std::unique_ptr<ConvertPDBProgress> progress) { mListener->OnProgress(*this, mRun, *progress); }));
    mSubscriptions.push_back(SubscribeTo<FunctionData>(ERemoteMessage::FunctionResult,
        [this](std::unique_ptr<FunctionData> data) { mListener->OnFunctionData(*this, mRun, std::move(data)); }));
    mSubscriptions.push_back(SubscribeTo<FunctionLineData>(ERemoteMessage::LineResult,
        [this](std::unique_ptr<FunctionLineData> data) { mListener->OnLineData(*this, mRun, std::move(data)); }));
    mSubscriptions.push_back(SubscribeTo<RemoteJobCompleted>(ERemoteMessage::JobCompleted,
        [this](std::unique_ptr<RemoteJobCompleted> completed) { mListener->OnJobCompleted(*this, mRun, *completed); }));
    // What has no connection any more ends; the process that never will must not keep its job for ever.
    mSubscriptions.push_back(mServer.SubscribeToDisconnect([this] { Post([this] { EndWithoutPeer(); }); }));
}

void SymbolResolverWorker::OnUnreadable(ERemoteMessage id, const Utility::Result& result)
{
    Utility::gTrace("Symbol resolver worker %u sent a message %u that cannot be read, and is ended: %s", mIndex,
        static_cast<unsigned>(id), result.ToString().c_str());
    mDistrustedRun = mRun;
    mProcess.Kill();
}

void SymbolResolverWorker::OnExit(uint32_t exitCode)
{
    if (mIndex != cTestWorker)
        Utility::gTrace("Symbol resolver worker %u exited with code %u", mIndex, exitCode);
    mServer.Stop();
    if (mListener != nullptr)
        mListener->OnProcessEnded(*this, mRun, exitCode);
}

void SymbolResolverWorker::OnOutput(const std::string& line) const
{
    const int length = static_cast<int>(line.ends_with('\n') ? line.size() - 1 : line.size());
    if (mIndex == cTestWorker)
        Utility::gTrace("[TestWorker] %.*s", length, line.c_str());
    else
        Utility::gTrace("[Worker %02u] %.*s", mIndex, length, line.c_str());
}

}
