#include "System/Process.h"

#include "System/CommandLine.h"
#include "System/LineBuffer.h"
#include "System/ThreadName.h"
#include "Utility/Format.h"
#include "Utility/Trace.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C"
{
// The header of this version of the C library does not say that it is C.
#include <sys/pidfd.h>
}

extern char** environ;

namespace System
{
namespace
{
/// A command line of as many characters does not start.
constexpr size_t sLongestCommandLine = 32768;
/// More than a pipe holds: what is read in one go after the end was asked for.
constexpr size_t sMostDrained = 1024 * 1024;

std::atomic<uint32_t> sNextDebugProcessID = 0;

std::string gGetErrorText(int error)
{
    return std::generic_category().message(error);
}

/// Sleeps until the descriptor can be read or the wake-up is set; says whether it was the wake-up.
bool gWaitOrWake(int descriptor, const WakeUp& wakeUp)
{
    std::array<pollfd, 2> waiting = {{{descriptor, POLLIN, 0}, {wakeUp.GetDescriptor(), POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR)
    {}
    return waiting[1].revents != 0;
}

/// Waits for the process, and clears it away when it is a child of ours.
uint32_t gReap(int process, bool isKilled)
{
    siginfo_t info = {};
    int result = 0;
    do
    {
        result = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(process), &info, WEXITED);
    } while (result != 0 && errno == EINTR);
    if (result != 0)
    {
        return Process::sTerminated;
    }
    if (info.si_code == CLD_EXITED)
    {
        return static_cast<uint32_t>(info.si_status);
    }
    return isKilled && info.si_status == SIGKILL ? Process::sTerminated : 128 + static_cast<uint32_t>(info.si_status);
}

/// What the child gets of us, as the system wants it told.
class SpawnOptions
{
public:
    SpawnOptions()
    {
        posix_spawn_file_actions_init(&mActions);
        posix_spawnattr_init(&mAttributes);
    }
    ~SpawnOptions()
    {
        posix_spawnattr_destroy(&mAttributes);
        posix_spawn_file_actions_destroy(&mActions);
    }
    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;

    /// Signals as they are for a program that a shell starts, whatever this one does with them.
    void SetFreshSignals()
    {
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&mAttributes, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&mAttributes, &signals);
        posix_spawnattr_setpgroup(&mAttributes, 0);
        posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    }

    /// In this order it is right even when `output` is one of the three, because ours were closed.
    void SetOutput(int output)
    {
        posix_spawn_file_actions_adddup2(&mActions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&mActions, output, STDERR_FILENO);
        posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }

    void CloseAllOthers() { posix_spawn_file_actions_addclosefrom_np(&mActions, STDERR_FILENO + 1); }
    void SetWorkingDirectory(const std::string& path) { posix_spawn_file_actions_addchdir_np(&mActions, path.c_str()); }

    const posix_spawn_file_actions_t* GetActions() const { return &mActions; }
    const posix_spawnattr_t* GetAttributes() const { return &mAttributes; }

private:
    posix_spawn_file_actions_t mActions;
    posix_spawnattr_t mAttributes;
};
}

Process::~Process()
{
    mCancelExit.Set();
    LetGo();
    EndOutput();
}

bool Process::Start(const std::string& path, const std::string& arguments, bool /*showConsole*/, bool captureOutput,
    const std::string& workingDirectory)
{
    assert(!IsRunning());
    LetGo();
    EndOutput();
    Utility::gTrace("Starting process '%s %s'...", path.c_str(), arguments.c_str());
    mDebugProcessID = sNextDebugProcessID++;
    if (path.size() + arguments.size() + sizeof("\"\" ") >= sLongestCommandLine)
    {
        Utility::gTrace("Failed to start with error %d, debug process ID = %u", E2BIG, mDebugProcessID);
        return false;
    }

    const int output = captureOutput ? StartOutput() : -1;
    uint32_t processID = sNoProcess;
    bool isStarted = Spawn(path, arguments, output, workingDirectory, processID);
    int error = errno;
    if (output >= 0)
    {
        close(output);
    }
    if (isStarted)
    {
        isStarted = Hold(processID);
        error = errno;
    }
    if (!isStarted)
    {
        EndOutput();
        Utility::gTrace("Failed to start with error %d, debug process ID = %u", error, mDebugProcessID);
        return false;
    }
    Utility::gTrace("Process started successfully, process ID = %u, debug process ID = %u", processID, mDebugProcessID);
    return true;
}

bool Process::Spawn(const std::string& path, const std::string& arguments, int output,
    const std::string& workingDirectory, uint32_t& processID)
{
    // A zero byte would cut the text short: another program than the one that was named.
    const std::string everything = path + arguments + workingDirectory;
    if (path.empty() || everything.find('\0') != std::string::npos)
    {
        errno = ENOENT;
        return false;
    }
    SpawnOptions options;
    options.SetFreshSignals();
    if (output >= 0)
    {
        options.SetOutput(output);
    }
    options.CloseAllOthers();
    if (!workingDirectory.empty())
    {
        options.SetWorkingDirectory(workingDirectory);
    }

    // The child looks for the program from its own directory, the caller means his.
    std::error_code ignored;
    std::string program = std::filesystem::absolute(path, ignored).string();
    std::vector<std::string> texts = gSplitArguments(arguments);
    std::vector<char*> pointers = {program.data()};
    for (std::string& text : texts)
    {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);

    pid_t child = 0;
    const int error =
        posix_spawn(&child, program.c_str(), options.GetActions(), options.GetAttributes(), pointers.data(), environ);
    processID = static_cast<uint32_t>(child);
    errno = error;
    return error == 0;
}

bool Process::Attach(uint32_t processID)
{
    assert(!IsRunning());
    LetGo();
    EndOutput();
    return Hold(processID);
}

bool Process::Hold(uint32_t processID)
{
    const int process = pidfd_open(static_cast<pid_t>(processID), 0);
    if (process < 0 || !mCancelExit.IsValid())
    {
        const int error = errno;
        if (process >= 0)
        {
            close(process);
        }
        errno = error;
        return false;
    }
    {
        const MutexLock lock(mLock);
        mProcess = process;
        mProcessID = processID;
        mIsKilled = false;
        mHasExited = false;
        mIsExitTold = false;
    }
    mExitThread = std::thread([this, process] { RunExitThread(process); });
    return true;
}

void Process::LetGo()
{
    if (mExitThread.joinable())
    {
        mExitThread.join();
    }
    mCancelExit.Reset();
    const MutexLock lock(mLock);
    if (mProcess < 0)
    {
        return;
    }
    if (mHasExited)
    {
        close(mProcess);
    }
    else
    {
        // A child that nobody waits for would stay in the system's list after its end.
        std::thread([process = mProcess] {
            gReap(process, false);
            close(process);
        }).detach();
    }
    mProcess = -1;
}

void Process::RunExitThread(int process)
{
    gSetThreadName("Process - Exit");
    if (gWaitOrWake(process, mCancelExit))
    {
        return;
    }
    uint32_t exitCode = 0;
    {
        const MutexLock lock(mLock);
        exitCode = gReap(process, mIsKilled);
        mExitCode = exitCode;
        mHasExited = true;
    }
    mExitEvent.Fire(exitCode);
    const MutexLock lock(mLock);
    mIsExitTold = true;
    mExitTold.NotifyAll();
}

bool Process::IsRunning() const
{
    const MutexLock lock(mLock);
    return mProcess >= 0 && !mHasExited;
}

uint32_t Process::GetProcessID() const
{
    const MutexLock lock(mLock);
    return mProcessID;
}

std::string Process::GetExecutablePath() const
{
    const MutexLock lock(mLock);
    if (mProcess < 0 || mHasExited)
    {
        return {};
    }
    std::error_code error;
    return std::filesystem::read_symlink(Utility::gFormat("/proc/%u/exe", mProcessID), error).string();
}

EExit Process::WaitForExit(uint32_t& exitCode, std::optional<std::chrono::milliseconds> limit)
{
    using Clock = std::chrono::steady_clock;
    {
        const auto end = limit ? Clock::now() + *limit : Clock::time_point::max();
        const MutexLock lock(mLock);
        if (mProcess < 0)
        {
            return NotExited;
        }
        while (!mIsExitTold)
        {
            if (!limit)
            {
                mExitTold.Wait(mLock);
            }
            else if (!mExitTold.WaitUntil(mLock, end))
            {
                return NotExited;
            }
        }
        exitCode = mExitCode;
    }
    LetGo();
    return exitCode == 0 ? ExitedWithZero : ExitedWithError;
}

void Process::Kill()
{
    const MutexLock lock(mLock);
    if (mProcess >= 0 && !mHasExited)
    {
        mIsKilled = true;
        pidfd_send_signal(mProcess, SIGKILL, nullptr, 0);
    }
}

void Process::Terminate()
{
    if (IsRunning())
    {
        Kill();
        uint32_t exitCode = 0;
        WaitForExit(exitCode);
    }
}

EventSubscription Process::SubscribeToExit(ExitHandler handler)
{
    return mExitEvent.Subscribe(std::move(handler));
}

EventSubscription Process::SubscribeToOutput(OutputHandler handler)
{
    return mOutputEvent.Subscribe(std::move(handler));
}

int Process::StartOutput()
{
    int ends[2] = {-1, -1};
    if (!mCancelOutput.IsValid() || pipe2(ends, O_CLOEXEC) != 0)
    {
        Utility::gTrace("Failed to connect to %s: %d. Debug process ID = %u", "a pipe", errno, mDebugProcessID);
        return -1;
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    mOutputThread = std::thread(
        [this, pipe = ends[0], debugProcessID = mDebugProcessID] { RunOutputThread(pipe, debugProcessID); });
    return ends[1];
}

void Process::EndOutput()
{
    if (mOutputThread.joinable())
    {
        Utility::gTrace("Closing OutputThread for process %u, debug process ID = %u", GetProcessID(), mDebugProcessID);
        mCancelOutput.Set();
        mOutputThread.join();
        mCancelOutput.Reset();
    }
}

void Process::RunOutputThread(int pipe, uint32_t debugProcessID)
{
    gSetThreadName("Process - Output");
    Utility::gTrace("Starting OutputThread for debug process id %u:", debugProcessID);
    LineBuffer lines;
    std::array<char, 4096> bytes;
    bool isCancelled = false;
    // After a cancel what the pipe holds is still told, but no more of a child that goes on writing.
    size_t drained = 0;
    while (drained < sMostDrained)
    {
        isCancelled = isCancelled || gWaitOrWake(pipe, mCancelOutput);
        const ssize_t count = read(pipe, bytes.data(), bytes.size());
        if (count > 0)
        {
            // Text ends at a zero byte.
            const std::string_view text(bytes.data(), strnlen(bytes.data(), static_cast<size_t>(count)));
            lines.Append(text, [this](const std::string& line) { mOutputEvent.Fire(line); });
            drained += isCancelled ? static_cast<size_t>(count) : 0;
        }
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
        {
            Utility::gTrace("Exiting OutputThread for debug process id %u: %s", debugProcessID,
                gGetErrorText(count == 0 ? EPIPE : errno).c_str());
            break;
        }
        else if (isCancelled)
        {
            Utility::gTrace("OutputThread for debug process id %u was canceled. Object = %d", debugProcessID, 1);
            break;
        }
    }
    if (!lines.GetRest().empty())
    {
        mOutputEvent.Fire(lines.GetRest());
    }
    close(pipe);
}

EExit Process::Run(const std::string& path, const std::string& arguments, bool showConsole,
    const std::string& workingDirectory, std::string& message, uint32_t& exitCode, OutputHandler onOutput)
{
    Process process;
    EventSubscription subscription;
    const bool captureOutput = onOutput != nullptr;
    if (captureOutput)
    {
        subscription = process.SubscribeToOutput(std::move(onOutput));
    }
    if (!process.Start(path, arguments, showConsole, captureOutput, workingDirectory))
    {
        message = Utility::gFormat("Failed to run '%s %s'", path.c_str(), arguments.c_str());
        return ExitedWithError;
    }
    const EExit exit = process.WaitForExit(exitCode);
    // All of the output is told before the result is.
    process.EndOutput();
    if (exit != ExitedWithZero)
    {
        message = Utility::gFormat(
            "Process '%s %s' exited with error code %u (%#010X)", path.c_str(), arguments.c_str(), exitCode, exitCode);
        Utility::gTrace("%s", message.c_str());
    }
    return exit;
}
}
