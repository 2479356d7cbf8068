#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartPlugin.h"
#include "BarChartPlugin/BarChartView.h"

namespace Profiler
{

std::unique_ptr<View> BarChartPlugin::CreateView(ViewHost& host, ViewContext& context, Model& model)
{
    return std::make_unique<BarChartView>(context, static_cast<BarChartModel&>(model), host.RangeChosen);
}

}
