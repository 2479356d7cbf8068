#pragma once

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

/// Registers what a settings file holds.
void gRegisterSettingsTypes(RTTI::TypeRegistry& registry);

}
