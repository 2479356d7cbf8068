/// A symbol worker for tests. It reads no program database: what it does with a job is the first part of the module's
/// path, "slow/17" say, and a result has one function of the whole path's name.
///
/// good            converts at once
/// slow            converts after 20 ms, or is cancelled
/// never           reports progress and waits to be cancelled
/// deaf            as never, and does not hear of the cancellation
/// dies            ends with code 3 before it answers
/// midway          ends with code 3 while it writes the file
/// halfway         ends with code 0 between the result and the end of the job
/// none            ends the job without a result
/// missing         says that it has written a file, and has not
/// broken          writes a file that cannot be read
/// error           answers that the database cannot be read
/// unreadable      answers with bytes that are no record
/// huge            announces more than a message may have
/// hangup          closes its connection and lives on
/// stranger        speaks of a job that it was not given, twice gives its result, and otherwise is good; of lines it
///                 names paths that are not there

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "Networking/Client.h"
#include "ProfilerLib/symbols/CacheFolder.h"
#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/RemoteMessage.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

namespace Profiler
{

namespace
{

using namespace std::chrono_literals;

class TestSymbolWorker
{
public:
    TestSymbolWorker() { gReadySymbolRegistry(mRegistry); }

    int Run(const std::string& address, uint16_t port)
    {
        if (!mClient.Connect(address, port))
            return 2;
        while (const auto frame = mClient.Receive())
        {
            Utility::InputMemoryStream stream{frame->mPayload};
            switch (static_cast<ERemoteMessage>(frame->mID))
            {
            case ERemoteMessage::RunJob:
                FinishJob();
                mIsCancelled = false;
                mJob = ReadObject<RemoteJobBase>(mRegistry, stream, mResult);
                if (mJob == nullptr)
                    return 4;
                mThread = std::thread{[this] {
                    RunJob();
                }};
                break;
            case ERemoteMessage::CancelJob:
                mIsCancelled = true;
                break;
            case ERemoteMessage::Ping:
                mClient.Send(static_cast<uint8_t>(ERemoteMessage::Pong), nullptr, 0);
                break;
            case ERemoteMessage::Exit:
                mIsCancelled = true;
                FinishJob();
                return 0;
            default:
                return 5;
            }
        }
        if (mLivesOn)
            std::this_thread::sleep_for(1000s);
        std::_Exit(0);
    }

private:
    void FinishJob()
    {
        if (mThread.joinable())
            mThread.join();
    }

    void RunJob()
    {
        if (RTTI::gIsA<ConvertPDBJob>(*mJob))
            Convert(static_cast<const ConvertPDBJob&>(*mJob));
        else if (RTTI::gIsA<ResolveFunctionDataJob>(*mJob))
            Resolve(static_cast<const ResolveFunctionDataJob&>(*mJob));
        else
            Resolve(static_cast<const ResolveLineDataJob&>(*mJob));
    }

    void Convert(const ConvertPDBJob& job)
    {
        std::printf("Converting %s\n", job.Key.ModulePath.c_str());
        std::fflush(stdout);
        const std::string mode = job.Key.ModulePath.substr(0, job.Key.ModulePath.find('/'));
        ConvertPDBProgress progress{job.Key, ESymbolLoadState::StartDownloadAndConvert};
        Send(ERemoteMessage::Progress, progress);

        if (mode == "dies")
            std::_Exit(3);
        if (mode == "midway")
            EndWhileWriting(job.CacheFilePath);
        if (mode == "slow" || mode == "never" || mode == "deaf")
            Wait(mode);
        if (mode == "hangup")
        {
            mLivesOn = true;
            mClient.Disconnect();
            return;
        }
        if (mode == "unreadable")
            mClient.Send(static_cast<uint8_t>(ERemoteMessage::ConvertResult), "garbage", 7);
        else if (mode == "huge")
            mClient.Send(static_cast<uint8_t>(ERemoteMessage::ConvertResult), nullptr, Networking::cMaxPayload + 1);
        else
            SendResult(job, mode);
        if (mode == "halfway")
            std::_Exit(0);
        Complete(job);
    }

    void EndWhileWriting(const std::string& path)
    {
        CacheFolder folder;
        FileSystem::AtomicFileWriter file;
        FileSystem::FileError error;
        constexpr std::byte half[1000] = {};
        if (!folder.Enter(FileSystem::gGetDirectory(path), mResult) || !file.Open(path, error) ||
            !file.Write(half, error))
            std::_Exit(6);
        std::_Exit(3);
    }

    void Wait(const std::string& mode)
    {
        const auto end = std::chrono::steady_clock::now() + (mode == "slow" ? 20ms : 1000000ms);
        while (std::chrono::steady_clock::now() < end && (mode == "deaf" || !mIsCancelled))
            std::this_thread::sleep_for(1ms);
    }

    void SendResult(const ConvertPDBJob& job, const std::string& mode)
    {
        using EResult = ConvertPDBResult::EResult;
        if (mode == "none" || mIsCancelled)
            return;
        ConvertPDBResult result{job.Key, job.CacheFilePath, job.SymbolSettingsHash, EResult::Success};
        if (mode == "error")
            result.Result = EResult::DIAError;
        else if (mode == "broken")
        {
            static_cast<void>(FileSystem::gCreateDirectoryTree(FileSystem::gGetDirectory(job.CacheFilePath)));
            std::ofstream{job.CacheFilePath} << "This is not a symbol file.";
        }
        else if (mode != "missing")
        {
            SymbolModule module{job.Key, job.SymbolSettingsHash, ESymbolSource::Found};
            module.AddSymbol(0x1000, 0x10, job.Key.ModulePath);
            if (!module.Save(job.CacheFilePath, mResult))
                result.Result = EResult::FileError;
        }
        if (mode == "stranger")
        {
            RemoteJobCompleted other{job.JobHandle + 1, false};
            Send(ERemoteMessage::JobCompleted, other);
            FunctionLineData lines;
            Send(ERemoteMessage::LineResult, lines);
            Send(ERemoteMessage::ConvertResult, result);
        }
        Send(ERemoteMessage::ConvertResult, result);
    }

    void Resolve(const ResolveFunctionDataJob& job)
    {
        if (job.Key.ModulePath.starts_with("dies"))
            std::_Exit(3);
        FunctionData data;
        data.Result = EResolveFunctionDataResult::SourceFound;
        data.SourcePath = job.Key.ModulePath;
        data.ResolvedFunctionLine = static_cast<int32_t>(job.FunctionAddress);
        Send(ERemoteMessage::FunctionResult, data);
        Complete(job);
    }

    void Resolve(const ResolveLineDataJob& job)
    {
        if (job.Key.ModulePath.starts_with("dies"))
            std::_Exit(3);
        // A line for each address, but none for 0.
        SourceLineData data;
        data.Result = EResolveLineDataResult::Success;
        data.Paths = {job.Key.ModulePath};
        for (const uint64_t address : job.AddressesToResolve)
        {
            data.Lines.push_back(address == 0 ? -1 : static_cast<int32_t>(address));
            data.PathIndices.push_back(job.Key.ModulePath.starts_with("stranger") ? 1 : 0);
        }
        FunctionLineData bare = data;
        Send(ERemoteMessage::LineResult, RTTI::gIsA<ResolveSourceLinesJob>(job) ? data : bare);
        Complete(job);
    }

    void Complete(const RemoteJobBase& job)
    {
        RemoteJobCompleted completed{job.JobHandle, mIsCancelled};
        Send(ERemoteMessage::JobCompleted, completed);
    }

    void Send(ERemoteMessage id, RTTI::Object& object)
    {
        if (!SendObject(mClient, id, object))
            std::_Exit(6);
    }

    RTTI::TypeRegistry mRegistry;
    Networking::Client mClient;
    Utility::Result mResult;
    std::unique_ptr<RemoteJobBase> mJob;
    std::thread mThread;
    std::atomic<bool> mIsCancelled = false;
    std::atomic<bool> mLivesOn = false; ///< without a connection
};

}

}

int main(int count, char** arguments)
{
    std::map<std::string, std::string> options;
    for (int i = 1; i + 1 < count; i += 2)
        options[arguments[i]] = arguments[i + 1];
    // What a program that is no worker may do: nothing at all, or end.
    const std::string& log = options["--logFilePath"];
    if (log == "ends at once")
        return 7;
    if (log == "never connects")
        std::this_thread::sleep_for(std::chrono::seconds{1000});
    Profiler::TestSymbolWorker worker;
    return worker.Run(options["--serverAddress"], static_cast<uint16_t>(std::atoi(options["--serverPort"].c_str())));
}
