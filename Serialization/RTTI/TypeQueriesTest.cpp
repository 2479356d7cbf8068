#include "Serialization/RTTI/TypeQueries.h"

#include <limits>

#include <gtest/gtest.h>

#include "Serialization/Testing/Fixture.h"
#include "Serialization/Testing/SampleTypes.h"

using namespace RTTI;

namespace
{

template <class T>
TypedPtr gRefer(T& value)
{
    return {&gTypeOf<T>(), &value};
}

TEST(TypeQueries, PropertiesComeBasesFirstInDeclaredOrder)
{
    std::vector<std::string> names;
    for (const Property* property : gGetAllProperties(gTypeOf<Sample::Circle>()))
        names.emplace_back(property->Name);
    EXPECT_EQ(names, (std::vector<std::string>{"Label", "Radius", "Center"}));

    const TypeHandle& circle = gTypeOf<Sample::Circle>();
    EXPECT_EQ(gGetNumProperties(circle), 2);
    EXPECT_STREQ(gGetProperty(circle, 1).Name, "Center");
    EXPECT_EQ(&gGetBase(circle, 0), &gTypeOf<Sample::Shape>());
    EXPECT_EQ(gFindProperty(circle, "Label"), nullptr) << "own properties only";
    EXPECT_EQ(gFindProperty(circle, "radius"), nullptr) << "exact text";
    const Property* const radius = gFindProperty(circle, "Radius");
    ASSERT_NE(radius, nullptr);
    Sample::Circle object;
    EXPECT_EQ(radius->GetAddress(&object), &object.Radius);
}

TEST(TypeQueries, DerivationIsTrueUpwardsOnly)
{
    const TypeRegistry registry = Serialization::Testing::gMakeSampleRegistry();
    const TypeHandle& object = gTypeOf<Object>();
    const TypeHandle& shape = gTypeOf<Sample::Shape>();
    const TypeHandle& circle = gTypeOf<Sample::Circle>();
    const TypeHandle& square = gTypeOf<Sample::Square>();
    EXPECT_TRUE(gIsDerivedFrom(circle, circle));
    EXPECT_TRUE(gIsDerivedFrom(circle, shape));
    EXPECT_TRUE(gIsDerivedFrom(square, object));
    EXPECT_FALSE(gIsDerivedFrom(shape, circle));
    EXPECT_FALSE(gIsDerivedFrom(square, circle));
    EXPECT_FALSE(gIsDerivedFrom(gTypeOf<Sample::Point>(), object));
    EXPECT_TRUE(gIsDerivedFrom(gTypeOf<int32_t>(), gTypeOf<int32_t>()));
    EXPECT_FALSE(gIsDerivedFrom(gTypeOf<int32_t>(), gTypeOf<uint32_t>()));
    EXPECT_FALSE(gIsDerivedFrom(gTypeOf<int32_t>(), object));
    EXPECT_TRUE(gIsA<Sample::Shape>(Sample::Circle{}));
    EXPECT_FALSE(gIsA<Sample::Circle>(Sample::Square{}));
}

TEST(TypeQueries, EnumValuesAndNames)
{
    const TypeHandle& colors = gTypeOf<Sample::EColor>();
    auto color = Sample::EColor::Green;
    EXPECT_EQ(gGetEnumValueName(colors, gRefer(color)), "Green");
    EXPECT_EQ(gFindEnumValue(colors, 2), 2);
    EXPECT_EQ(gFindEnumValue(colors, 9), -1);
    EXPECT_EQ(gFindEnumName(colors, "Blue"), 2);
    EXPECT_EQ(gFindEnumName(colors, "blue"), -1);

    color = static_cast<Sample::EColor>(200);
    EXPECT_EQ(gGetEnumValueName(colors, gRefer(color)), "<invalid enum value>");
    EXPECT_EQ(gGetEnumValueAsInteger(colors, gRefer(color)), 200);
    EXPECT_FALSE(gSetEnumValueByName(colors, gRefer(color), "Pink"));
    EXPECT_EQ(static_cast<int>(color), 200) << "nothing is stored for an unknown name";
    EXPECT_TRUE(gSetEnumValueByName(colors, gRefer(color), "Red"));
    EXPECT_EQ(color, Sample::EColor::Red);
}

// One signed byte counts, of the four in memory.
TEST(TypeQueries, EnumThatIsWiderInMemoryKeepsItsSign)
{
    const TypeHandle& levels = gTypeOf<Sample::ELevel>();
    auto level = Sample::ELevel::Unknown;
    EXPECT_EQ(gGetEnumValueName(levels, gRefer(level)), "Unknown");
    EXPECT_EQ(gGetEnumValueAsInteger(levels, gRefer(level)), -1);
    EXPECT_EQ(gFindEnumValue(levels, ~uint64_t{0}), 0);
    level = Sample::ELevel::High;
    ASSERT_TRUE(gSetEnumValueByName(levels, gRefer(level), "Unknown"));
    EXPECT_EQ(level, Sample::ELevel::Unknown);
    ASSERT_TRUE(gSetEnumValueByName(levels, gRefer(level), "Low"));
    EXPECT_EQ(level, Sample::ELevel::Low);
}

TEST(TypeQueries, PrimitivesAsText)
{
    uint8_t byte = 255;
    int8_t signedByte = -1;
    uint32_t word = 4'294'967'295;
    int64_t least = std::numeric_limits<int64_t>::min();
    uint64_t most = ~uint64_t{0};
    bool yes = true;
    float half = 0.5F;
    double third = 1.0 / 3.0;
    std::string text = "as it is";
    Sample::Point point;
    EXPECT_EQ(gPrimitiveToString(gRefer(byte)), "255");
    EXPECT_EQ(gPrimitiveToString(gRefer(signedByte)), "-1");
    EXPECT_EQ(gPrimitiveToString(gRefer(word)), "4294967295");
    EXPECT_EQ(gPrimitiveToString(gRefer(least)), "-9223372036854775808");
    EXPECT_EQ(gPrimitiveToString(gRefer(most)), "18446744073709551615");
    EXPECT_EQ(gPrimitiveToString(gRefer(yes)), "1");
    EXPECT_EQ(gPrimitiveToString(gRefer(half)), "0.500000");
    EXPECT_EQ(gPrimitiveToString(gRefer(third)), "0.333333");
    EXPECT_EQ(gPrimitiveToString(gRefer(text)), "as it is");
    EXPECT_EQ(gPrimitiveToString(gRefer(point)), "");
}

}
