#pragma once

#include "ProfilerLib/session/TraceEvent.h"

#include <string>

namespace Profiler
{
class ModuleDatabase;

/// A readable name for a thread that has none, from the function at the start address of its ThreadStart event. The
/// lookup is one that takes what is known already, but a module of a running recording loads its symbols with its first
/// one. Empty when the address lies in no module, the
/// module's name when the function is not known.
std::string gClassifyThread(const TraceEventView& event, ModuleDatabase& modules);
}
