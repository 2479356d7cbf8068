#include "ProfilerLib/symbols/RegisterTypes.h"

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "ProfilerLib/symbols/ResolvedFunction.h"
#include "ProfilerLib/symbols/SourceLines.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"

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

    registry.Register(RTTI::gTypeOf<SourceLines>());
    registry.Register(RTTI::gTypeOf<ResolveSourceLinesJob>());
    registry.Register(RTTI::gTypeOf<SourceLineData>());
}

void gReadySymbolRegistry(RTTI::TypeRegistry& registry)
{
    {
        const auto scope = registry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(registry);
        gRegisterSymbolTypes(registry);
        Serialization::gRegisterTypes(registry);
    }
    registry.Finalize();
}

}
