#include "ProfilerLib/session/RegisterTypes.h"

#include "ProfilerLib/session/CallstackDatabase.h"
#include "ProfilerLib/session/Module.h"
#include "ProfilerLib/session/ModuleDatabase.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/RTTI/TypeRegistry.h"

namespace Profiler
{
void gRegisterProfilerTypes(RTTI::TypeRegistry& registry)
{
    registry.Register(RTTI::gTypeOf<Module>());
    registry.Register(RTTI::gTypeOf<ModuleDatabase>());
    registry.Register(RTTI::gTypeOf<CallstackDatabase>());
    registry.Register(RTTI::gTypeOf<Session>());
    registry.Register(RTTI::gTypeOf<TraceEventStream>());
}
}
