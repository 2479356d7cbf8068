#include "ProfilerLib/settings/RegisterTypes.h"

#include "ProfilerLib/settings/Settings.h"
#include "Serialization/RTTI/TypeRegistry.h"

namespace Profiler
{

void gRegisterSettingsTypes(RTTI::TypeRegistry& registry)
{
    registry.Register(RTTI::gTypeOf<SymbolSettings>());
    registry.Register(RTTI::gTypeOf<InputSettings>());
    registry.Register(RTTI::gTypeOf<AdvancedSettings>());
}

}
