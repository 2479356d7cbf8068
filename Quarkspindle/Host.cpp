#include "Quarkspindle/Host.h"

#include <algorithm>
#include <cstdio>

#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/plugin/PluginDescriptor.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/settings/RegisterTypes.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/Schema.h"
#include "System/Platform.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"

namespace Quarkspindle
{

namespace
{

void WriteLogLine(const char* line, void*)
{
    std::fputs(line, stderr);
}

}

Host::Host() : Host{{{&WriteLogLine, nullptr}}} {}

// Two at least, so that what takes long on one job, such as an import, leaves a thread for charts.
Host::Host(const std::vector<Utility::TraceSink>& sinks)
    : mJobScheduler{std::max(2, static_cast<int>(System::gGetNumProcessors()))}
{
    Utility::gSetTraceSinks(sinks);
    {
        const auto scope = mTypeRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(mTypeRegistry);
        Profiler::gRegisterProfilerTypes(mTypeRegistry);
        Profiler::gRegisterSymbolTypes(mTypeRegistry);
        Serialization::gRegisterTypes(mTypeRegistry);
        Profiler::gRegisterSettingsTypes(mTypeRegistry);
        Profiler::gRegisterBarChartTypes(mTypeRegistry);
    }
    mTypeRegistry.Finalize();
}

Host::~Host() = default;

bool Host::LoadPlugins(EViews views, Utility::Result& result)
{
    return LoadPlugin(gFindPrivateFile(views == EViews::With ? "BarChartPlugin.so" : "BarChartModels.so"), result);
}

bool Host::LoadPlugin(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);

    System::DynamicLibrary module;
    std::string error;
    if (!module.Open(path, error))
        return result.Fail(0, "The plug-in could not be loaded: %s", error.c_str());
    const auto* descriptor = static_cast<const Profiler::PluginDescriptor*>(module.Find("descriptor"));
    if (descriptor == nullptr)
        return result.Fail(0, "The file is no plug-in: it exports no descriptor");
    if (descriptor->InterfaceVersion != Profiler::PluginDescriptor::cInterfaceVersion)
        return result.Fail(0, "The plug-in was made for interface version %d, this program has version %d",
            descriptor->InterfaceVersion, Profiler::PluginDescriptor::cInterfaceVersion);

    mBarChartModule = std::move(module);
    descriptor->InitializeTracing(Utility::gGetTraceSinks());
    mPlugins.push_back(descriptor->CreatePlugin(&mMessageBus, &mTypeRegistry));
    mTypeRegistry.Finalize();
    return true;
}

std::string gFindPrivateFile(const std::string& name)
{
    const std::string beside = FileSystem::gCombinePath(FileSystem::gGetExecutableDirectory(), name);
    if (FileSystem::gFileExists(beside))
        return beside;
    const std::string installed =
        FileSystem::gCombinePath(FileSystem::gGetExecutableDirectory(), "../lib/quarkspindle/" + name);
    return FileSystem::gFileExists(installed) ? installed : beside;
}

}
