#include "ProfilerLib/symbols/SymbolCache.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <thread>

#include "ProfilerLib/settings/Settings.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SymbolCachePath.h"
#include "ProfilerLib/symbols/SymbolFiles.h"
#include "ProfilerLib/symbols/Testing/WorkerFixture.h"
#include "System/JobScheduler.h"
#include "System/LockDelays.h"
#include "Utility/Result.h"

namespace Profiler
{

namespace
{

class SymbolCacheTest : public Testing::WorkerFixture
{
protected:
    SymbolCacheTest()
    {
        mSettings.GetSymbolSettings().UseMicrosoftSymbolServers = false;
        mSettings.GetSymbolSettings().SetSymbolCacheDirectory(mFolder / "symbols");
        Open();
    }

    void Open()
    {
        mCache.emplace("log", TEST_WORKER, mSettings, mScheduler, mRegistry, [this] { mTally.Add("crash"); });
        mSubscription = mCache->SubscribeToState([this](const std::string& path, ESymbolLoadState state) {
            mTally.Add(std::to_string(static_cast<int>(state)) + " " + path);
        });
    }
    void Close()
    {
        mSubscription.Unsubscribe();
        mCache.reset();
    }

    int Hint(const std::string& path, bool urgent = false)
    {
        const PDBKey key = MakeKey(path);
        return mCache->HintSymbolModule(path, 1, 2, 3, key.PDBGUID, key.PDBName, urgent);
    }
    const SymbolModule* Find(const std::string& path)
    {
        const PDBKey key = MakeKey(path);
        return mCache->FindSymbolModule(path, 1, 2, 3, key.PDBGUID, key.PDBName);
    }
    std::string GetPath(const std::string& path)
    {
        return gMakeSymbolCachePath(mFolder / "symbols/Quarkspindle", MakeKey(path));
    }
    int CountProcesses() { return mTrace.Count("Process started successfully"); }

    Settings mSettings;
    System::JobScheduler mScheduler{1};
    Testing::Tally mTally;
    std::optional<SymbolCache> mCache;
    EventSubscription mSubscription;
};

TEST_F(SymbolCacheTest, ConvertsOnceAndReadsFromThenOn)
{
    const SymbolModule* const module = Find("good/a");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->FindByAddress(0, 0x1008)->Name, "good/a");
    EXPECT_EQ(module->GetPDBKey(), MakeKey("good/a"));
    EXPECT_EQ(Find("good/a"), module);
    EXPECT_EQ(Hint("good/a"), SymbolCache::NotStarted);
    EXPECT_EQ(mTally.Get("1 good/a"), 1);
    EXPECT_EQ(mTally.Get("0 good/a"), 0);
    EXPECT_TRUE(FileSystem::gFileExists(GetPath("good/a")));
    Close();

    const int processes = CountProcesses();
    Open();
    EXPECT_EQ(Hint("good/a"), SymbolCache::Started);
    ASSERT_NE(Find("good/a"), nullptr);
    EXPECT_EQ(mTally.Get("0 good/a"), 1);
    EXPECT_GE(mTally.Get("2 good/a"), 3) << "each load ends with it";
    EXPECT_EQ(CountProcesses(), processes) << "the second time takes no worker";
    Close();
}

TEST_F(SymbolCacheTest, AFileThatCannotBeReadIsConvertedAgain)
{
    ASSERT_TRUE(FileSystem::gCreateDirectoryTree(FileSystem::gGetDirectory(GetPath("good/a"))));
    std::ofstream{GetPath("good/a")} << "damaged";
    EXPECT_NE(Find("good/a"), nullptr);
    EXPECT_TRUE(mTrace.Contains("\tFailed to load from cache: "));
    // An empty module is good for the settings that it was made under, and no others.
    SymbolModule empty{MakeKey("good/b"), mSettings.GetSymbolSettings().GetHash(), ESymbolSource::NotFound};
    SymbolModule old{MakeKey("good/c"), 12345, ESymbolSource::NotFound};
    Utility::Result result;
    ASSERT_TRUE(empty.Save(GetPath("good/b"), result) && old.Save(GetPath("good/c"), result));
    ASSERT_NE(Find("good/b"), nullptr);
    EXPECT_TRUE(Find("good/b")->GetFunctions().empty());
    ASSERT_NE(Find("good/c"), nullptr);
    EXPECT_EQ(Find("good/c")->GetFunctions().size(), 1u);
    Close();
}

TEST_F(SymbolCacheTest, WhatFailedStaysSo)
{
    EXPECT_EQ(Find("dies/a"), nullptr);
    EXPECT_GE(mTally.Get("crash"), 1);
    const int processes = CountProcesses();
    EXPECT_EQ(Find("dies/a"), nullptr);
    EXPECT_EQ(Hint("dies/a", true), SymbolCache::NotStarted);
    EXPECT_EQ(CountProcesses(), processes);

    const int lines = mTrace.Count("");
    EXPECT_EQ(mCache->HintSymbolModule("a", 1, 2, -1, {1, 2}, "a.pdb", false), SymbolCache::Unidentified);
    EXPECT_EQ(mCache->HintSymbolModule("a", 1, 2, 3, {0, 0}, "a.pdb", false), SymbolCache::Unidentified);
    EXPECT_EQ(mCache->HintSymbolModule("a", 1, 2, 3, {1, 2}, "", false), SymbolCache::Unidentified);
    EXPECT_EQ(mTrace.Count(""), lines);
    EXPECT_EQ(mCache->FindSymbolModule("a", 1, 2, -1, {1, 2}, "a.pdb"), nullptr);
    Close();
}

TEST_F(SymbolCacheTest, CancelledLoadsMayBeTriedAgain)
{
    mCache->CancelAllPendingModuleLoads();
    EXPECT_EQ(Hint("never/a"), SymbolCache::Started);
    EXPECT_EQ(Hint("never/a"), SymbolCache::NotStarted);
    mTally.WaitFor("1 never/a", 1);
    std::thread waiter{[this] {
        EXPECT_EQ(Find("never/a"), nullptr);
    }};
    mCache->CancelAllPendingModuleLoads();
    EXPECT_TRUE(mTrace.Contains("Hint was canceled for file never/a"));
    EXPECT_EQ(mTally.Get("2 never/a"), 1);
    // The waiter may come late, and then it is another attempt.
    mCache->CancelAllPendingModuleLoads();
    while (mTrace.Count("...not found") == 0)
    {
        mCache->CancelAllPendingModuleLoads();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(Hint("never/a"), SymbolCache::Started);
    Close();
}

/// All threads of the scheduler wait for modules, whose reading is the scheduler's work as well.
TEST_F(SymbolCacheTest, WaitingInJobsOfTheSchedulerIsNoDeadlock)
{
    constexpr int cModules = 8;
    for (int i = 0; i < cModules; ++i)
        ASSERT_NE(Find("good/" + std::to_string(i)), nullptr);
    Close();
    Open();
    std::vector<System::JobHandle> jobs;
    for (int i = 0; i < cModules; ++i)
    {
        jobs.push_back(mScheduler.Schedule([this, i](const bool&) {
            EXPECT_NE(Find("good/" + std::to_string(i)), nullptr);
            EXPECT_NE(Find("good/more" + std::to_string(i)), nullptr);
        }));
    }
    for (int i = 0; i < cModules; ++i)
        Hint("good/" + std::to_string(i));
    mScheduler.Wait(jobs, false);
    Close();
}

TEST_F(SymbolCacheTest, SettingsCountFromTheirChangeOn)
{
    mSettings.GetSymbolSettings().SetSymbolCacheDirectory(mFolder / "other");
    mSettings.ChangeListeners.Fire();
    ASSERT_NE(Find("good/a"), nullptr);
    EXPECT_TRUE(FileSystem::gFileExists(gMakeSymbolCachePath(mFolder / "other/Quarkspindle", MakeKey("good/a"))));
    mSettings.GetSymbolSettings().SetSymbolCacheDirectory("");
    mSettings.ChangeListeners.Fire();
    EXPECT_EQ(Find("good/b"), nullptr) << "without a directory there is no cache";
    EXPECT_NE(Find("good/a"), nullptr);
    Close();
}

TEST_F(SymbolCacheTest, SourceRequestsGoToTheirHandlers)
{
    const ResolvedAddress address{nullptr, 0x10, 4, 0x12, ""};
    PDBKey unknown = MakeKey("good/a");
    unknown.PDBAge = -1;
    const auto onFunction = [this](const FunctionData& data) {
        mTally.Add(data.Result == EResolveFunctionDataResult::SourceFound ? "found" : "not found");
    };
    const auto onLines = [this](const FunctionLineData& data) {
        mTally.Add(data.Result == EResolveLineDataResult::Success ? "lines" : "no lines");
    };
    EXPECT_EQ(mCache->ResolveFunctionData(unknown, 0, address, 0, 0, onFunction, onLines, {}), ResolveRequest{});
    EXPECT_EQ(mCache->ResolveLineData(unknown, 0, {1}, onLines, {}), ResolveRequest{});
    EXPECT_EQ(mTally.Get("not found"), 1);
    EXPECT_EQ(mTally.Get("no lines"), 1);
    EXPECT_NE(
        mCache->ResolveFunctionData(MakeKey("good/a"), 0, address, 0, 0, onFunction, onLines, {}).mResolver, nullptr);
    EXPECT_NE(mCache->ResolveLineData(MakeKey("good/a"), 0, {1}, onLines, {}).mJobHandle, -1);
    mTally.WaitFor("found", 1);
    mTally.WaitFor("lines", 1);
    Close();
}

TEST_F(SymbolCacheTest, ADebugFileThatComesLaterIsNotMissed)
{
    const std::string local = mFolder / "local";
    mFolder.Write("local/app.pdb", "");
    ASSERT_NE(Find("good/a"), nullptr);
    const auto openAgain = [&] {
        Close();
        Open();
        ASSERT_NE(Find("good/a"), nullptr);
    };
    openAgain();
    EXPECT_EQ(CountProcesses(), 1);
    // A folder that is named only now, and what comes into it later.
    mSettings.GetSymbolSettings().SymbolLocations.push_back({local, true});
    openAgain();
    EXPECT_EQ(CountProcesses(), 2);
    EXPECT_TRUE(mTrace.Contains("The symbol settings name other files now"));
    openAgain();
    EXPECT_EQ(CountProcesses(), 2) << "by now it is known";
    while (!gIsOlderThanAny(GetPath("good/a"), {local + "/app.pdb"}))
        mFolder.Replace("local/app.pdb", "new");
    openAgain();
    EXPECT_EQ(CountProcesses(), 3);
    EXPECT_TRUE(mTrace.Contains("is older than a file that may have symbols, and is made anew"));
    Close();
}

TEST_F(SymbolCacheTest, LinesAreAskedForOnce)
{
    using Lines = std::vector<std::string>;
    const auto ask = [this](const std::string& module, const std::vector<uint64_t>& addresses) {
        const int answers = mTally.Get("answer");
        Lines lines;
        mCache->ResolveSourceLines(MakeKey(module), addresses,
            [&](const SourceLineData& data) {
                if (data.Result != EResolveLineDataResult::Success)
                    lines.push_back(data.ErrorMessage);
                for (std::size_t i = 0; i < data.Lines.size(); ++i)
                    lines.push_back(data.Lines[i] < 0
                                        ? "-"
                                        : data.Paths.at(data.PathIndices[i]) + ":" + std::to_string(data.Lines[i]));
                mTally.Add("answer");
            },
            {});
        mTally.WaitFor("answer", answers + 1);
        return lines;
    };
    EXPECT_EQ(ask("good/a", {}), Lines{});
    EXPECT_EQ(CountProcesses(), 0);
    EXPECT_EQ(ask("good/a", {3, 0, 3, 5}), (Lines{"good/a:3", "-", "good/a:3", "good/a:5"}));
    EXPECT_EQ(CountProcesses(), 1);
    Close();
    Open();
    EXPECT_EQ(ask("good/a", {5, 3, 0}), (Lines{"good/a:5", "good/a:3", "-"}));
    EXPECT_EQ(CountProcesses(), 1) << "all of that is known";
    EXPECT_EQ(ask("good/a", {9, 3}), (Lines{"good/a:9", "good/a:3"}));
    EXPECT_EQ(ask("good/a", {9, 3, 0}), (Lines{"good/a:9", "good/a:3", "-"}));
    EXPECT_EQ(CountProcesses(), 2);

    // That there is no line may change with the settings; a conversion makes all uncertain.
    mSettings.GetSymbolSettings().SymbolLocations.push_back({mFolder / "more", true});
    mSettings.ChangeListeners.Fire();
    EXPECT_EQ(ask("good/a", {9}), Lines{"good/a:9"});
    EXPECT_EQ(mTrace.Count("All lines are in"), 4);
    EXPECT_EQ(ask("good/a", {0}), Lines{"-"});
    EXPECT_EQ(mTrace.Count("All lines are in"), 4);
    ASSERT_NE(Find("good/a"), nullptr);
    EXPECT_EQ(ask("good/a", {9}), Lines{"good/a:9"});
    EXPECT_EQ(mTrace.Count("All lines are in"), 4);

    // What cannot be used is asked for again.
    std::ofstream{gMakeSourceLinesPath(mFolder / "symbols/Quarkspindle", MakeKey("good/a"))} << "damaged";
    EXPECT_EQ(ask("good/a", {9}), Lines{"good/a:9"});
    EXPECT_EQ(ask("dies/a", {9}), Lines{"The symbol resolver worker could not do the job"});
    EXPECT_EQ(ask("stranger/a", {9}), Lines{"The answer of the symbol worker does not fit the question"});
    Close();
}

/// Readers, hinters, waiters and a canceller on the same few modules.
TEST_F(SymbolCacheTest, IsCleanWhenThreadsAreLate)
{
    Close();
    for (unsigned seed = 0; seed < 4; ++seed)
    {
        const System::LockDelays delays{seed};
        Open();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
        {
            threads.emplace_back([this, i] {
                for (int round = 0; round < 6; ++round)
                {
                    const std::string path = "good/" + std::to_string((i + round) % 5);
                    Hint(path, i % 2 != 0);
                    const SymbolModule* const module = Find(path);
                    // It may have been cancelled.
                    EXPECT_TRUE(module == nullptr || module->GetFunctions()[0].Name == path);
                    Hint("slow/" + std::to_string(round));
                }
            });
        }
        for (int i = 0; i < 5; ++i)
        {
            mCache->CancelAllPendingModuleLoads();
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
        }
        for (std::thread& thread : threads)
            thread.join();
        Close();
    }
}

}

}
