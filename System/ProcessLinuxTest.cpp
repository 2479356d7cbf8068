#include "System/Process.h"

#include "System/CommandLine.h"
#include "System/LineBuffer.h"
#include "Utility/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace System
{
namespace
{
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

std::string gShell(const std::string& script)
{
    return "-c " + gQuoteArgument(script);
}

/// Runs a script of the shell to its end.
struct Outcome
{
    EExit mExit = NotExited;
    uint32_t mExitCode = 0;
    std::string mMessage;
    Lines mLines;
};

Outcome gRun(const std::string& script, const std::string& workingDirectory = {})
{
    Outcome outcome;
    outcome.mExit = Process::Run("/bin/sh", gShell(script), false, workingDirectory, outcome.mMessage,
        outcome.mExitCode, [&outcome](const std::string& line) { outcome.mLines.push_back(line); });
    return outcome;
}

bool gHasChildren()
{
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

size_t gCountThreads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}
}

TEST(Process, TellsOutputByLines)
{
    EXPECT_EQ(gRun("printf 'a\\nb'").mLines, (Lines{"a\n", "b"}));
    EXPECT_EQ(gRun("echo out; echo error >&2").mLines, (Lines{"out\n", "error\n"}));
    EXPECT_EQ(gRun("true").mLines, Lines());
    EXPECT_EQ(gRun("cat").mLines, Lines()) << "the input is empty";

    const Outcome large = gRun("printf '%5000s\\n' x; printf '%200000s' y");
    ASSERT_EQ(large.mLines.size(), 5U);
    EXPECT_EQ(large.mLines[0].size(), 5001U);
    EXPECT_EQ(large.mLines[1].size(), LineBuffer::sLongestLine) << "without an end it comes in parts";
    EXPECT_EQ(large.mLines[4].back(), 'y');
}

TEST(Process, TellsHowItEnded)
{
    const Outcome good = gRun("exit 0");
    EXPECT_EQ(good.mExit, ExitedWithZero);
    EXPECT_EQ(good.mMessage, "");
    const Outcome bad = gRun("exit 7");
    EXPECT_EQ(bad.mExit, ExitedWithError);
    EXPECT_EQ(bad.mMessage, "Process '/bin/sh -c \"exit 7\"' exited with error code 7 (0X00000007)");
    EXPECT_EQ(gRun("kill -TERM $$").mExitCode, 128U + SIGTERM);

    Outcome none;
    EXPECT_EQ(Process::Run("/no/such/program", "x", false, "", none.mMessage, none.mExitCode), ExitedWithError);
    EXPECT_EQ(none.mMessage, "Failed to run '/no/such/program x'");
}

TEST(Process, StartsInTheGivenDirectoryWithNothingOfOurs)
{
    const TemporaryFolder folder;
    EXPECT_EQ(gRun("pwd", folder.GetPath()).mLines, (Lines{folder.GetPath() + "\n"}));

    const int leaked = open("/dev/null", O_RDONLY);
    EXPECT_EQ(gRun("ls /proc/self/fd | wc -l").mLines, (Lines{"4\n"})) << "three, and that of the list";
    close(leaked);

    // A signal that is ignored here is not ignored there.
    const auto old = std::signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(gRun("kill -TERM $$").mExitCode, 128U + SIGTERM);
    std::signal(SIGTERM, old);
}

TEST(Process, FailedStartLeavesNothing)
{
    // The thread sanitizer starts one of its own beside the first.
    std::thread([] {}).join();
    const size_t threads = gCountThreads();
    const TemporaryFolder folder;
    const std::string plain = folder.Write("plain", "no program");
    const struct
    {
        const char* mWhat;
        std::string mPath;
        std::string mArguments;
        std::string mWorkingDirectory;
    } rows[] = {
        {"no such program", "/no/such/program", "", ""},
        {"no path", "", "", ""},
        {"not executable", plain, "", ""},
        {"a folder", folder.GetPath(), "", ""},
        {"no such working directory", "/bin/true", "", "/no/such/folder"},
        {"a zero byte in the path", std::string("/bin/true\0x", 11), "", ""},
        {"too long a command line", "/bin/true", std::string(32768 - 4 - 9, 'x'), ""},
    };
    Process process;
    for (const auto& row : rows)
    {
        EXPECT_FALSE(process.Start(row.mPath, row.mArguments, false, true, row.mWorkingDirectory)) << row.mWhat;
        EXPECT_FALSE(process.IsRunning());
    }
    uint32_t exitCode = 3;
    EXPECT_EQ(process.WaitForExit(exitCode), NotExited);
    EXPECT_EQ(gCountThreads(), threads);
    EXPECT_FALSE(gHasChildren());
    EXPECT_TRUE(process.Start("/bin/true", std::string(32767 - 4 - 9, 'x'), false, true, ""));
    EXPECT_EQ(process.WaitForExit(exitCode), ExitedWithZero);
}

TEST(Process, CanBeEndedAndStartedAgain)
{
    Process process;
    std::vector<uint32_t> codes;
    const EventSubscription subscription = process.SubscribeToExit([&](uint32_t code) { codes.push_back(code); });
    uint32_t exitCode = 0;
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(process.Start("/bin/sleep", "1000", false, round % 2 != 0, ""));
        EXPECT_TRUE(process.IsRunning());
        EXPECT_EQ(process.WaitForExit(exitCode, 1ms), NotExited);
        process.Terminate();
        EXPECT_FALSE(process.IsRunning());
        process.Terminate();
        EXPECT_EQ(process.GetExecutablePath(), "");
    }
    ASSERT_TRUE(process.Start("/bin/sh", gShell("exit 4"), false, false, ""));
    EXPECT_EQ(process.WaitForExit(exitCode), ExitedWithError);
    EXPECT_EQ(exitCode, 4U);
    EXPECT_EQ(codes, (std::vector<uint32_t>{Process::sTerminated, Process::sTerminated, Process::sTerminated, 4}));
    EXPECT_FALSE(gHasChildren());
}

TEST(Process, EndOfAChildThatStillWritesIsNoHang)
{
    // The grandchild keeps the pipe open and full.
    Process process;
    std::atomic<int> lines = 0;
    const EventSubscription subscription = process.SubscribeToOutput([&](const std::string&) { ++lines; });
    ASSERT_TRUE(process.Start("/bin/sh", gShell("yes & echo $!; exec sleep 1000"), false, true, ""));
    while (lines < 1000)
    {
        std::this_thread::sleep_for(1ms);
    }
    process.Terminate();
    ASSERT_TRUE(process.Start("/bin/true", "", false, true, ""));
    uint32_t exitCode = 1;
    EXPECT_EQ(process.WaitForExit(exitCode), ExitedWithZero);
}

TEST(Process, WatchesWhatItDidNotStart)
{
    const Outcome parent = gRun("sleep 1000 >/dev/null 2>&1 & echo $!");
    ASSERT_EQ(parent.mLines.size(), 1U);
    const auto stranger = static_cast<uint32_t>(std::stoul(parent.mLines[0]));
    Process watcher;
    ASSERT_TRUE(watcher.Attach(stranger));
    EXPECT_TRUE(watcher.IsRunning());
    EXPECT_EQ(watcher.GetExecutablePath()[0], '/');
    ASSERT_EQ(kill(static_cast<pid_t>(stranger), SIGTERM), 0);
    uint32_t exitCode = 0;
    EXPECT_EQ(watcher.WaitForExit(exitCode), ExitedWithError);
    EXPECT_EQ(exitCode, Process::sTerminated);
    EXPECT_FALSE(watcher.Attach(0x7FFFFFFF)) << "there is no such process";
}

TEST(Process, AbandonedChildIsClearedAwayWhenItEnds)
{
    pid_t child = 0;
    {
        Process process;
        ASSERT_TRUE(process.Start("/bin/sleep", "1000", false, true, ""));
        child = static_cast<pid_t>(process.GetProcessID());
    }
    ASSERT_EQ(kill(child, SIGKILL), 0);
    while (kill(child, 0) == 0)
    {
        std::this_thread::sleep_for(1ms);
    }
}
}
