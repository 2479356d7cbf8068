#include "ProfilerLib/symbols/RegisterTypes.h"

#include "ProfilerLib/symbols/ResolvedFunction.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeRegistry.h"

namespace Profiler
{

void gRegisterSymbolTypes(RTTI::TypeRegistry& registry)
{
    registry.Register(RTTI::gTypeOf<SymbolModule>());
    registry.Register(RTTI::gTypeOf<ResolvedFunction>());
}

}
