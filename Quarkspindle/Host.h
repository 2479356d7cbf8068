#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "System/DynamicLibrary.h"
#include "System/JobScheduler.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Quarkspindle
{

/// The long-lived objects of a run: the type registry, the message bus, the job scheduler and the plug-ins, made and
/// torn down in the order in which they need each other. Made once, by `main`'s thread, before anything is read or
/// written; sessions and their models must be gone before it. What a window needs beside them is `WindowHost`.
class Host
{
public:
    /// The log goes to standard error.
    Host();
    /// The log goes to these sinks, which must outlive the host.
    explicit Host(const std::vector<Utility::TraceSink>& sinks);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    /// The plug-in is there twice. What asks for no views takes the one that knows models only: it does not link Qt,
    /// which alone takes longer to load than most commands take to run.
    enum class EViews
    {
        Without,
        With,
    };

    /// Loads the plug-in module that lies beside the program or in the installed folder, checks its interface, and
    /// hands over the log, the bus and the registry. False with the reason in `result`; the host then works on without
    /// it.
    [[nodiscard]] bool LoadPlugins(EViews views, Utility::Result& result);
    /// The same with the module in a file of the caller's choice.
    [[nodiscard]] bool LoadPlugin(const std::string& path, Utility::Result& result);

    RTTI::TypeRegistry& GetTypeRegistry() { return mTypeRegistry; }
    Profiler::MessageBus& GetMessageBus() { return mMessageBus; }
    System::JobScheduler& GetJobScheduler() { return mJobScheduler; }
    const Profiler::PluginList& GetPlugins() const { return mPlugins; }

private:
    // First in, last out: the registry's records lie in the module.
    System::DynamicLibrary mBarChartModule;
    RTTI::TypeRegistry mTypeRegistry;
    Profiler::MessageBus mMessageBus;
    Profiler::PluginList mPlugins;
    System::JobScheduler mJobScheduler;
};

/// A file that the program loads or starts: beside it, or in the folder that an installation puts it in.
std::string gFindPrivateFile(const std::string& name);

}
