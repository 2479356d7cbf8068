#pragma once

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

/// Registers the stored types of this library; others are reached through them.
void gRegisterSymbolTypes(RTTI::TypeRegistry& registry);

}
