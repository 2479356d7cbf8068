#include "BarChartPlugin/BarChartPlugin.h"
#include "ProfilerLib/plugin/View.h"

namespace Profiler
{

std::unique_ptr<View> BarChartPlugin::CreateView(ViewHost&, ViewContext&, Model&)
{
    return nullptr;
}

}
