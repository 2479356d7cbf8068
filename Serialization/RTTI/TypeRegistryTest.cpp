#include "Serialization/RTTI/TypeRegistry.h"

#include <cstring>

#include <gtest/gtest.h>
#include <xxhash.h>

#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/Testing/Fixture.h"
#include "Serialization/Testing/SampleTypes.h"

using namespace RTTI;
using Serialization::Testing::gRegister;
using Serialization::Testing::gSlowCRC64;

namespace Sample
{

/// Reaches itself through its own pointers.
struct Tree
{
    std::vector<std::unique_ptr<Tree>> Branches;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Tree>("Sample::Tree", RTTI::Version{1}, RTTI::Field<&Tree::Branches>{"Branches"});
    }
};

}

namespace
{

/// What the versions of a chain of classes hash to, the root class first.
uint64_t gHashVersions(std::initializer_list<int32_t> versions)
{
    uint64_t value = 0;
    for (const int32_t version : versions)
    {
        std::byte bytes[4];
        std::memcpy(bytes, &version, sizeof(bytes));
        value = gSlowCRC64(bytes, sizeof(bytes), value);
    }
    return value;
}

const CompoundInfo& gInfoOf(const TypeHandle& type)
{
    return gGetCompound(type);
}

TEST(TypeRegistry, OwnerIsTheHashOfTheImageName)
{
    EXPECT_EQ(gGetOwnerID(), gSlowCRC64(reinterpret_cast<const std::byte*>("Tests"), 5));
    const auto* const check = reinterpret_cast<const std::byte*>("123456789");
    EXPECT_EQ(gSlowCRC64(check, 9), 0xE9C6D914C4B8D9CAU) << "the check value of this CRC";
}

TEST(TypeRegistry, RegisterReachesAllThatATypeIsMadeOf)
{
    TypeRegistry registry;
    {
        const auto scope = registry.BeginRegistration(gGetOwnerID());
        EXPECT_EQ(registry.GetCurrentOwnerID(), gGetOwnerID());
        registry.Register(gTypeOf<Sample::Everything>());
        registry.Register(gTypeOf<Sample::Tree>());
    }
    EXPECT_EQ(registry.GetCurrentOwnerID(), TypeRegistry::cNoOwner);
    for (const char* name : {"Sample::Everything", "RTTI::Object", "Sample::EColor", "uint8_t", "Array_double",
             "double", "Array_std::unique_ptr<Sample::Shape>", "UniquePtr_Sample::Shape", "Sample::Shape",
             "std::string", "Map_int32_t_To_Sample::Point", "int32_t", "Sample::Point", "UniquePtr_int32_t", "int8_t",
             "Sample::Tree", "UniquePtr_Sample::Tree"})
        EXPECT_NE(registry.FindType(name), nullptr) << name;
    EXPECT_EQ(registry.FindType("Sample::Circle"), nullptr) << "behind a pointer to its base only";
    EXPECT_EQ(registry.FindType("Sample::Poin"), nullptr);
    EXPECT_EQ(registry.FindType("Sample::EColor"), &gTypeOf<Sample::EColor>());
}

TEST(TypeRegistry, TypesOfAnotherImageAreNotFound)
{
    TypeRegistry registry;
    gRegister<Sample::Circle>(registry, gGetOwnerID() + 1);
    gRegister<Sample::Square>(registry, gGetOwnerID());
    registry.Finalize();
    EXPECT_EQ(registry.FindType("Sample::Circle"), nullptr);
    EXPECT_NE(registry.FindType("Sample::Square"), nullptr);
}

TEST(TypeRegistry, FinalizeHashesNameAndSize)
{
    const TypeRegistry registry = Serialization::Testing::gMakeSampleRegistry();
    EXPECT_EQ(gTypeOf<Sample::Point>().Info->TypeHash, XXH64("Sample::Point16", 15, 0));
    EXPECT_EQ(gTypeOf<bool>().Info->TypeHash, XXH64("bool1", 5, 0));
    EXPECT_EQ(gTypeOf<Sample::Point>().Info->OwnerID, gGetOwnerID());
}

TEST(TypeRegistry, FullVersionChainsTheVersionsFromTheRootDown)
{
    const TypeRegistry registry = Serialization::Testing::gMakeSampleRegistry();
    EXPECT_EQ(gInfoOf(gTypeOf<Object>()).FullVersion, gHashVersions({1}));
    EXPECT_EQ(gInfoOf(gTypeOf<Sample::Shape>()).FullVersion, gHashVersions({1, 2}));
    EXPECT_EQ(gInfoOf(gTypeOf<Sample::Circle>()).FullVersion, gHashVersions({1, 2, 3}));
    EXPECT_EQ(gInfoOf(gTypeOf<Sample::Square>()).FullVersion, gHashVersions({1, 2, 1}));
    EXPECT_EQ(gInfoOf(gTypeOf<Sample::Point>()).FullVersion, gHashVersions({1}));
}

// Two images that share classes: each class has one place in the forest, however often it was registered.
TEST(TypeRegistry, NumbersAreInPreOrderWithTwoOwners)
{
    TypeRegistry registry;
    gRegister<Sample::Circle, Sample::Ticket>(registry, 1);
    gRegister<Sample::Circle, Sample::Square, Sample::Point>(registry, gGetOwnerID());
    registry.Finalize();

    const CompoundInfo& object = gInfoOf(gTypeOf<Object>());
    const CompoundInfo& shape = gInfoOf(gTypeOf<Sample::Shape>());
    const CompoundInfo& circle = gInfoOf(gTypeOf<Sample::Circle>());
    const CompoundInfo& square = gInfoOf(gTypeOf<Sample::Square>());
    EXPECT_EQ(shape.NumDescendants, 2);
    EXPECT_EQ(circle.NumDescendants, 0);
    // Ticket, Schema, Shape and the two below it.
    EXPECT_EQ(object.NumDescendants, 5);
    const auto lies = [](const CompoundInfo& inner, const CompoundInfo& outer) {
        return outer.ClassIndex <= inner.ClassIndex && inner.ClassIndex <= outer.ClassIndex + outer.NumDescendants;
    };
    EXPECT_TRUE(lies(circle, shape));
    EXPECT_TRUE(lies(square, shape));
    EXPECT_NE(circle.ClassIndex, square.ClassIndex);
    EXPECT_FALSE(lies(gInfoOf(gTypeOf<Sample::Ticket>()), shape));
    EXPECT_FALSE(lies(gInfoOf(gTypeOf<Sample::Point>()), object));
}

TEST(ObjectFactory, AFunctionGoesBeforeTheDefault)
{
    ObjectFactory factory;
    EXPECT_FALSE(factory.Create(&gTypeOf<Sample::Context>())) << "neither function nor default";
    EXPECT_TRUE(factory.Create(&gTypeOf<Sample::Ticket>()));

    factory.SetFactory<Sample::Context>([] { return std::make_unique<Sample::Context>(5); });
    factory.SetFactory(&gTypeOf<Sample::Ticket>(), [] {
        return UniqueTypedPtr{gTypeOf<Sample::Ticket>(), new Sample::Ticket{9}};
    });
    EXPECT_EQ(static_cast<Sample::Context*>(factory.Create(&gTypeOf<Sample::Context>()).Get())->Origin, 5);
    EXPECT_EQ(static_cast<Sample::Ticket*>(factory.Create(&gTypeOf<Sample::Ticket>()).Get())->Number, 9);
}

}
