#include "Serialization/RTTI/TypeQueries.h"

#include <bit>
#include <cstring>

#include "Utility/Format.h"

namespace RTTI
{

namespace
{

/// Names, since the handle may be one of another image and need not be registered.
template <class T>
bool gIsPrimitive(const TypeHandle& type)
{
    return type.GetDataType() == EDataType::Primitive && type.GetName() == PrimitiveName<T>::Value.View();
}

/// Calls `function` with a null pointer of the integer type behind `type`; false when it is no integer.
template <class F>
bool gWithIntegerType(const TypeHandle& type, F function)
{
    const auto tryType = [&]<class T>(const T* tag) {
        if (!gIsPrimitive<T>(type))
            return false;
        function(tag);
        return true;
    };
    return tryType(static_cast<const uint8_t*>(nullptr)) || tryType(static_cast<const int8_t*>(nullptr)) ||
           tryType(static_cast<const uint16_t*>(nullptr)) || tryType(static_cast<const int16_t*>(nullptr)) ||
           tryType(static_cast<const uint32_t*>(nullptr)) || tryType(static_cast<const int32_t*>(nullptr)) ||
           tryType(static_cast<const uint64_t*>(nullptr)) || tryType(static_cast<const int64_t*>(nullptr));
}

void gAppendAllProperties(const TypeHandle& type, std::vector<const Property*>& properties)
{
    const CompoundInfo& compound = gGetCompound(type);
    for (int32_t i = 0; i < compound.NumBases; ++i)
        gAppendAllProperties(*compound.Bases[i], properties);
    for (int32_t i = 0; i < compound.NumProperties; ++i)
        properties.push_back(&compound.Properties[i]);
}

}

int32_t gGetNumProperties(const TypeHandle& compound)
{
    return gGetCompound(compound).NumProperties;
}

const Property& gGetProperty(const TypeHandle& compound, int32_t index)
{
    return gGetCompound(compound).Properties[index];
}

const Property* gFindProperty(const TypeHandle& compound, std::string_view name)
{
    const CompoundInfo& info = gGetCompound(compound);
    for (int32_t i = 0; i < info.NumProperties; ++i)
    {
        if (name == info.Properties[i].Name)
            return &info.Properties[i];
    }
    return nullptr;
}

const TypeHandle& gGetBase(const TypeHandle& compound, int32_t index)
{
    return *gGetCompound(compound).Bases[index];
}

std::vector<const Property*> gGetAllProperties(const TypeHandle& compound)
{
    std::vector<const Property*> properties;
    gAppendAllProperties(compound, properties);
    return properties;
}

bool gIsDerivedFrom(const TypeHandle& type, const TypeHandle& base)
{
    if (type.GetDataType() != EDataType::Compound || base.GetDataType() != EDataType::Compound)
        return type.Info == base.Info;
    const int32_t index = gGetCompound(type).ClassIndex;
    const CompoundInfo& baseInfo = gGetCompound(base);
    return baseInfo.ClassIndex <= index && index <= baseInfo.ClassIndex + baseInfo.NumDescendants;
}

std::string gGetEnumValueName(const TypeHandle& enumType, TypedPtr value)
{
    const int32_t index = gFindEnumValue(enumType, static_cast<uint64_t>(gGetEnumValueAsInteger(enumType, value)));
    return index < 0 ? "<invalid enum value>" : gGetEnum(enumType).Values[index].Name;
}

int64_t gGetEnumValueAsInteger(const TypeHandle& enumType, TypedPtr value)
{
    int64_t integer = 0;
    gWithIntegerType(*gGetEnum(enumType).Underlying, [&]<class T>(const T*) {
        T stored;
        std::memcpy(&stored, value.Object, sizeof(T));
        integer = static_cast<int64_t>(stored);
    });
    return integer;
}

int32_t gFindEnumValue(const TypeHandle& enumType, uint64_t value)
{
    const EnumInfo& info = gGetEnum(enumType);
    for (int32_t i = 0; i < info.NumValues; ++i)
    {
        if (info.Values[i].Value == value)
            return i;
    }
    return -1;
}

int32_t gFindEnumName(const TypeHandle& enumType, std::string_view name)
{
    const EnumInfo& info = gGetEnum(enumType);
    for (int32_t i = 0; i < info.NumValues; ++i)
    {
        if (name == info.Values[i].Name)
            return i;
    }
    return -1;
}

bool gSetEnumValueByName(const TypeHandle& enumType, TypedPtr value, std::string_view name)
{
    const int32_t index = gFindEnumName(enumType, name);
    if (index < 0)
        return false;
    gSetEnumValueByIndex(enumType, value, index);
    return true;
}

void gSetEnumValueByIndex(const TypeHandle& enumType, TypedPtr value, int32_t index)
{
    static_assert(std::endian::native == std::endian::little);
    // The storage may be wider than the underlying type; the sign-extended number fills all of it.
    const uint64_t number = gGetEnum(enumType).Values[index].Value;
    std::memcpy(value.Object, &number, static_cast<std::size_t>(enumType.Info->Size));
}

std::string gPrimitiveToString(TypedPtr value)
{
    const TypeHandle& type = *value.Type;
    std::string text;
    if (gIsPrimitive<std::string>(type))
        return *static_cast<const std::string*>(value.Object);
    if (gIsPrimitive<bool>(type))
        return Utility::gFormat("%d", *static_cast<const bool*>(value.Object) ? 1 : 0);
    if (gIsPrimitive<float>(type))
        return Utility::gFormat("%f", static_cast<double>(*static_cast<const float*>(value.Object)));
    if (gIsPrimitive<double>(type))
        return Utility::gFormat("%f", *static_cast<const double*>(value.Object));
    gWithIntegerType(type, [&]<class T>(const T*) { text = std::to_string(*static_cast<const T*>(value.Object)); });
    return text;
}

}
