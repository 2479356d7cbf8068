#include "BarChartPlugin/BarChartTypes.h"

#include "BarChartPlugin/BarChart.h"
#include "BarChartPlugin/BarChartLOD.h"
#include "BarChartPlugin/BarChartModel.h"
#include "Serialization/RTTI/TypeRegistry.h"

namespace Profiler
{

void gRegisterBarChartTypes(RTTI::TypeRegistry& registry)
{
    registry.Register(RTTI::gTypeOf<BarChartModel>());
    registry.Register(RTTI::gTypeOf<BarChart>());
    registry.Register(RTTI::gTypeOf<BarChartLOD>());
    registry.Register(RTTI::gTypeOf<BarChartLOD::Bar>());
}

}
