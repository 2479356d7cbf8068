#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
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
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
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
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string cWorker = SYMBOL_WORKER;
const std::string cThisProgram = std::filesystem::read_symlink("/proc/self/exe").string();

class WorkerTest : public testing::Test
{
protected:
    WorkerTest()
    {
        {
            const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
            RTTI::gRegisterTypes(mRegistry);
            gRegisterSymbolTypes(mRegistry);
            Serialization::gRegisterTypes(mRegistry);
        }
        mRegistry.Finalize();
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

TEST_F(WorkerTest, WrongUsageIsRefused)
{
    for (const char* arguments : {"", "--serverPort 1", "--serverAddress 127.0.0.1 --serverPort 0",
             "--serverAddress 127.0.0.1 --serverPort x", "--unknown 1", "--serverAddress"})
    {
        System::Process process;
        uint32_t exitCode = 0;
        ASSERT_TRUE(process.Start(cWorker, arguments, true, true, ""));
        process.WaitForExit(exitCode);
        EXPECT_EQ(exitCode, 2u) << arguments;
    }
}

}
