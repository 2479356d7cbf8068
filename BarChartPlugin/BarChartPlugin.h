#pragma once

#include "ProfilerLib/plugin/Plugin.h"

#include <memory>

namespace Profiler
{

/// The plug-in of the view "Instrumentation Timings". The module holds the one instance, which `createPlugin` makes.
class BarChartPlugin final : public Plugin
{
public:
    /// Registers the types of this image with the host's registry.
    BarChartPlugin(MessageBus* bus, RTTI::TypeRegistry* registry);

    std::unique_ptr<Model> CreateModel(Session& session) override;
    std::unique_ptr<Model> LoadModel(Session& session) override;
    /// Null in the module that has no views.
    std::unique_ptr<View> CreateView(ViewHost& host, ViewContext& context, Model& model) override;
};

}
