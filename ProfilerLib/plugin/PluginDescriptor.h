#pragma once

#include <cstdint>
#include <vector>

#include "Utility/Trace.h"

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

class MessageBus;
class Plugin;

/// The record that a plug-in module exports as `descriptor` and the host reads before it calls anything else. Layout
/// and order are the binary contract between the two.
struct PluginDescriptor
{
    using InitializeTracingFunction = void (*)(const std::vector<Utility::TraceSink>& sinks);
    using CreatePluginFunction = Plugin* (*)(MessageBus* bus, RTTI::TypeRegistry* registry);

    static constexpr int32_t cInterfaceVersion = 3;

    int32_t InterfaceVersion;
    const char* Name;
    const char* Version;
    InitializeTracingFunction InitializeTracing;
    CreatePluginFunction CreatePlugin;
};

}
