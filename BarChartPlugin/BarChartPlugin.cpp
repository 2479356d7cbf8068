#include "BarChartPlugin/BarChartPlugin.h"

#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

BarChartPlugin::BarChartPlugin(MessageBus* bus, RTTI::TypeRegistry* registry) : Plugin{bus, registry}
{
    const RTTI::TypeRegistry::OwnerScope scope = registry->BeginRegistration(RTTI::gGetOwnerID());
    RTTI::gRegisterTypes(*registry);
    gRegisterProfilerTypes(*registry);
    gRegisterSymbolTypes(*registry);
    Serialization::gRegisterTypes(*registry);
    gRegisterBarChartTypes(*registry);
}

std::unique_ptr<Model> BarChartPlugin::CreateModel(Session& session)
{
    return std::make_unique<BarChartModel>(this, &session);
}

std::unique_ptr<Model> BarChartPlugin::LoadModel(Session& session)
{
    Utility::Result result;
    std::unique_ptr<BarChartModel> model;
    if (!BarChartModel::sLoad(*this, session, model, result))
    {
        Utility::gTrace("Error loading barchart model: %s", result.ToString().c_str());
        return nullptr;
    }
    return model;
}

}
