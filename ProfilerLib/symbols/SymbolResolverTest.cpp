#include "ProfilerLib/symbols/SymbolResolver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <random>
#include <thread>

#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/TestWorker.h"
#include "ProfilerLib/symbols/Testing/WorkerFixture.h"
#include "System/LockDelays.h"
#include "Utility/Result.h"

namespace Profiler
{

namespace
{

using namespace std::chrono_literals;
using Testing::gKill;
using Testing::gListChildren;

/// The long forms run from scripts/soak.
bool IsSoak()
{
    return std::getenv("QUARKSPINDLE_SOAK") != nullptr;
}

class SymbolResolverTest : public Testing::WorkerFixture
{
protected:
    void Start(uint32_t numWorkers, const std::string& logFilePath = "log", const std::string& program = TEST_WORKER)
    {
        mResolver.emplace(numWorkers, logFilePath, program, mRegistry);
        mResolver->SetCrashCallback([this] { mTally.Add("crash"); });
        mResolver->SetConvertCallbacks(
            [this](const std::string& path, ESymbolLoadState) { mTally.Add("begun " + path); },
            [this](const PDBKey& key, std::unique_ptr<SymbolModule> module, ConvertPDBResult::EResult result) {
                const bool isRight = module != nullptr && module->GetFunctions().at(0).Name == key.ModulePath;
                const bool isGood = result == ConvertPDBResult::EResult::Success && isRight;
                mTally.Add((isGood ? "good " : "bad ") + key.ModulePath);
                mTally.Add(isGood ? "good" : "bad");
                mTally.Add("end");
            });
    }

    uint32_t Submit(const std::string& path)
    {
        return mResolver->SubmitConvertPDB(
            MakeKey(path), 5, mFolder / ("cache/" + path + ".symcache"), "", "", {}, [this, path] {
                mTally.Add("cancelled " + path);
                mTally.Add("end");
            });
    }

    /// What there is in the cache beside files that are named as complete.
    std::vector<std::string> ListUnfinishedFiles() const
    {
        std::vector<std::string> files;
        static_cast<void>(FileSystem::gListFiles(mFolder / "cache", "", files, true));
        std::erase_if(files, [](const std::string& file) { return file.ends_with(".symcache"); });
        return files;
    }

    Testing::Tally mTally;
    std::optional<SymbolResolver> mResolver;
};

TEST_F(SymbolResolverTest, ConvertsWithOneProcessForManyJobs)
{
    Start(1);
    EXPECT_TRUE(gListChildren().empty()) << "no process without a job";
    std::vector<uint32_t> jobs;
    for (int i = 0; i < 5; ++i)
        jobs.push_back(Submit("good/" + std::to_string(i)));
    mResolver->CancelAndWait(jobs, false);
    EXPECT_EQ(mTally.Get("good"), 5);
    EXPECT_EQ(mTrace.Count("Starting process"), 1);
    EXPECT_TRUE(mTrace.Contains("[Worker 00] Converting good/3"));
    mResolver->ShutdownIdleWorkers();
    EXPECT_TRUE(gListChildren().empty());
    Submit("good/later");
    mTally.WaitFor("good", 6);
    EXPECT_EQ(mTally.Get("crash"), 0);
}

TEST_F(SymbolResolverTest, SourceLinesWaitForTheWorkerThatHasItsResult)
{
    // Between a result and the end of its job the worker is not idle yet.
    Start(2);
    mResolver->SetConvertCallbacks([](const std::string&, ESymbolLoadState) {},
        [this](const PDBKey& key, std::unique_ptr<SymbolModule>, ConvertPDBResult::EResult) {
            mResolver->SubmitResolveSourceLines(
                key, {1}, "", "", {}, [this](std::unique_ptr<FunctionLineData>) { mTally.Add("lines"); }, [] {});
        });
    Submit("good/x");
    mTally.WaitFor("lines", 1);
    EXPECT_EQ(mTrace.Count("Starting process"), 1);
}

/// Every row ends, and the worker does its next job.
TEST_F(SymbolResolverTest, EveryJobEndsWhateverItsWorkerDoes)
{
    const struct
    {
        const char* mMode;
        const char* mEnd;
        int mNumTries;
        const char* mTrace;
    } rows[] = {
        {"good", "good", 1, ""},
        {"slow", "good", 1, ""},
        {"halfway", "good", 1, ""},
        {"error", "bad", 1, ""},
        {"none", "bad", 1, "has ended without a result"},
        {"missing", "bad", 1, "that was written by the SymbolResolverWorker does not exist"},
        {"broken", "bad", 1, "that was written by the SymbolResolverWorker could not be read: "},
        {"dies", "bad", 2, "Symbol resolver worker 0 exited with code 3"},
        {"midway", "bad", 2, "which a process that was killed had left"},
        {"unreadable", "bad", 2, "that cannot be read, and is ended: "},
        {"huge", "bad", 2, "announced more than"},
        {"hangup", "bad", 2, "has failed"},
        {"stranger", "good", 1, "which it does not run"},
    };
    Start(1);
    for (const auto& row : rows)
    {
        const std::string path = std::string{row.mMode} + "/x";
        Submit(path);
        mTally.WaitFor(row.mEnd + (" " + path), 1);
        Submit("good/after " + path);
        mTally.WaitFor("good good/after " + path, 1);
        EXPECT_EQ(mTally.Get("begun " + path), row.mNumTries) << path;
        EXPECT_EQ(mTally.Get("good " + path) + mTally.Get("bad " + path), 1) << path;
        EXPECT_TRUE(mTrace.Contains(row.mTrace)) << path << "\n" << mTrace.GetText();
    }
    EXPECT_GE(mTally.Get("crash"), 4);
    EXPECT_EQ(ListUnfinishedFiles(), std::vector<std::string>{});
}

TEST_F(SymbolResolverTest, WorkersThatCannotStartFailTheirJobs)
{
    const struct
    {
        const char* mProgram;
        const char* mLog;
    } rows[] = {{"/no/such/worker", "log"}, {TEST_WORKER, "ends at once"}, {TEST_WORKER, "never connects"}};
    int numBad = 0;
    for (const auto& row : rows)
    {
        Start(1, row.mLog, row.mProgram);
        Submit("good/1");
        mTally.WaitFor("bad", ++numBad);
        Utility::Result result;
        EXPECT_FALSE(TestWorker(row.mLog, row.mProgram, mRegistry, result));
    }
    EXPECT_TRUE(mTrace.Contains("Failed to start worker 0"));
    mResolver.reset();
    Utility::Result missing;
    EXPECT_FALSE(TestWorker("log", "/no/such/worker", mRegistry, missing));
    EXPECT_EQ(missing.GetEntries().at(0).mMessage, "Unable to find SymbolResolverWorker executable");
    Utility::Result deaf;
    EXPECT_FALSE(TestWorker("ends at once", TEST_WORKER, mRegistry, deaf));
    EXPECT_EQ(deaf.GetEntries().at(0).mMessage, "Failed to start SymbolResolverWorker");
    Utility::Result good;
    EXPECT_TRUE(TestWorker("log", TEST_WORKER, mRegistry, good)) << good.ToString();
}

TEST_F(SymbolResolverTest, TheQueueKeepsItsOrderButForTheUrgent)
{
    std::vector<std::string> order;
    Start(1);
    mResolver->SetConvertCallbacks([this](const std::string& path, ESymbolLoadState) { mTally.Add("begun " + path); },
        [&](const PDBKey& key, std::unique_ptr<SymbolModule>, ConvertPDBResult::EResult) {
            order.push_back(key.ModulePath);
            mTally.Add("end");
        });
    const uint32_t first = Submit("never/1");
    mTally.WaitFor("begun never/1", 1);
    const uint32_t second = Submit("good/2");
    Submit("good/3");
    const uint32_t last = Submit("good/4");
    mResolver->Prioritize(last);
    mResolver->Prioritize(first);
    mResolver->Prioritize(1000);
    mResolver->Cancel({second, 1000});
    EXPECT_EQ(mTally.Get("cancelled good/2"), 1) << "a queued job is cancelled at once";
    mResolver->Cancel({first});
    mResolver->Cancel({first});
    mTally.WaitFor("end", 4);
    EXPECT_EQ(mTally.Get("cancelled never/1"), 1);
    EXPECT_EQ(mTally.Get("begun good/2"), 0);
    EXPECT_EQ(order, (std::vector<std::string>{"good/4", "good/3"}));
    EXPECT_TRUE(mTrace.Contains("Running job 0 has been canceled"));
}

TEST_F(SymbolResolverTest, WaitingForACancelledJobEndsAWorkerThatDoesNotAnswer)
{
    Start(2);
    const std::vector<uint32_t> jobs = {Submit("deaf/1"), Submit("slow/2"), Submit("deaf/3")};
    mTally.WaitFor("begun deaf/1", 1);
    mResolver->CancelAndWait(jobs, true);
    EXPECT_EQ(mTally.Get("cancelled deaf/1"), 1);
    EXPECT_EQ(mTally.Get("end"), 3);
    mResolver->CancelAndWait(jobs, true);
    mResolver->CancelAndWait({Submit("slow/4")}, false);
    EXPECT_EQ(mTally.Get("good slow/4"), 1);
}

TEST_F(SymbolResolverTest, TheEndOfThePoolCancelsAllJobs)
{
    Start(2);
    for (int i = 0; i < 8; ++i)
        Submit("never/" + std::to_string(i));
    mTally.WaitFor("begun never/0", 1);
    mResolver.reset();
    EXPECT_EQ(mTally.Get("end"), 8);
    EXPECT_EQ(mTally.Get("good") + mTally.Get("bad"), 0);
}

TEST_F(SymbolResolverTest, SourceJobsRestartTheirWorker)
{
    Start(1);
    std::string path;
    int32_t line = 0;
    std::vector<int32_t> lines;
    const auto ask = [&] {
        mResolver->SetResolveCallbacks(
            [&](std::unique_ptr<FunctionData> data) {
                path = data->SourcePath;
                line = data->ResolvedFunctionLine;
                mTally.Add(data->Result == EResolveFunctionDataResult::SourceFound ? "found" : data->ErrorMessage);
            },
            [&](std::unique_ptr<FunctionLineData> data) {
                lines = data->Lines;
                mTally.Add(data->Result == EResolveLineDataResult::Success ? "lines" : data->ErrorMessage);
            });
    };
    ask();
    const ResolvedAddress function{nullptr, 0x10, 4, 0x12, ""};
    const ResolvedAddress bare{nullptr, ResolvedAddress::cNoFunction, 0, 0x22, ""};
    mResolver->SubmitResolveFunctionData(MakeKey("good/f"), 0, function, 0, 0, "", "", {}, {});
    mTally.WaitFor("found", 1);
    EXPECT_EQ(line, 0x10);
    EXPECT_EQ(path, "good/f");
    mResolver->SubmitResolveFunctionData(MakeKey("good/f"), 0, bare, 0, 0, "", "", {}, {});
    mTally.WaitFor("found", 2);
    EXPECT_EQ(line, 0x22);
    mResolver->SubmitResolveLineData(MakeKey("good/l"), 0, {1, 2}, "", "", {}, {});
    mTally.WaitFor("lines", 1);
    EXPECT_EQ(lines, (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(mTrace.Count("Starting process"), 3);

    mResolver->SubmitResolveLineData(MakeKey("dies/l"), 0, {1, 2}, "", "", {}, {});
    mResolver->SubmitResolveFunctionData(MakeKey("dies/f"), 0, bare, 0, 0, "", "", {}, {});
    mTally.WaitFor("The symbol resolver worker could not do the job", 2);
}

/// Workers end at any moment: in a job, between two, while they start.
TEST_F(SymbolResolverTest, NoJobIsForgottenWhileWorkersAreKilled)
{
    const int numJobs = IsSoak() ? 500 : 60;
    Start(4);
    std::atomic<bool> isDone = false;
    int numKilled = 0;
    std::thread killer{[&] {
        std::mt19937 random{20261123};
        while (!isDone)
        {
            const std::vector<uint32_t> workers = gListChildren();
            if (!workers.empty())
            {
                gKill(workers[random() % workers.size()]);
                ++numKilled;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds{random() % 40});
        }
    }};
    std::mt19937 random{7};
    const std::string modes[] = {"good", "slow", "slow", "halfway", "midway", "none", "dies"};
    std::vector<std::string> paths;
    for (int i = 0; i < numJobs; ++i)
    {
        paths.push_back(modes[random() % std::size(modes)] + "/" + std::to_string(i));
        const uint32_t handle = Submit(paths.back());
        if (random() % 20 == 0)
            mResolver->Cancel({handle});
        if (random() % 10 == 0)
            mResolver->Prioritize(handle);
    }
    mTally.WaitFor("end", numJobs);
    isDone = true;
    killer.join();
    for (const std::string& path : paths)
        EXPECT_EQ(mTally.Get("good " + path) + mTally.Get("bad " + path) + mTally.Get("cancelled " + path), 1) << path;
    std::printf("%d jobs, %d kills: %d good, %d failed\n", numJobs, numKilled, mTally.Get("good"), mTally.Get("bad"));

    // What has the name of a file is a whole one, and there is nothing else.
    mResolver.reset();
    EXPECT_EQ(ListUnfinishedFiles(), std::vector<std::string>{});
    std::vector<std::string> files;
    static_cast<void>(FileSystem::gListFiles(mFolder / "cache", "symcache", files, true));
    for (const std::string& file : files)
    {
        Utility::Result result;
        EXPECT_NE(SymbolModule::Load(file, mRegistry, 5, result), nullptr) << result.ToString();
    }
    EXPECT_FALSE(files.empty());
}

TEST_F(SymbolResolverTest, TheDeathOfAWorkerIsHeardOf)
{
    const auto killAll = [] {
        for (const uint32_t worker : gListChildren())
            gKill(worker);
        return std::chrono::steady_clock::now();
    };
    Start(1);
    auto longest = 0ms;
    const int numRounds = IsSoak() ? 100 : 3;
    for (int round = 0; round < numRounds; ++round)
    {
        const std::string path = "never/" + std::to_string(round);
        Submit(path);
        mTally.WaitFor("begun " + path, 1);
        killAll();
        mTally.WaitFor("begun " + path, 2);
        const auto killed = killAll();
        mTally.WaitFor("bad " + path, 1);
        longest =
            std::max(longest, std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - killed));
    }
    EXPECT_EQ(mTally.Get("crash"), 2 * numRounds);
    std::printf("%d deaths, the job failed after %d ms at most\n", numRounds, static_cast<int>(longest.count()));
}

TEST_F(SymbolResolverTest, IsCleanWhenThreadsAreLate)
{
    for (unsigned seed = 0; seed < (IsSoak() ? 50U : 3U); ++seed)
    {
        const System::LockDelays delays{seed};
        Start(2);
        std::vector<uint32_t> jobs;
        for (const char* mode : {"good", "slow", "dies", "never", "good", "halfway", "slow", "good"})
            jobs.push_back(Submit(mode + ("/" + std::to_string(seed))));
        mResolver->Cancel({jobs[1], jobs[6]});
        for (const uint32_t worker : gListChildren())
            gKill(worker);
        std::thread waiter{[&] {
            mResolver->CancelAndWait({jobs[0], jobs[7]}, false);
        }};
        mResolver->CancelAndWait({jobs[3]}, true);
        waiter.join();
        mResolver.reset();
        EXPECT_EQ(mTally.Get("end"), static_cast<int>(8 * (seed + 1)));
    }
}

}

}
