#include "Quarkspindle/Capture.h"

#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/ChartFinder.h"
#include "Quarkspindle/Output.h"
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
        Utility::Result rebuilt;
        bool isStored = false;
        {
            ProgressLine progress;
            isStored = session->ProcessPendingModels(rebuilt, &interrupted, &progress);
        }
        if (interrupted.load(std::memory_order_relaxed))
        {
            result.FailText(0, "Interrupted");
            return nullptr;
        }
        // Of a capture that is not whole its reader says so at the end.
        Utility::Result ignored;
        if (!isStored && session->GetEventStream().CheckWhole(ignored))
            gPrintError(rebuilt);
    }
    return session;
}

ChartCapture::ChartCapture() = default;

ChartCapture::~ChartCapture() = default;

bool ChartCapture::Open(const std::string& path, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    if (!mHost.LoadPlugins(Host::EViews::Without, result))
        return false;
    mSession = gOpenCapture(mHost, path, interrupted, result);
    if (mSession == nullptr)
        return false;
    mModel = gFindBarChartModel(*mSession, result);
    return mModel != nullptr;
}

}
