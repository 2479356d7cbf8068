#include "Serialization/Schema.h"

#include <set>

#include <gtest/gtest.h>

#include "Serialization/Testing/Fixture.h"

using namespace Serialization;

namespace Sample
{

enum class ENothing : uint16_t
{};

consteval auto gDescribe(RTTI::EnumTag<ENothing>)
{
    return RTTI::gDescribeEnum<ENothing>("Sample::ENothing");
}

struct Pair
{
    Point First;
    Point Second;
    std::vector<Point> More;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Pair>("Sample::Pair", RTTI::Version{4}, RTTI::Field<&Pair::First>{"First"},
            RTTI::Field<&Pair::Second>{"Second"}, RTTI::Field<&Pair::More>{"More"});
    }
};

}

namespace
{

template <class T>
std::set<std::string> gNames(const Schema::Records<T>& records)
{
    std::set<std::string> names;
    for (const auto& [name, record] : records)
        names.insert(name);
    return names;
}

using Names = std::set<std::string>;

TEST(Schema, EachTypeOnceAndNoEntryForPrimitives)
{
    Schema schema;
    schema.AddType(RTTI::gTypeOf<Sample::Pair>());
    schema.AddType(RTTI::gTypeOf<Sample::Pair>());
    EXPECT_EQ(gNames(schema.Compounds), (Names{"Sample::Pair", "Sample::Point"}));
    EXPECT_EQ(gNames(schema.Arrays), Names{"Array_Sample::Point"});
    EXPECT_TRUE(schema.Enums.empty() && schema.Maps.empty() && schema.Pointers.empty());

    const CompoundSchema& pair = *schema.Compounds.at("Sample::Pair");
    EXPECT_EQ(pair.Version, 4);
    ASSERT_EQ(pair.Properties.size(), 3U);
    EXPECT_EQ(pair.Properties[2].Name, "More");
    EXPECT_EQ(pair.Properties[2].Type.TypeName, "Array_Sample::Point");
    EXPECT_EQ(pair.Properties[2].Type.DataType, 3);
    EXPECT_EQ(schema.Arrays.at("Array_Sample::Point")->EmbeddedType.TypeName, "Sample::Point");
}

TEST(Schema, BasesAreFlattenedAndDeclaredPointeesAdded)
{
    const RTTI::TypeRegistry registry = Testing::gMakeSampleRegistry();
    Schema schema;
    schema.AddType(RTTI::gTypeOf<Sample::Everything>());
    EXPECT_EQ(gNames(schema.Compounds), (Names{"Sample::Everything", "Sample::Shape", "Sample::Point"}))
        << "no entry for the base, nor for a class that only may be behind a pointer";
    EXPECT_EQ(gNames(schema.Maps),
        (Names{"Map_std::string_To_uint64_t", "Map_int32_t_To_Sample::Point",
            "Map_uint64_t_To_std::unique_ptr<Sample::Shape>", "Map_uint32_t_To_std::vector<int32_t>"}));
    EXPECT_EQ(
        gNames(schema.Pointers), (Names{"UniquePtr_Sample::Shape", "UniquePtr_Sample::Point", "UniquePtr_int32_t"}));
    EXPECT_EQ(schema.Compounds.at("Sample::Shape")->FullVersion,
        RTTI::gGetCompound(RTTI::gTypeOf<Sample::Shape>()).FullVersion);

    schema.AddType(RTTI::gTypeOf<Sample::Circle>());
    const CompoundSchema& circle = *schema.Compounds.at("Sample::Circle");
    ASSERT_EQ(circle.Properties.size(), 3U);
    EXPECT_EQ(circle.Properties[0].Name, "Label") << "inherited properties first";
}

TEST(Schema, EnumsKeepAllValuesInOrder)
{
    Schema schema;
    schema.AddType(RTTI::gTypeOf<Sample::ELevel>());
    schema.AddType(RTTI::gTypeOf<Sample::ENothing>());
    const EnumSchema& level = *schema.Enums.at("Sample::ELevel");
    EXPECT_EQ(level.SizeType.TypeName, "int8_t");
    ASSERT_EQ(level.Values.size(), 3U);
    EXPECT_EQ(level.Values[0].Value, ~uint64_t{0}) << "sign-extended";
    EXPECT_EQ(level.FindName(1), "High");
    EXPECT_EQ(level.FindName(7), "");
    EXPECT_TRUE(schema.Enums.at("Sample::ENothing")->Values.empty());
}

}
