#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Quarkspindle/Host.h"
#include "Utility/Result.h"

namespace Profiler
{
class BarChartModel;
class Session;
}

namespace Quarkspindle
{

/// Opens the capture that the user named, with the models of the host's plug-ins. Models that cannot be read are
/// rebuilt from the events, with progress on standard error; when they cannot be stored (a read-only or damaged
/// capture), they are there for this run, and a line on standard error says so. Null with the reason in `result`, also
/// after an interrupt. Whoever has read events asks `TraceEventStream::CheckWhole` at the end.
std::unique_ptr<Profiler::Session> gOpenCapture(
    Host& host, const std::string& path, const std::atomic<bool>& interrupted, Utility::Result& result);

/// A capture that is open with its charts, and the host that this takes. For `main`'s thread, once in a run.
class ChartCapture
{
public:
    ChartCapture();
    ChartCapture(const ChartCapture&) = delete;
    ChartCapture& operator=(const ChartCapture&) = delete;
    ~ChartCapture();

    /// Loads the plug-ins and opens the capture that the user named, see `gOpenCapture`. False with the reason in
    /// `result`, also when there is no chart model; then the others may not be called.
    [[nodiscard]] bool Open(const std::string& path, const std::atomic<bool>& interrupted, Utility::Result& result);

    Profiler::Session& GetSession() { return *mSession; }
    Profiler::BarChartModel& GetModel() { return *mModel; }

private:
    // The session goes before the host.
    Host mHost;
    std::unique_ptr<Profiler::Session> mSession;
    Profiler::BarChartModel* mModel = nullptr;
};

}
