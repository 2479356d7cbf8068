#pragma once

#include <algorithm>
#include <cstddef>

#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"

/// What both readers hold on to, since neither trusts what it reads.
namespace Serialization
{

/// Values inside values, counted as compounds, arrays, maps and pointers. Far beyond any stored class; it keeps a
/// hostile file, and a chain of objects that would not be readable again, off the stack.
inline constexpr int cMaxNesting = 256;

/// The largest block that may be allocated for a single value when `size` bytes are read.
constexpr std::size_t gGetAllocationLimit(std::size_t size)
{
    return std::max(std::size_t{16} << 20, 4 * size);
}

/// Whether a `std::unique_ptr` to `pointee` may own a `type`. Without the virtual destructor of `RTTI::Object` only
/// the very class will do.
inline bool gFitsPointer(const RTTI::TypeHandle& type, const RTTI::TypeHandle& pointee)
{
    const bool isPolymorphic = RTTI::gIsDerivedFrom(pointee, RTTI::gTypeOf<RTTI::Object>());
    return isPolymorphic ? RTTI::gIsDerivedFrom(type, pointee) : &type == &pointee;
}

}
