#include "ProfilerLib/symbols/RegisterTypes.h"

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
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

    registry.Register(RTTI::gTypeOf<ConvertPDBJob>());
    registry.Register(RTTI::gTypeOf<ResolveFunctionDataJob>());
    registry.Register(RTTI::gTypeOf<ResolveLineDataJob>());
    registry.Register(RTTI::gTypeOf<CancelRemoteJob>());
    registry.Register(RTTI::gTypeOf<RemoteJobCompleted>());
    registry.Register(RTTI::gTypeOf<ConvertPDBProgress>());
    registry.Register(RTTI::gTypeOf<ConvertPDBResult>());
    registry.Register(RTTI::gTypeOf<FunctionData>());
    registry.Register(RTTI::gTypeOf<FunctionLineData>());
}

}
