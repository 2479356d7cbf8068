#pragma once

#include <memory>
#include <string>

#include "ProfilerLib/plugin/Plugin.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "System/DynamicLibrary.h"
#include "System/JobScheduler.h"
#include "Utility/Result.h"

namespace Quarkspindle
{

/// The long-lived objects of a run: the type registry, the job scheduler and the plug-ins, made and torn down in the
/// order in which they need each other. Made once, by `main`'s thread, before anything is read or written; sessions and
/// their models must be gone before it.
class Host
{
public:
    Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    /// Loads the plug-in module that lies beside the program or in the installed folder, checks its interface, and
    /// hands over the log, and the registry. False with the reason in `result`; the host then works on without it.
    [[nodiscard]] bool LoadPlugins(Utility::Result& result);

    RTTI::TypeRegistry& GetTypeRegistry() { return mTypeRegistry; }
    System::JobScheduler& GetJobScheduler() { return mJobScheduler; }
    const Profiler::PluginList& GetPlugins() const { return mPlugins; }

private:
    // First in, last out: the registry's records lie in the module.
    System::DynamicLibrary mBarChartModule;
    RTTI::TypeRegistry mTypeRegistry;
    Profiler::PluginList mPlugins;
    System::JobScheduler mJobScheduler;
};

/// The module's file beside the running program, or in the folder that an installation puts it in.
std::string gFindPluginModule(const std::string& name);

}
