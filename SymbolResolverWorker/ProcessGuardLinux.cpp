#include "SymbolResolverWorker/ProcessGuard.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Symbols
{

namespace
{

constexpr rlim_t cAddressSpace = rlim_t{4} << 30;

pid_t sParent = 0;

/// The signal also comes when only the thread ends that started this process, so the parent is looked at.
void EndWithParent(int)
{
    if (getppid() != sParent)
        _exit(0);
}

// What a signal handler reads: written while no signal is expected to come, and never freed.
char sLogFilePath[4096];
// The handler may run on another thread than the one that works: the text that it reads is not the one that is written.
char sWorkTexts[2][1024];
std::atomic<const char*> sCurrentWork = sWorkTexts[0];

void WriteText(int file, const char* text)
{
    // There is nothing to be done about a log that cannot be written.
    (void)!write(file, text, std::strlen(text));
}

void WriteReport(int file, int signal)
{
    const char digits[] = {static_cast<char>('0' + signal / 10), static_cast<char>('0' + signal % 10), 0};
    WriteText(file, "The symbol worker crashed with signal ");
    WriteText(file, signal < 10 ? digits + 1 : digits);
    WriteText(file, sCurrentWork.load());
    WriteText(file, "\n");
}

void ReportSignal(int signal)
{
    WriteReport(STDOUT_FILENO, signal);
    if (sLogFilePath[0] != 0)
    {
        const int file = open(sLogFilePath, O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK);
        if (file >= 0)
            WriteReport(file, signal);
    }
    // The handler is gone by now: the signal ends the process as if there had been none.
    raise(signal);
}

void CopyText(char* target, std::size_t size, const std::string& text)
{
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(target, text.data(), length);
    target[length] = 0;
}

bool HasSanitizer()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
    return __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
    return false;
#endif
}

}

void gGuardProcess()
{
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    sParent = getppid();
    std::signal(SIGUSR1, &EndWithParent);
    prctl(PR_SET_PDEATHSIG, SIGUSR1);
    // If it ended before, there is nobody to connect to.
    if (!HasSanitizer())
    {
        // Whoever allows less is heard.
        rlimit limit = {};
        getrlimit(RLIMIT_AS, &limit);
        limit.rlim_cur = std::min(limit.rlim_cur, cAddressSpace);
        limit.rlim_max = limit.rlim_cur;
        setrlimit(RLIMIT_AS, &limit);
    }
    // A core file of gigabytes helps nobody.
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void gReportCrashes(const std::string& logFilePath)
{
    CopyText(sLogFilePath, sizeof(sLogFilePath), logFilePath);
    for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
    {
        struct sigaction action = {};
        action.sa_handler = &ReportSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

void gSetCurrentWork(const std::string& text)
{
    char* const other = sWorkTexts[sCurrentWork.load() == sWorkTexts[0] ? 1 : 0];
    CopyText(other, sizeof(sWorkTexts[0]), text.empty() ? text : " while " + text);
    sCurrentWork = other;
}

void gEndProcess(int exitCode)
{
    _exit(exitCode);
}

}
