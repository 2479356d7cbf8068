#include "BarChartPlugin/BarChartPlugin.h"
#include "ProfilerLib/plugin/PluginDescriptor.h"
#include "Serialization/RTTI/Image.h"
#include "Utility/Trace.h"

#include <vector>

// What the module exports, and nothing else: the version script beside this file repeats the three names.

const char* RTTI::gGetImageName()
{
    return "BarChartPlugin";
}

extern "C" [[gnu::visibility("default")]] void initializeTracing(const std::vector<Utility::TraceSink>& sinks)
{
    Utility::gSetTraceSinks(sinks);
}

/// The first call makes the plug-in from its arguments; later ones give it back, whatever theirs are. Any thread.
extern "C" [[gnu::visibility("default")]] Profiler::Plugin* createPlugin(
    Profiler::MessageBus* bus, RTTI::TypeRegistry* registry)
{
    static Profiler::BarChartPlugin sPlugin{bus, registry};
    return &sPlugin;
}

extern "C" [[gnu::visibility("default")]] const Profiler::PluginDescriptor descriptor;

const Profiler::PluginDescriptor descriptor{
    .InterfaceVersion = Profiler::PluginDescriptor::cInterfaceVersion,
    .Name = "BarChartPlugin",
    .Version = "1.0",
    .InitializeTracing = &initializeTracing,
    .CreatePlugin = &createPlugin,
};
