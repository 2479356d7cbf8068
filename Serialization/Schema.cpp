#include "Serialization/Schema.h"

#include <utility>

#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"

namespace Serialization
{

namespace
{

/// The record of that name, made when it is new; null when it is known already.
template <class T>
T* gTryAdd(Schema::Records<T>& records, const RTTI::TypeHandle& type)
{
    const auto [position, isNew] = records.try_emplace(std::string{type.GetName()});
    if (!isNew)
        return nullptr;
    position->second = std::make_unique<T>();
    return position->second.get();
}

}

TypeSchema::TypeSchema(const RTTI::TypeHandle& type)
    : DataType{static_cast<uint8_t>(type.GetDataType())},
      TypeName{type.GetName()}
{}

const std::string& EnumSchema::FindName(uint64_t value) const
{
    static const std::string sNone;
    for (const EnumSchemaValue& entry : Values)
    {
        if (entry.Value == value)
            return entry.Name;
    }
    return sNone;
}

void Schema::AddType(const RTTI::TypeHandle& type)
{
    switch (type.GetDataType())
    {
    case RTTI::EDataType::Primitive:
        break;
    case RTTI::EDataType::Compound:
        AddCompound(type);
        break;
    case RTTI::EDataType::Enum:
        AddEnum(type);
        break;
    case RTTI::EDataType::Array:
        if (ArraySchema* const array = gTryAdd(Arrays, type))
        {
            const RTTI::TypeHandle& element = *RTTI::gGetArray(type).Element;
            array->EmbeddedType = TypeSchema{element};
            AddType(element);
        }
        break;
    case RTTI::EDataType::Map:
        if (MapSchema* const map = gTryAdd(Maps, type))
        {
            const RTTI::MapInfo& info = RTTI::gGetMap(type);
            map->KeyType = TypeSchema{*info.Key};
            map->ValueType = TypeSchema{*info.Value};
            AddType(*info.Key);
            AddType(*info.Value);
        }
        break;
    case RTTI::EDataType::Pointer:
        if (PointerSchema* const pointer = gTryAdd(Pointers, type))
        {
            const RTTI::TypeHandle& pointee = *RTTI::gGetPointer(type).Pointee;
            pointer->PointeeType = TypeSchema{pointee};
            AddType(pointee);
        }
        break;
    }
}

void Schema::AddCompound(const RTTI::TypeHandle& type)
{
    CompoundSchema* const compound = gTryAdd(Compounds, type);
    if (compound == nullptr)
        return;
    const RTTI::CompoundInfo& info = RTTI::gGetCompound(type);
    compound->Version = info.Version;
    compound->FullVersion = info.FullVersion;
    for (const RTTI::Property* property : RTTI::gGetAllProperties(type))
    {
        compound->Properties.push_back({.Name = property->Name, .Type = TypeSchema{*property->Type}});
        AddType(*property->Type);
    }
}

void Schema::AddEnum(const RTTI::TypeHandle& type)
{
    EnumSchema* const enumeration = gTryAdd(Enums, type);
    if (enumeration == nullptr)
        return;
    const RTTI::EnumInfo& info = RTTI::gGetEnum(type);
    enumeration->SizeType = TypeSchema{*info.Underlying};
    for (int32_t i = 0; i < info.NumValues; ++i)
        enumeration->Values.push_back({.Name = info.Values[i].Name, .Value = info.Values[i].Value});
}

void gRegisterTypes(RTTI::TypeRegistry& registry)
{
    registry.Register(RTTI::gTypeOf<Schema>());
    registry.Register(RTTI::gTypeOf<CompoundSchema>());
    registry.Register(RTTI::gTypeOf<EnumSchema>());
    registry.Register(RTTI::gTypeOf<ArraySchema>());
    registry.Register(RTTI::gTypeOf<MapSchema>());
    registry.Register(RTTI::gTypeOf<PointerSchema>());
    registry.Register(RTTI::gTypeOf<TypeSchema>());
}

}
