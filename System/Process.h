#pragma once

#include "System/Mutex.h"
#include "System/WakeUp.h"
#include "Utility/Event.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace System
{
/// How a wait for a process ended.
enum EExit : int32_t
{
    ExitedWithZero = 0,
    ExitedWithError = 1,
    NotExited = 2, ///< there is no process, or the time was up
};

/// Starts a program, tells what it writes line by line and when it has ended. One run at a time; the object may be used
/// again after each. It also watches a process that it did not start.
///
/// One thread starts and waits; `IsRunning`, `Kill` and the queries may be called on any. Each run has a thread that
/// waits for its end, and one for its output if that is captured: subscribers run on those, and must neither wait for
/// the process nor end the object.
class Process
{
public:
    static constexpr uint32_t sNoProcess = 0xFFFFFFFF;
    /// The exit code of a process that was terminated here, and of one whose code the system does not tell us.
    static constexpr uint32_t sTerminated = 0xFFFFFFFF;

    using ExitHandler = std::function<void(uint32_t)>;
    using OutputHandler = std::function<void(const std::string&)>;

    Process() = default;
    /// A process that still runs goes on, unwatched.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Runs the program at `path`; `arguments` is split as `gSplitArguments` does. The child belongs to a group of its
    /// own, so that a terminal's interrupt is ours to handle, has no descriptor of ours but the standard ones, and with
    /// `captureOutput` an empty input. `showConsole` is for systems that have consoles to show. An empty
    /// `workingDirectory` is ours. False, with the reason in the log, when it does not start or the command line has
    /// 32768 characters or more. The previous run must have ended.
    [[nodiscard]] bool Start(const std::string& path, const std::string& arguments, bool showConsole,
        bool captureOutput, const std::string& workingDirectory) EXCLUDES(mLock);

    /// Watches a running process, but not one that another of these objects has started. Unless it is our child, its
    /// end is told with the code `sTerminated`.
    [[nodiscard]] bool Attach(uint32_t processID) EXCLUDES(mLock);

    [[nodiscard]] bool IsRunning() const EXCLUDES(mLock);
    /// `sNoProcess` before the first start. Stays known after the end.
    [[nodiscard]] uint32_t GetProcessID() const EXCLUDES(mLock);
    /// Empty when no process runs or the system does not say.
    [[nodiscard]] std::string GetExecutablePath() const EXCLUDES(mLock);

    /// Waits until the process has ended and its end has been told, and lets go of it. A process that a signal ended
    /// has the code 128 and the signal's number. After `NotExited` the code is untouched.
    EExit WaitForExit(uint32_t& exitCode, std::optional<std::chrono::milliseconds> limit = std::nullopt)
        EXCLUDES(mLock);

    /// Asks the system to end the process, with the exit code `sTerminated`. Does not wait.
    void Kill() EXCLUDES(mLock);
    /// The same, and waits for it.
    void Terminate() EXCLUDES(mLock);

    /// Told once per run, with the exit code.
    [[nodiscard]] EventSubscription SubscribeToExit(ExitHandler handler);
    /// Told each line with its line feed, and in the end what has none. A line of more than 64 KiB comes in parts.
    [[nodiscard]] EventSubscription SubscribeToOutput(OutputHandler handler);

    /// Starts a program and waits for it, with its output if there is a handler for it. `message` says what went wrong
    /// unless the result is `ExitedWithZero`.
    static EExit Run(const std::string& path, const std::string& arguments, bool showConsole,
        const std::string& workingDirectory, std::string& message, uint32_t& exitCode, OutputHandler onOutput = {});

private:
    [[nodiscard]] bool Spawn(const std::string& path, const std::string& arguments, int output,
        const std::string& workingDirectory, uint32_t& processID);
    [[nodiscard]] bool Hold(uint32_t processID) EXCLUDES(mLock);
    void LetGo() EXCLUDES(mLock);
    void RunExitThread(int process) EXCLUDES(mLock);
    /// The write end, for the child; -1 when there is none to be had.
    [[nodiscard]] int StartOutput();
    void EndOutput();
    void RunOutputThread(int pipe, uint32_t debugProcessID);

    Event<uint32_t> mExitEvent;
    Event<const std::string&> mOutputEvent;

    mutable Mutex mLock;
    ConditionVariable mExitTold;
    int mProcess GUARDED_BY(mLock) = -1; ///< the descriptor that stands for the process; -1 when none is held
    uint32_t mProcessID GUARDED_BY(mLock) = sNoProcess;
    uint32_t mExitCode GUARDED_BY(mLock) = 0;
    bool mIsKilled GUARDED_BY(mLock) = false;
    bool mHasExited GUARDED_BY(mLock) = false;
    bool mIsExitTold GUARDED_BY(mLock) = false; ///< to the subscribers, after `mHasExited`

    // Of the thread that starts and waits.
    uint32_t mDebugProcessID = 0; ///< tells runs apart in the log
    std::thread mExitThread;
    std::thread mOutputThread;
    WakeUp mCancelExit;
    WakeUp mCancelOutput;
};
}
