#pragma once

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

/// Registers the types of a stored `BarChartModel`.
void gRegisterBarChartTypes(RTTI::TypeRegistry& registry);

}
