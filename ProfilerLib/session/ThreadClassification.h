#pragma once

#include <string>

namespace Profiler
{
class ModuleDatabase;
struct TraceEvent;

/// A readable name for a thread that has none, from the function at the start address of its ThreadStart event. Only
/// functions that are known already count: no symbols are loaded. Empty when the address lies in no module, the
/// module's name when the function is not known.
std::string gClassifyThread(const TraceEvent& event, ModuleDatabase& modules);
}
