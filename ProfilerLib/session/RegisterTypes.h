#pragma once

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{
/// Registers what a session stores.
void gRegisterProfilerTypes(RTTI::TypeRegistry& registry);
}
