#include "Serialization/PrimitiveKind.h"

#include <bit>
#include <cstring>
#include <string>

#include "Serialization/RTTI/TypeOf.h"

namespace Serialization
{

// Values are stored as they lie in memory.
static_assert(std::endian::native == std::endian::little);

EPrimitive gGetPrimitiveKind(const RTTI::TypeHandle& type)
{
    const uint64_t hash = type.Info->TypeHash;
    if (type.GetDataType() != RTTI::EDataType::Primitive || hash == RTTI::cUnknownHash)
        return EPrimitive::Unknown;
    EPrimitive kind = EPrimitive::Unknown;
    const auto match = [&]<class T>(const T*, EPrimitive candidate) {
        if (hash == RTTI::gTypeOf<T>().Info->TypeHash)
            kind = candidate;
    };
    match(static_cast<const uint8_t*>(nullptr), EPrimitive::UInt8);
    match(static_cast<const int8_t*>(nullptr), EPrimitive::Int8);
    match(static_cast<const uint16_t*>(nullptr), EPrimitive::UInt16);
    match(static_cast<const int16_t*>(nullptr), EPrimitive::Int16);
    match(static_cast<const uint32_t*>(nullptr), EPrimitive::UInt32);
    match(static_cast<const int32_t*>(nullptr), EPrimitive::Int32);
    match(static_cast<const uint64_t*>(nullptr), EPrimitive::UInt64);
    match(static_cast<const int64_t*>(nullptr), EPrimitive::Int64);
    match(static_cast<const bool*>(nullptr), EPrimitive::Bool);
    match(static_cast<const float*>(nullptr), EPrimitive::Float);
    match(static_cast<const double*>(nullptr), EPrimitive::Double);
    match(static_cast<const std::string*>(nullptr), EPrimitive::String);
    return kind;
}

uint64_t gLoadInteger(const void* source, std::size_t size, bool isSigned)
{
    uint64_t value = 0;
    std::memcpy(&value, source, size);
    if (!isSigned)
        return value;
    const auto unused = static_cast<int>(64 - 8 * size);
    return static_cast<uint64_t>(static_cast<int64_t>(value << unused) >> unused);
}

}
