#include "ProfilerLib/session/ThreadClassification.h"

#include "ProfilerLib/session/FakeSymbolSource.h"
#include "ProfilerLib/session/ModuleDatabase.h"
#include "ProfilerLib/session/SessionFixture.h"

namespace Profiler
{
namespace
{
constexpr std::uint64_t cImageBase = 0x7FF600000000;

void AddModule(ModuleDatabase& modules, const char* path)
{
    modules.AddModule(path, cImageBase, 0x10000, 1, 1, {}, "x.pdb", 0.0, 0.0, 1e9);
}

TEST(ThreadClassificationTest, FunctionAndModuleOfTheStartAddressGiveTheKind)
{
    const struct
    {
        const char* mModule;
        const char* mFunction;
        const char* mName;
    } rows[] = {
        {"C:\\Windows\\clr.dll", "Thread::intermediateThreadProc", "CLR Worker"},
        {"/opt/clr.dll", "SockAsyncThread", "WinSock"},
        {"clr.dll", "Debugger::DebuggerRCThread::ThreadProc", "Debugger Helper"},
        {"mscorwks.dll", "Thread::intermediateThreadProc", "CLR Worker"},
        {"mscorwks.dll", "SockAsyncThread", "WinSock"},
        {"mscorwks.dll", "DebuggerRCThread", "Debugger Helper"},
        {"C:\\Windows\\System32\\ntdll.dll", "TppWorkerThread", "Thread Pool"},
        {"gdiplus.dll", "BackgroundThreadProc", "GDI"},
        {"rpcrt4.dll", "ThreadStartRoutine", "RPC"},
        {"mswsock.dll", "RpcWorkerThreadEntry", "OLE/RPC"},
        {"msvcr100.dll", "Concurrency::ConcurrencyInternals::f", "Concurrency RT"},
        {"msvcr100d.dll", "ConcurrencyInternals", "Concurrency RT"},
        {"game.exe", "mainCRTStartup", "Main"},
        {"game.exe", "wmainCRTStartup", "Main"},
        {"game.exe", "_COM+_Entry_Point", "Main"},
        // A module with rules of its own has only those; the case of its name and of the part count.
        {"ntdll.dll", "mainCRTStartup", "Worker"},
        {"NTDLL.DLL", "TppWorkerThread", "Worker"},
        {"NTDLL.DLL", "mainCRTStartup", "Main"},
        {"ntdll.dll", "tppworkerthread", "Worker"},
        {"game.exe", "TppWorkerThread", "Worker"},
        {"game.exe", "std::thread::run", "Worker"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(::testing::Message() << row.mModule << " " << row.mFunction);
        const LogCapture log;
        FakeSymbolSource source;
        source.Add(row.mModule, {{0x1000, 0x1000, row.mFunction}, {0x2000, 0x10, "behind it"}});
        ModuleDatabase modules{&source};
        AddModule(modules, row.mModule);
        EXPECT_EQ(gClassifyThread(MakeThreadStart(1.0, 1, cImageBase + 0x1800), modules), row.mName);
    }
}

TEST(ThreadClassificationTest, UnknownFunctionGivesTheModuleAndUnknownModuleNothing)
{
    const LogCapture log;
    ModuleDatabase modules{nullptr};
    AddModule(modules, "C:\\game\\game.exe");
    EXPECT_EQ(gClassifyThread(MakeThreadStart(1.0, 1, cImageBase + 0x1800), modules), "game.exe");
    EXPECT_EQ(gClassifyThread(MakeThreadStart(1.0, 1, cImageBase - 1), modules), "");
    EXPECT_EQ(gClassifyThread(MakeThreadStart(2e9, 1, cImageBase + 0x1800), modules), "") << "unloaded by then";
}
}
}
