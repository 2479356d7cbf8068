#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Utility/Result.h"

namespace Profiler
{
class Session;
}

namespace Quarkspindle
{

class Host;

/// Opens the capture that the user named, with the models of the host's plug-ins. Models that cannot be read are
/// rebuilt from the events, with progress on standard error; when they cannot be stored (a read-only or damaged
/// capture), they are there for this run, and a line on standard error says so. Null with the reason in `result`, also
/// after an interrupt. Whoever has read events asks `TraceEventStream::CheckWhole` at the end.
std::unique_ptr<Profiler::Session> gOpenCapture(
    Host& host, const std::string& path, const std::atomic<bool>& interrupted, Utility::Result& result);

}
