#include "Quarkspindle/Capture.h"

#include "ProfilerLib/session/Session.h"
#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/ProgressLine.h"

namespace Quarkspindle
{

std::unique_ptr<Profiler::Session> gOpenCapture(
    Host& host, const std::string& path, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    std::string sessionPath;
    if (!gFindCapture(path, sessionPath, result))
        return nullptr;

    std::unique_ptr<Profiler::Session> session;
    const int32_t loaded = Profiler::Session::sLoad(
        sessionPath, host.GetTypeRegistry(), nullptr, &host.GetJobScheduler(), &host.GetPlugins(), session, result);
    if (loaded == Profiler::Session::Failed)
        return nullptr;
    if (loaded == Profiler::Session::LoadedWithPendingModels)
    {
        ProgressLine progress;
        if (!session->ProcessPendingModels(result, &interrupted, &progress))
            return nullptr;
    }
    return session;
}

}
