#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeOf.h"

/// Questions to the records. Each takes a handle of the kind that it is about, and has no side effect.
namespace RTTI
{

int32_t gGetNumProperties(const TypeHandle& compound);
const Property& gGetProperty(const TypeHandle& compound, int32_t index);

/// The class's own property of that exact name, or null.
const Property* gFindProperty(const TypeHandle& compound, std::string_view name);

const TypeHandle& gGetBase(const TypeHandle& compound, int32_t index);

/// The properties of all bases first, then the class's own, each group in declared order: the stored order. Offsets
/// hold for the whole object, since a base lies at its start.
std::vector<const Property*> gGetAllProperties(const TypeHandle& compound);

/// True when `type` is `base` or a class below it. Holds only after `TypeRegistry::Finalize`.
bool gIsDerivedFrom(const TypeHandle& type, const TypeHandle& base);

template <class T>
bool gIsA(const Object& object)
{
    return gIsDerivedFrom(object.GetType(), gTypeOf<T>());
}

/// The name of an enum value, or "<invalid enum value>".
std::string gGetEnumValueName(const TypeHandle& enumType, TypedPtr value);

/// The value, read with the width and sign of the underlying type.
int64_t gGetEnumValueAsInteger(const TypeHandle& enumType, TypedPtr value);

/// Index of the first entry with that number or name, or -1. Signed numbers are sign-extended.
int32_t gFindEnumValue(const TypeHandle& enumType, uint64_t value);
int32_t gFindEnumName(const TypeHandle& enumType, std::string_view name);

/// Stores the value of that name; false, and nothing stored, when there is none.
[[nodiscard]] bool gSetEnumValueByName(const TypeHandle& enumType, TypedPtr value, std::string_view name);

/// Stores the value at that place in the table.
void gSetEnumValueByIndex(const TypeHandle& enumType, TypedPtr value, int32_t index);

/// The text of a primitive; empty for any other type.
std::string gPrimitiveToString(TypedPtr value);

}
