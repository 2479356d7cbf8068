#pragma once

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

/// Registers the stored types of this library; others are reached through them.
void gRegisterSymbolTypes(RTTI::TypeRegistry& registry);

/// Readies an empty registry for who reads and writes these types and no others, such as a worker.
void gReadySymbolRegistry(RTTI::TypeRegistry& registry);

}
