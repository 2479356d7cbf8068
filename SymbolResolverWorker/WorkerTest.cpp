#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "Networking/Server.h"
#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/RemoteMessage.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/SymbolResolver.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "System/Mutex.h"
#include "System/Process.h"
#include "Utility/Format.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

/// The worker as a process of its own, at the other end of a connection.
namespace
{

using namespace Profiler;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

const std::string cWorker = SYMBOL_WORKER;
const std::string cThisProgram = std::filesystem::read_symlink("/proc/self/exe").string();

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool cHasSanitizer = true;
#else
constexpr bool cHasSanitizer = false;
#endif

class WorkerTest : public testing::Test
{
protected:
    WorkerTest()
    {
        gReadySymbolRegistry(mRegistry);
        for (const auto id : {ERemoteMessage::JobCompleted, ERemoteMessage::Progress, ERemoteMessage::ConvertResult,
                 ERemoteMessage::FunctionResult, ERemoteMessage::LineResult, ERemoteMessage::Pong})
            mSubscriptions.push_back(mServer.Subscribe(
                static_cast<uint8_t>(id), [this, id](Utility::InputMemoryStream& stream) { Take(id, stream); }));
        mOutputSubscription = mProcess.SubscribeToOutput([this](const std::string& line) {
            const System::MutexLock lock{mLock};
            mOutput += line;
        });
    }
    ~WorkerTest() override
    {
        mServer.Stop();
        mProcess.Terminate();
    }

    void Start(const std::string& program = cWorker, const std::string& before = {}, const std::string& behind = {})
    {
        ASSERT_TRUE(mServer.Start());
        const std::string arguments = Utility::gFormat(
            "%s--serverAddress 127.0.0.1 --serverPort %u --dataDirectory \"%s\" --logFilePath \"%s\"%s", before.c_str(),
            mServer.GetPort(), mFolder.GetPath().c_str(), (mFolder / "log").c_str(), behind.c_str());
        ASSERT_TRUE(mProcess.Start(program, arguments, true, true, ""));
        ASSERT_TRUE(mServer.WaitForConnection());
    }

    void Send(ERemoteMessage id) { mServer.Send(static_cast<uint8_t>(id), nullptr, 0); }
    void Send(ERemoteMessage id, RTTI::Object& object) { ASSERT_TRUE(SendObject(mServer, id, object)); }

    ConvertPDBJob MakeConvertJob(const std::string& image, int32_t handle)
    {
        Utility::Result result;
        Symbols::ImageIdentity identity;
        EXPECT_TRUE(identity.Read(image, result)) << result.ToString();
        ConvertPDBJob job{identity.mKey, 17, mFolder / ("cache/" + std::to_string(handle) + ".symcache"), "", "", {}};
        job.JobHandle = handle;
        return job;
    }

    /// Waits for so many messages of all kinds. There is no limit to how long a slow machine may take but the test's.
    bool WaitFor(const std::function<bool()>& condition)
    {
        for (int i = 0; i < 6000; ++i)
        {
            {
                const System::MutexLock lock{mLock};
                if (condition())
                    return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds{10});
        }
        return false;
    }
    bool WaitForCompleted(std::size_t count)
    {
        return WaitFor([&] { return mCompleted.size() >= count; });
    }

    uint32_t WaitForExit()
    {
        uint32_t exitCode = ~0u;
        EXPECT_NE(mProcess.WaitForExit(exitCode, std::chrono::seconds{60}), System::NotExited);
        return exitCode;
    }

    /// A library with so many functions that their list is larger than 250 MB.
    std::string MakeLargeImage()
    {
        const std::string source = mFolder.Write("large.s",
            ".text\n.altmacro\n.macro name number\n.type f\\number, @function\nf\\number: .byte 0\n.endm\n"
            ".set i, 0\n.rept 1500000\nname %i\n.set i, i + 1\n.endr\n");
        EXPECT_EQ(
            std::system(("g++ -shared -nostdlib -Wl,--build-id " + source + " -o " + (mFolder / "large.so")).c_str()),
            0);
        return mFolder / "large.so";
    }

    /// A library with a function whose name takes years to write out: each of 60 types stands for two of the one
    /// before, and all are searched for a parameter pack before the first letter is written.
    std::string MakeEndlessImage()
    {
        std::string name = "_Z1fDp1QI1PIiiE";
        const auto refer = [](int index) {
            return std::string{"S"} + (index < 36 ? "" : "1") + "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[index % 36] +
                   "_";
        };
        for (int i = 0; i < 60; ++i)
            name += "S0_I" + refer(i + 1) + refer(i + 1) + "E";
        name += "E";
        const std::string source =
            mFolder.Write("endless.s", ".text\n.globl " + name + "\n.type " + name + ", @function\n" + name +
                                           ": .byte 0\n.size " + name + ", 1\n");
        EXPECT_EQ(
            std::system(("g++ -shared -nostdlib -Wl,--build-id " + source + " -o " + (mFolder / "endless.so")).c_str()),
            0);
        return mFolder / "endless.so";
    }

    /// The text comes on a thread of its own; what is not to come is given no time.
    bool WaitForOutput(const std::string& text, bool isAwaited)
    {
        const auto isThere = [&] {
            return mOutput.find(text) != std::string::npos;
        };
        if (isAwaited)
            return WaitFor(isThere);
        const System::MutexLock lock{mLock};
        return isThere();
    }

    TemporaryFolder mFolder;
    RTTI::TypeRegistry mRegistry;
    System::Mutex mLock;
    std::vector<ERemoteMessage> mOrder;
    std::vector<RemoteJobCompleted> mCompleted;
    std::vector<ConvertPDBResult> mConverted;
    std::vector<FunctionData> mFunctions;
    std::vector<FunctionLineData> mLines;
    std::string mOutput;
    System::Process mProcess;
    EventSubscription mOutputSubscription;
    Networking::Server mServer{"WorkerTest"};
    std::vector<EventSubscription> mSubscriptions;

private:
    template <class T>
    void Keep(Utility::InputMemoryStream& stream, std::vector<T>& target)
    {
        Utility::Result result;
        const auto object = ReadObject<T>(mRegistry, stream, result);
        EXPECT_NE(object, nullptr) << result.ToString();
        if (object != nullptr)
            target.push_back(*object);
    }

    void Take(ERemoteMessage id, Utility::InputMemoryStream& stream)
    {
        const System::MutexLock lock{mLock};
        mOrder.push_back(id);
        if (id == ERemoteMessage::JobCompleted)
            Keep(stream, mCompleted);
        else if (id == ERemoteMessage::ConvertResult)
            Keep(stream, mConverted);
        else if (id == ERemoteMessage::FunctionResult)
            Keep(stream, mFunctions);
        else if (id == ERemoteMessage::LineResult)
            Keep(stream, mLines);
    }
};

TEST_F(WorkerTest, AnswersConvertsAndExits)
{
    Start();
    Send(ERemoteMessage::Ping);
    ConvertPDBJob job = MakeConvertJob(cThisProgram, 5);
    Send(ERemoteMessage::RunJob, job);
    ASSERT_TRUE(WaitForCompleted(1));
    EXPECT_THAT(mOrder, ElementsAre(ERemoteMessage::Pong, ERemoteMessage::Progress, ERemoteMessage::ConvertResult,
                            ERemoteMessage::Progress, ERemoteMessage::JobCompleted));
    EXPECT_EQ(mCompleted[0].JobHandle, 5);
    EXPECT_FALSE(mCompleted[0].Canceled);
    EXPECT_EQ(mConverted[0].Result, ConvertPDBResult::EResult::Success);
    EXPECT_EQ(mConverted[0].Key, job.Key);
    EXPECT_EQ(mConverted[0].SymbolSettingsHash, 17u);
    Utility::Result result;
    const auto module = SymbolModule::Load(mConverted[0].SymbolModulePath, mRegistry, 17, result);
    ASSERT_NE(module, nullptr) << result.ToString();
    const Symbol* main = module->FindByName("main");
    ASSERT_NE(main, nullptr);

    ResolveLineDataJob lines{job.Key, 0x10000, "", "", {}, {0x10000 + main->Address, 0x10000}};
    lines.JobHandle = 6;
    Send(ERemoteMessage::RunJob, lines);
    ResolveFunctionDataJob source{job.Key, 0x10000, "", "", {}, 0x10000 + main->Address, main->Size,
        0x10000 + main->Address, 0x10000 + main->Address + 1};
    source.JobHandle = 7;
    Send(ERemoteMessage::RunJob, source);
    ASSERT_TRUE(WaitForCompleted(3));
    EXPECT_EQ(mLines[0].Result, EResolveLineDataResult::Success);
    EXPECT_EQ(mLines[0].Lines[1], -1);
    EXPECT_EQ(mFunctions[0].DisassemblyResult, EDisassemblyResult::Success);
    EXPECT_EQ(mFunctions[0].Instructions.at(0).Address, 0x10000 + main->Address);

    Send(ERemoteMessage::Exit);
    EXPECT_EQ(WaitForExit(), 0u);
}

TEST_F(WorkerTest, WhatIsMissingOrDamagedIsAnsweredForWithAReason)
{
    const std::string damaged = mFolder.Write("damaged.pdb", std::string(100, 'x'));
    std::filesystem::copy_file(SYMBOL_TEST_DATA "/sample.exe", mFolder / "damaged.exe");
    Start();
    ConvertPDBJob missing = MakeConvertJob(cThisProgram, 1);
    missing.Key.PDBGUID.Data1 ^= 1;
    Send(ERemoteMessage::RunJob, missing);
    ConvertPDBJob broken = MakeConvertJob(mFolder / "damaged.exe", 2);
    broken.Key.PDBName = damaged;
    Send(ERemoteMessage::RunJob, broken);
    ConvertPDBJob unwritable = MakeConvertJob(cThisProgram, 3);
    unwritable.CacheFilePath = "/proc/none/file.symcache";
    Send(ERemoteMessage::RunJob, unwritable);
    ASSERT_TRUE(WaitForCompleted(3));
    ASSERT_EQ(mConverted.size(), 3u);
    // That there is nothing is kept as well.
    EXPECT_EQ(mConverted[0].Result, ConvertPDBResult::EResult::Success);
    Utility::Result result;
    const auto module = SymbolModule::Load(mConverted[0].SymbolModulePath, mRegistry, 17, result);
    ASSERT_NE(module, nullptr) << result.ToString();
    EXPECT_EQ(module->GetSourcePDBStatus(), ESymbolSource::NotFound);
    EXPECT_EQ(mConverted[1].Result, ConvertPDBResult::EResult::DIAError);
    EXPECT_FALSE(FileSystem::gFileExists(broken.CacheFilePath));
    EXPECT_EQ(mConverted[2].Result, ConvertPDBResult::EResult::FileError);
    Send(ERemoteMessage::Exit);
    EXPECT_EQ(WaitForExit(), 0u);
    EXPECT_THAT(mOutput, HasSubstr("The file is of another build"));
    EXPECT_THAT(mOutput, HasSubstr("This is no program database of version 7.00"));
}

TEST_F(WorkerTest, ACancelledJobEndsAsCancelled)
{
    Start();
    // The second one waits behind the first, which may or may not have ended.
    for (const int32_t handle : {1, 2})
    {
        ConvertPDBJob job = MakeConvertJob(cThisProgram, handle);
        Send(ERemoteMessage::RunJob, job);
    }
    CancelRemoteJob second{2};
    Send(ERemoteMessage::CancelJob, second);
    ASSERT_TRUE(WaitForCompleted(2));
    for (const RemoteJobCompleted& completed : mCompleted)
        EXPECT_EQ(completed.Canceled, completed.JobHandle == 2);
    // What nobody knows is no harm.
    CancelRemoteJob unknown{99};
    Send(ERemoteMessage::CancelJob, unknown);
    mServer.Send(static_cast<uint8_t>(ERemoteMessage::RunJob), "garbage", 7);
    mServer.Send(77, "what?", 5);
    Send(ERemoteMessage::Ping);
    EXPECT_TRUE(WaitFor([&] { return std::ranges::count(mOrder, ERemoteMessage::Pong) == 1; }));
}

TEST_F(WorkerTest, EndsWhenThePeerGoes)
{
    Start();
    mServer.Stop();
    EXPECT_EQ(WaitForExit(), 0u);
}

TEST_F(WorkerTest, EndsWithTheProcessThatStartedIt)
{
    // The shell ends, and its child is left with a connection that holds.
    const std::string script = mFolder.Write("start", "\"$@\" &\nsleep 1\n");
    Start("/bin/sh", script + " " + cWorker + " ");
    (void)WaitForExit();
    bool isGone = false;
    for (int i = 0; i < 1000 && !isGone; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
        isGone = !mServer.IsConnected();
    }
    EXPECT_TRUE(isGone);
}

TEST_F(WorkerTest, RunningOutOfMemoryIsAnsweredFor)
{
    if (cHasSanitizer)
        GTEST_SKIP() << "a sanitizer reserves more";
    Start("/usr/bin/prlimit", "--as=250000000 " + cWorker + " ");
    // A symbol table that is nothing but names takes more than that: written by the test, so that it is the same
    // everywhere.
    ConvertPDBJob job = MakeConvertJob(MakeLargeImage(), 8);
    Send(ERemoteMessage::RunJob, job);
    ASSERT_TRUE(WaitForCompleted(1));
    EXPECT_EQ(mConverted.at(0).Result, ConvertPDBResult::EResult::DIAError);
    EXPECT_EQ(WaitForExit(), 0u);
    EXPECT_THAT(mOutput, HasSubstr("more memory than a worker may have"));
}

TEST_F(WorkerTest, HasNoMoreAddressSpaceThanItNeeds)
{
    if (cHasSanitizer)
        GTEST_SKIP() << "a sanitizer reserves more";
    Start();
    std::ifstream file{Utility::gFormat("/proc/%u/limits", mProcess.GetProcessID())};
    const std::string limits{std::istreambuf_iterator<char>{file}, {}};
    EXPECT_THAT(limits, ContainsRegex("Max address space +4294967296 +4294967296 +bytes"));
    EXPECT_THAT(limits, ContainsRegex("Max core file size +0 +0 +bytes"));
}

TEST_F(WorkerTest, AJobThatHangsIsAnsweredForAndEndsTheProcess)
{
    Start(cWorker, "--jobTime 50 ");
    ConvertPDBJob job = MakeConvertJob(MakeEndlessImage(), 9);
    Send(ERemoteMessage::RunJob, job);
    ASSERT_TRUE(WaitForCompleted(1));
    EXPECT_EQ(mConverted.at(0).Result, ConvertPDBResult::EResult::DIAError);
    EXPECT_EQ(mCompleted[0].JobHandle, 9);
    EXPECT_FALSE(mCompleted[0].Canceled);
    EXPECT_EQ(WaitForExit(), 0u);
    EXPECT_THAT(mOutput, HasSubstr("The job took too long: the worker ends while working on "));
    EXPECT_FALSE(FileSystem::gFileExists(job.CacheFilePath));
}

TEST_F(WorkerTest, AHungJobThatIsCancelledEndsTheProcess)
{
    Start(cWorker, "--jobTime 600000 ");
    ConvertPDBJob job = MakeConvertJob(MakeEndlessImage(), 3);
    Send(ERemoteMessage::RunJob, job);
    ASSERT_TRUE(WaitFor([&] { return std::ranges::count(mOrder, ERemoteMessage::Progress) == 1; }));
    CancelRemoteJob cancel{3};
    Send(ERemoteMessage::CancelJob, cancel);
    ASSERT_TRUE(WaitForCompleted(1));
    EXPECT_TRUE(mCompleted[0].Canceled);
    EXPECT_EQ(WaitForExit(), 0u);
    EXPECT_THAT(mOutput, HasSubstr("The job was cancelled and did not end"));
}

/// The first process gets little time, the next one what is usual.
TEST_F(WorkerTest, ThePoolTellsTheWaiterOfAHungJobAndGoesOn)
{
    const std::string script = mFolder.Write("worker", Utility::gFormat("#!/bin/sh\n"
                                                                        "[ -e \"$0.started\" ] && exec '%s' \"$@\"\n"
                                                                        "touch \"$0.started\"\n"
                                                                        "exec '%s' --jobTime 50 \"$@\"\n",
                                                           cWorker.c_str(), cWorker.c_str()));
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    const PDBKey hung = MakeConvertJob(MakeEndlessImage(), 1).Key;
    const PDBKey good = MakeConvertJob(cThisProgram, 2).Key;
    std::vector<std::pair<PDBKey, ConvertPDBResult::EResult>> results;
    SymbolResolver pool{1, "", script, mRegistry};
    pool.SetConvertCallbacks({}, [&](const PDBKey& key, std::unique_ptr<SymbolModule>,
                                     ConvertPDBResult::EResult result) { results.emplace_back(key, result); });
    std::vector<uint32_t> jobs;
    for (const PDBKey& key : {hung, good})
        jobs.push_back(pool.SubmitConvertPDB(
            key, 0, mFolder / ("cache/" + std::to_string(jobs.size()) + ".symcache"), "", "", {}, {}));
    pool.CancelAndWait(jobs, false);
    EXPECT_THAT(results,
        ElementsAre(Pair(hung, ConvertPDBResult::EResult::DIAError), Pair(good, ConvertPDBResult::EResult::Success)));
}

TEST_F(WorkerTest, ACrashIsReported)
{
    const struct
    {
        const char* mOptions;
        bool mIsReported;
    } cRows[] = {{"", true}, {" --noCrashReports", false}};
    for (const auto& row : cRows)
    {
        // A sanitizer has a report of its own.
        if (cHasSanitizer && !row.mIsReported)
            continue;
        mFolder.Write("log", "a log\n");
        mOutput.clear();
        mOrder.clear();
        Start(cWorker, "", row.mOptions);
        ConvertPDBJob job = MakeConvertJob(MakeEndlessImage(), 4);
        Send(ERemoteMessage::RunJob, job);
        ASSERT_TRUE(WaitFor([&] { return !mOrder.empty(); }));
        ASSERT_EQ(kill(static_cast<pid_t>(mProcess.GetProcessID()), SIGBUS), 0);
        EXPECT_EQ(WaitForExit(), 128u + SIGBUS);
        mServer.Stop();
        const std::string report = Utility::gFormat(
            "The symbol worker crashed with signal %d while working on %s\n", SIGBUS, job.Key.ModulePath.c_str());
        EXPECT_EQ(mFolder.Read("log"), "a log\n" + (row.mIsReported ? report : ""));
        EXPECT_EQ(WaitForOutput(report, row.mIsReported), row.mIsReported) << mOutput;
    }
}

TEST_F(WorkerTest, WrongUsageIsExplained)
{
    const struct
    {
        const char* mArguments;
        uint32_t mExitCode;
        const char* mReason;
    } cRows[] = {{"", 2, "SymbolResolverWorker: --serverAddress and --serverPort are needed\n"},
        {"--serverPort 1", 2, "are needed"}, {"--serverAddress 127.0.0.1 --serverPort 0", 2, "\"0\" is no port"},
        {"--serverAddress 127.0.0.1 --serverPort 65536", 2, "\"65536\" is no port"},
        {"--serverAddress 127.0.0.1 --serverPort 1x", 2, "\"1x\" is no port"},
        {"--jobTime soon", 2, "\"soon\" is no number of milliseconds"},
        {"--unknown 1", 2, "\"--unknown\" is no option"}, {"--serverAddress", 2, "--serverAddress needs a value"},
        {"--help", 0, ""}};
    for (const auto& row : cRows)
    {
        uint32_t exitCode = 0;
        std::string message;
        std::string output;
        System::Process::Run(cWorker, row.mArguments, true, "", message, exitCode,
            [&output](const std::string& line) { output += line; });
        EXPECT_EQ(exitCode, row.mExitCode) << row.mArguments;
        EXPECT_THAT(output, HasSubstr(row.mReason)) << row.mArguments;
        EXPECT_THAT(output, HasSubstr("\nUsage: SymbolResolverWorker --serverAddress ADDRESS")) << row.mArguments;
    }
}

}
