#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/Describe.h"
#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeOf.h"

namespace RTTI
{
class TypeRegistry;
}

/// A picture of the types that one buffer uses, as they were when it was written: names and numbers, no addresses. It
/// travels inside every binary buffer and lets a later build read bytes that carry no names of their own. The classes
/// here are stored types like any other; their property names and orders are file format.
namespace Serialization
{

/// A reference to a type. Anything but a primitive names an entry of the schema.
struct TypeSchema
{
    uint8_t DataType = 0; ///< an `RTTI::EDataType`
    std::string TypeName;

    TypeSchema() = default;
    explicit TypeSchema(const RTTI::TypeHandle& type);

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<TypeSchema>("Serialization::TypeSchema", RTTI::Version{1},
            RTTI::Field<&TypeSchema::DataType>{"DataType"}, RTTI::Field<&TypeSchema::TypeName>{"TypeName"});
    }
};

struct PropertySchema
{
    std::string Name;
    TypeSchema Type;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<PropertySchema>("Serialization::PropertySchema", RTTI::Version{1},
            RTTI::Field<&PropertySchema::Type>{"Type"}, RTTI::Field<&PropertySchema::Name>{"Name"});
    }
};

struct CompoundSchema
{
    int32_t Version = 0;
    uint64_t FullVersion = 0;               ///< what a reader compares
    std::vector<PropertySchema> Properties; ///< inherited ones first, in stored order

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<CompoundSchema>("Serialization::CompoundSchema", RTTI::Version{1},
            RTTI::Field<&CompoundSchema::Properties>{"Properties"}, RTTI::Field<&CompoundSchema::Version>{"Version"},
            RTTI::Field<&CompoundSchema::FullVersion>{"FullVersion"});
    }
};

struct EnumSchemaValue
{
    std::string Name;
    uint64_t Value = 0; ///< signed values are sign-extended

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<EnumSchemaValue>("Serialization::EnumSchemaValue", RTTI::Version{1},
            RTTI::Field<&EnumSchemaValue::Name>{"Name"}, RTTI::Field<&EnumSchemaValue::Value>{"Value"});
    }
};

struct EnumSchema
{
    TypeSchema SizeType; ///< the primitive that a value is stored as
    std::vector<EnumSchemaValue> Values;

    /// The first name of that number; a shared empty string when there is none.
    const std::string& FindName(uint64_t value) const;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<EnumSchema>("Serialization::EnumSchema", RTTI::Version{1},
            RTTI::Field<&EnumSchema::SizeType>{"SizeType"}, RTTI::Field<&EnumSchema::Values>{"Values"});
    }
};

struct PointerSchema
{
    TypeSchema PointeeType; ///< as declared

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<PointerSchema>(
            "Serialization::PointerSchema", RTTI::Version{1}, RTTI::Field<&PointerSchema::PointeeType>{"PointeeType"});
    }
};

struct ArraySchema
{
    TypeSchema EmbeddedType;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ArraySchema>(
            "Serialization::ArraySchema", RTTI::Version{1}, RTTI::Field<&ArraySchema::EmbeddedType>{"EmbeddedType"});
    }
};

struct MapSchema
{
    TypeSchema KeyType;
    TypeSchema ValueType;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<MapSchema>("Serialization::MapSchema", RTTI::Version{1},
            RTTI::Field<&MapSchema::KeyType>{"KeyType"}, RTTI::Field<&MapSchema::ValueType>{"ValueType"});
    }
};

/// Made for one write, or read first from a buffer, and gone with it. Each map goes from a type's name to its record.
class Schema final : public RTTI::Object
{
public:
    template <class T>
    using Records = std::unordered_map<std::string, std::unique_ptr<T>>;

    Records<CompoundSchema> Compounds;
    Records<EnumSchema> Enums;
    Records<PointerSchema> Pointers;
    Records<ArraySchema> Arrays;
    Records<MapSchema> Maps;

    /// Adds a type and all it reaches through properties, elements, keys, values and declared pointees. The bases of a
    /// class are no types of their own here: their properties are listed in the class.
    void AddType(const RTTI::TypeHandle& type);

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Schema>("Serialization::Schema", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&Schema::Compounds>{"Compounds"}, RTTI::Field<&Schema::Enums>{"Enums"},
            RTTI::Field<&Schema::Pointers>{"Pointers"}, RTTI::Field<&Schema::Arrays>{"Arrays"},
            RTTI::Field<&Schema::Maps>{"Maps"});
    }

    // Behind the description, which an optimising compiler and clang need before its use.
    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Schema>(); }

private:
    void AddCompound(const RTTI::TypeHandle& type);
    void AddEnum(const RTTI::TypeHandle& type);
};

/// Registers the schema's own types.
void gRegisterTypes(RTTI::TypeRegistry& registry);

}
