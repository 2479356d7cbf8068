#pragma once

#include <cstddef>
#include <cstdint>

#include "Serialization/RTTI/TypeInfo.h"

namespace Serialization
{

/// The twelve primitives as something to switch on.
enum class EPrimitive : uint8_t
{
    Unknown,
    UInt8,
    Int8,
    UInt16,
    Int16,
    UInt32,
    Int32,
    UInt64,
    Int64,
    Bool,
    Float,
    Double,
    String,
};

/// Compares type hashes, so that it holds for handles of another image too; `Unknown` before the registry is finalised.
EPrimitive gGetPrimitiveKind(const RTTI::TypeHandle& type);

constexpr bool gIsInteger(EPrimitive kind)
{
    return kind >= EPrimitive::UInt8 && kind <= EPrimitive::Int64;
}

constexpr bool gIsSigned(EPrimitive kind)
{
    return kind == EPrimitive::Int8 || kind == EPrimitive::Int16 || kind == EPrimitive::Int32 ||
           kind == EPrimitive::Int64;
}

/// The integer of `size` bytes at `source`, widened to 64 bits by its sign.
uint64_t gLoadInteger(const void* source, std::size_t size, bool isSigned);

}
