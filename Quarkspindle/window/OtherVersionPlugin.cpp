#include "ProfilerLib/plugin/PluginDescriptor.h"

/// A plug-in for another host, for tests: its functions may not be called, so it has none.
extern "C" [[gnu::visibility("default")]] const Profiler::PluginDescriptor descriptor{
    Profiler::PluginDescriptor::cInterfaceVersion + 1, "OtherVersionPlugin", "9.9", nullptr, nullptr};
