#include "ProfilerLib/session/ThreadClassification.h"

#include "ProfilerLib/session/ModuleDatabase.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Utility/Path.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace Profiler
{
namespace
{
constexpr std::array<const char*, 10> cThreadKinds = {
    "Worker",
    "Main",
    "CLR Worker",
    "Thread Pool",
    "GDI",
    "RPC",
    "OLE/RPC",
    "Concurrency RT",
    "WinSock",
    "Debugger Helper",
};
constexpr std::size_t cWorker = 0;

/// A thread that starts in a function whose name contains the part, in a module with that file name, is of that kind.
struct Rule
{
    std::string_view mModule;
    std::string_view mFunctionPart;
    std::size_t mKind;
};

/// The rules of a module stand together and are tried in their order; the empty name is that of every module that has
/// no rules of its own.
constexpr Rule cRules[] = {
    {"clr.dll", "Thread::intermediateThreadProc", 2},
    {"clr.dll", "SockAsyncThread", 8},
    {"clr.dll", "DebuggerRCThread", 9},
    {"mscorwks.dll", "Thread::intermediateThreadProc", 2},
    {"mscorwks.dll", "SockAsyncThread", 8},
    {"mscorwks.dll", "DebuggerRCThread", 9},
    {"ntdll.dll", "TppWorkerThread", 3},
    {"gdiplus.dll", "BackgroundThreadPro", 4},
    {"rpcrt4.dll", "ThreadStartRoutine", 5},
    {"mswsock.dll", "RpcWorkerThreadEntry", 6},
    {"msvcr100.dll", "ConcurrencyInternals", 7},
    {"msvcr100d.dll", "ConcurrencyInternals", 7},
    {"", "mainCRTStartup", 1},
    {"", "wmainCRTStartup", 1},
    {"", "COM+_Entry_Point", 1},
};
}

std::string gClassifyThread(const TraceEventView& event, ModuleDatabase& modules)
{
    const Module* module = modules.FindModule(event.mStartAddress, event.mTime);
    if (module == nullptr)
    {
        return {};
    }
    const ResolvedAddress resolved = modules.ResolveAddress(event.mStartAddress, event.mTime, true);
    if (!resolved.HasFunction())
    {
        return module->GetName();
    }

    const std::string fileName = FileSystem::gGetFileName(module->GetPath());
    const bool hasRules =
        std::any_of(std::begin(cRules), std::end(cRules), [&](const Rule& rule) { return rule.mModule == fileName; });
    const std::string_view key = hasRules ? std::string_view{fileName} : std::string_view{};
    for (const Rule& rule : cRules)
    {
        if (rule.mModule == key && resolved.mName.find(rule.mFunctionPart) != std::string::npos)
        {
            return cThreadKinds[rule.mKind];
        }
    }
    return cThreadKinds[cWorker];
}
}
