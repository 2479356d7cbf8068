#include "Serialization/RTTI/TypeOf.h"

#include <gtest/gtest.h>

#include "Serialization/Schema.h"
#include "Serialization/Testing/SampleTypes.h"

using namespace RTTI;

namespace Sample
{

using Identifier = int32_t;

/// Declared through an alias, which its stored name spells.
using ByIdentifier = std::unordered_map<Identifier, std::unique_ptr<Link>>;

/// Not to be copied, although the vector in it says that it can be.
struct Owner
{
    std::vector<std::unique_ptr<Point>> Points;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Owner>("Sample::Owner", RTTI::Version{1}, RTTI::Field<&Owner::Points>{"Points"});
    }
};

}

template <>
struct RTTI::DeclaredName<Sample::ByIdentifier>
    : RTTI::NameConstant<"Map_Sample::Identifier_To_std::unique_ptr<Sample::Link>">
{};

namespace
{

template <class T>
const TypeHandle* gHandle()
{
    return &gTypeOf<T>();
}

TEST(TypeOf, NamesFollowTheDeclaration)
{
    struct Row
    {
        const TypeHandle* Type;
        const char* Name;
        EDataType Kind;
        std::size_t Size;
    };
    using Serialization::CompoundSchema;
    const Row rows[] = {
        {gHandle<uint8_t>(), "uint8_t", EDataType::Primitive, 1},
        {gHandle<int8_t>(), "int8_t", EDataType::Primitive, 1},
        {gHandle<uint16_t>(), "uint16_t", EDataType::Primitive, 2},
        {gHandle<int16_t>(), "int16_t", EDataType::Primitive, 2},
        {gHandle<uint32_t>(), "uint32_t", EDataType::Primitive, 4},
        {gHandle<int32_t>(), "int32_t", EDataType::Primitive, 4},
        {gHandle<uint64_t>(), "uint64_t", EDataType::Primitive, 8},
        {gHandle<int64_t>(), "int64_t", EDataType::Primitive, 8},
        {gHandle<bool>(), "bool", EDataType::Primitive, 1},
        {gHandle<float>(), "float", EDataType::Primitive, 4},
        {gHandle<double>(), "double", EDataType::Primitive, 8},
        {gHandle<std::string>(), "std::string", EDataType::Primitive, sizeof(std::string)},
        {gHandle<Sample::Point>(), "Sample::Point", EDataType::Compound, 16},
        {gHandle<Sample::ELevel>(), "Sample::ELevel", EDataType::Enum, 4},
        {gHandle<std::vector<double>>(), "Array_double", EDataType::Array, sizeof(std::vector<double>)},
        {gHandle<std::vector<std::string>>(), "Array_std::string", EDataType::Array, 24},
        {gHandle<std::vector<Sample::Point>>(), "Array_Sample::Point", EDataType::Array, 24},
        {gHandle<std::vector<std::unique_ptr<CompoundSchema>>>(),
            "Array_std::unique_ptr<Serialization::CompoundSchema>", EDataType::Array, 24},
        {gHandle<std::unique_ptr<Object>>(), "UniquePtr_RTTI::Object", EDataType::Pointer, 8},
        {gHandle<std::unique_ptr<Serialization::MapSchema>>(), "UniquePtr_Serialization::MapSchema", EDataType::Pointer,
            8},
        {gHandle<std::unordered_map<uint64_t, std::string>>(), "Map_uint64_t_To_std::string", EDataType::Map,
            sizeof(std::unordered_map<int, int>)},
        {gHandle<std::unordered_map<std::string, std::unique_ptr<CompoundSchema>>>(),
            "Map_std::string_To_std::unique_ptr<Serialization::CompoundSchema>", EDataType::Map, 56},
        {gHandle<Sample::ByIdentifier>(), "Map_Sample::Identifier_To_std::unique_ptr<Sample::Link>", EDataType::Map,
            56},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(row.Type->GetName(), row.Name);
        EXPECT_EQ(row.Type->GetDataType(), row.Kind) << row.Name;
        EXPECT_EQ(static_cast<std::size_t>(row.Type->Info->Size), row.Size) << row.Name;
    }
    EXPECT_EQ(gGetMap(gTypeOf<Sample::ByIdentifier>()).Key, gHandle<int32_t>()) << "the key is the primitive itself";
}

TEST(TypeOf, OnlyStringsAreNotPlainData)
{
    EXPECT_FALSE(gGetPrimitive(gTypeOf<std::string>()).IsPlainData);
    for (const TypeHandle* type : {gHandle<bool>(), gHandle<int8_t>(), gHandle<uint64_t>(), gHandle<double>()})
        EXPECT_TRUE(gGetPrimitive(*type).IsPlainData) << type->GetName();
}

TEST(TypeOf, CreateGivesZeroOrEmptyAndIsAbsentWhereNothingCanBeMade)
{
    UniqueTypedPtr value;
    gTypeOf<int32_t>().Info->Create(value);
    EXPECT_EQ(*static_cast<int32_t*>(value.Get()), 0);
    gTypeOf<Sample::EColor>().Info->Create(value);
    EXPECT_EQ(*static_cast<Sample::EColor*>(value.Get()), Sample::EColor::Red);
    gTypeOf<std::unique_ptr<Sample::Shape>>().Info->Create(value);
    EXPECT_EQ(*static_cast<std::unique_ptr<Sample::Shape>*>(value.Get()), nullptr);
    gTypeOf<std::vector<int32_t>>().Info->Create(value);
    EXPECT_TRUE(static_cast<std::vector<int32_t>*>(value.Get())->empty());

    EXPECT_EQ(gTypeOf<Object>().Info->Create, nullptr) << "abstract";
    EXPECT_EQ(gTypeOf<Sample::Context>().Info->Create, nullptr) << "no default constructor";
}

TEST(TypeOf, ArrayOperationsReachTheVector)
{
    const ArrayInfo& info = gGetArray(gTypeOf<std::vector<int32_t>>());
    std::vector<int32_t> values{1, 2, 3};
    EXPECT_EQ(info.Size(&values), 3);
    EXPECT_EQ(info.At(&values, 2), &values[2]);
    EXPECT_EQ(info.Data(&values), values.data());
    info.Resize(&values, 5);
    EXPECT_EQ(values, (std::vector<int32_t>{1, 2, 3, 0, 0}));
}

TEST(TypeOf, MapOperationsReachTheMap)
{
    using Map = std::unordered_map<int32_t, std::string>;
    const MapInfo& info = gGetMap(gTypeOf<Map>());
    Map map;
    info.Reserve(&map, 100);
    EXPECT_GE(map.bucket_count(), 100U);
    const int32_t key = 4;
    const std::string value = "four";
    info.Insert(&map, &key, &value);
    EXPECT_EQ(info.Get(&map, &key), &map.at(4));
    EXPECT_EQ(map.at(4), "four");
    const int32_t other = 5;
    info.Get(&map, &other);
    EXPECT_EQ(info.Size(&map), 2);

    const auto iterator = info.CreateIterator(&map);
    std::size_t numSeen = 0;
    for (; !iterator->IsAtEnd(); ++numSeen)
    {
        const MapIterator::Entry entry = iterator->Next();
        EXPECT_EQ(entry.Key.Type, gHandle<int32_t>());
        EXPECT_EQ(entry.Value.Type, gHandle<std::string>());
        EXPECT_EQ(entry.Value.Object, &map.at(*static_cast<const int32_t*>(entry.Key.Object)));
    }
    EXPECT_EQ(numSeen, 2U);

    using Owners = std::unordered_map<int32_t, Sample::Owner>;
    EXPECT_EQ(gGetMap(gTypeOf<Owners>()).Insert, nullptr) << "the value cannot be copied";
}

TEST(TypeOf, PointersTellTheDynamicTypeOfObjectsOnly)
{
    const PointerInfo& info = gGetPointer(gTypeOf<std::unique_ptr<Sample::Shape>>());
    std::unique_ptr<Sample::Shape> pointer;
    EXPECT_EQ(info.Get(&pointer).Type, nullptr);
    EXPECT_EQ(info.Get(&pointer).Object, nullptr);
    auto* const circle = new Sample::Circle;
    info.Reset(&pointer, circle);
    EXPECT_EQ(info.Get(&pointer).Type, gHandle<Sample::Circle>());
    EXPECT_EQ(info.Get(&pointer).Object, circle);
    std::unique_ptr<Sample::Shape> target = std::make_unique<Sample::Square>();
    info.Move(&target, &pointer);
    EXPECT_EQ(target.get(), circle);
    EXPECT_EQ(pointer, nullptr);

    std::unique_ptr<Sample::Point> point = std::make_unique<Sample::Point>();
    EXPECT_EQ(gGetPointer(gTypeOf<std::unique_ptr<Sample::Point>>()).Get(&point).Type, gHandle<Sample::Point>());
}

TEST(TypeOf, OwnedValuesMoveAndDieOnce)
{
    static int sNumAlive = 0;
    struct Counted
    {
        Counted() { ++sNumAlive; }
        ~Counted() { --sNumAlive; }
    };
    static TypeInfo sInfo{
        .Name = "Counted", .Size = 1, .DataType = EDataType::Compound, .Create = nullptr, .Destroy = [](void* object) {
            delete static_cast<Counted*>(object);
        }};
    static const TypeHandle sType{&sInfo, nullptr};
    {
        UniqueTypedPtr first{sType, new Counted};
        UniqueTypedPtr second{std::move(first)};
        EXPECT_EQ(sNumAlive, 1);
        second = UniqueTypedPtr{sType, new Counted};
        EXPECT_EQ(sNumAlive, 1) << "what was held is destroyed";
        delete static_cast<Counted*>(second.Release());
    }
    EXPECT_EQ(sNumAlive, 0);
}

}
