#include "ProfilerLib/symbols/TestWorker.h"

#include <chrono>

#include "ProfilerLib/symbols/RemoteMessage.h"
#include "ProfilerLib/symbols/SymbolResolverWorker.h"
#include "System/Mutex.h"
#include "Utility/FileSystem.h"
#include "Utility/Result.h"

namespace Profiler
{

bool TestWorker(const std::string& logFilePath, const std::string& executablePath, const RTTI::TypeRegistry& registry,
    Utility::Result& result)
{
    constexpr std::chrono::milliseconds answerWait{2500};
    if (!result.Check(FileSystem::gFileExists(executablePath), 0, "Unable to find SymbolResolverWorker executable"))
        return false;
    System::Mutex lock;
    System::ConditionVariable answered;
    bool hasAnswered = false;
    SymbolResolverWorker worker{SymbolResolverWorker::cTestWorker, logFilePath, executablePath, registry, nullptr};
    if (!result.Check(worker.EnsureRunning(), 0, "Failed to start SymbolResolverWorker"))
        return false;
    const EventSubscription subscription =
        worker.GetServer().Subscribe(static_cast<uint8_t>(ERemoteMessage::Pong), [&](Utility::InputMemoryStream&) {
            const System::MutexLock answerLock{lock};
            hasAnswered = true;
            answered.NotifyAll();
        });
    worker.GetServer().Send(static_cast<uint8_t>(ERemoteMessage::Ping), nullptr, 0);
    const auto end = std::chrono::steady_clock::now() + answerWait;
    const System::MutexLock waitLock{lock};
    while (!hasAnswered && answered.WaitUntil(lock, end))
    {}
    return result.Check(hasAnswered, 0,
        "SymbolResolverWorker started, but did not respond. Something might be wrong with the network.");
}

}
