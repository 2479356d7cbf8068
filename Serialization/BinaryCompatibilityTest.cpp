#include <gtest/gtest.h>

#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeNames.h"
#include "Serialization/Testing/Fixture.h"
#include "Utility/Format.h"

using namespace Serialization;
using namespace Serialization::Testing;

// Two builds of one program: the classes of the older one belong to another owner, those of the newer one are what the
// reader finds. Both have the same names in their files.

namespace
{

template <class... Ts>
struct Types
{};

/// A class with one property of interest and one behind it. What it holds before it is read is not zero.
template <class V, RTTI::FixedString Property = "Value", int32_t Number = 1>
class Holder final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Holder>("Sample::Holder", RTTI::Version{Number}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&Holder::Value>{Property.Data}, RTTI::Field<&Holder::After>{"After"});
    }

    V Value{};
    int32_t After = -1;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Holder>(); }
};

template <class... Old, class... New>
ReadOutcome gMigrate(
    RTTI::Object& object, Types<Old...>, Types<New...>, EUnknownTypePolicy policy = EUnknownTypePolicy::Fail)
{
    RTTI::TypeRegistry registry;
    gRegister<Old...>(registry, RTTI::gGetOwnerID() + 1);
    gRegister<New...>(registry, RTTI::gGetOwnerID());
    registry.Finalize();
    return gRead(gWrite({&object}), registry, policy);
}

/// Writes a holder of a `V` and reads it as `New`.
template <class New, class V>
ReadOutcome gMigrateHolder(V value)
{
    Holder<V> old;
    old.Value = std::move(value);
    old.After = 7;
    return gMigrate(old, Types<Holder<V>>{}, Types<New>{});
}

uint32_t gHashVersions(std::initializer_list<int32_t> versions)
{
    uint64_t hash = 0;
    for (const int32_t version : versions)
        hash = gSlowCRC64(reinterpret_cast<const std::byte*>(&version), sizeof(version), hash);
    return static_cast<uint32_t>(hash);
}

/// A property of that value that has gone leaves the next one readable, and a new one as it was constructed.
template <class V>
void gExpectSkipped(V value)
{
    using Old = Holder<V, "Gone">;
    using New = Holder<int32_t, "Value">;
    Old old;
    old.Value = std::move(value);
    old.After = 7;
    const ReadOutcome outcome = gMigrate(old, Types<Old, Sample::Circle>{}, Types<New>{});
    ASSERT_EQ(outcome.GetSummary(), "ok") << RTTI::gTypeOf<V>().GetName();
    const auto& read = static_cast<const New&>(*outcome.Roots.at(0));
    EXPECT_EQ(read.After, 7) << RTTI::gTypeOf<V>().GetName();
    EXPECT_EQ(read.Value, 0);
}

TEST(BinaryCompatibility, PropertiesOfAllKindsMayGo)
{
    gExpectSkipped<bool>(true);
    gExpectSkipped<uint16_t>(3);
    gExpectSkipped<double>(1.5);
    gExpectSkipped<std::string>("text that goes");
    gExpectSkipped<Sample::EColor>(Sample::EColor::Blue);
    gExpectSkipped<Sample::ELevel>(Sample::ELevel::High);
    gExpectSkipped<Sample::Point>({1, 2});
    gExpectSkipped<std::vector<int32_t>>({1, 2, 3});
    gExpectSkipped<std::vector<std::string>>({"a", "b"});
    gExpectSkipped<std::unordered_map<std::string, uint64_t>>({{"a", 1}});
    gExpectSkipped<std::unique_ptr<Sample::Shape>>(nullptr);
    gExpectSkipped<std::unique_ptr<Sample::Shape>>(std::make_unique<Sample::Circle>());
    gExpectSkipped<std::unique_ptr<int32_t>>(std::make_unique<int32_t>(1));
    gExpectSkipped<std::unique_ptr<std::string>>(std::make_unique<std::string>("pointed at"));
    gExpectSkipped<std::unique_ptr<std::vector<double>>>(std::make_unique<std::vector<double>>(3));
}

namespace Old
{

class Base : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Base>(
            "Sample::Base", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Base::Moved>{"Moved"});
    }

    int32_t Moved = 1;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Base>(); }
};

class Item final : public Base
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Item>("Sample::Item", RTTI::Version{1}, RTTI::Base<Base>{},
            RTTI::Field<&Item::First>{"First"}, RTTI::Field<&Item::Lost>{"Lost"}, RTTI::Field<&Item::Text>{"Text"},
            RTTI::Field<&Item::Last>{"Last"});
    }

    int32_t First = 2;
    double Lost = 3;
    std::string Text = "text";
    int64_t Last = 4;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Item>(); }
};

}

namespace New
{

class Base : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Base>(
            "Sample::Base", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Base::Last>{"Last"});
    }

    int64_t Last = -1;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Base>(); }
};

class Item final : public Base
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Item>("Sample::Item", RTTI::Version{1}, RTTI::Base<Base>{},
            RTTI::Field<&Item::Text>{"Text"}, RTTI::Field<&Item::Added>{"Added"}, RTTI::Field<&Item::First>{"First"},
            RTTI::Field<&Item::Moved>{"Moved"});
    }

    int32_t First = -1;
    int32_t Moved = -1;
    std::string Added = "constructed";
    std::string Text;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Item>(); }
};

}

TEST(BinaryCompatibility, PropertiesMayComeGoMoveAndChangePlaces)
{
    Old::Item old;
    const ReadOutcome outcome = gMigrate(old, Types<Old::Item>{}, Types<New::Item>{});
    ASSERT_EQ(outcome.GetSummary(), "ok");
    const auto& read = static_cast<const New::Item&>(*outcome.Roots.at(0));
    EXPECT_EQ(read.Moved, 1);
    EXPECT_EQ(read.First, 2);
    EXPECT_EQ(read.Text, "text");
    EXPECT_EQ(read.Last, 4);
    EXPECT_EQ(read.Added, "constructed");
}

enum class EOld : uint16_t
{
    Pan = 0,
    Zoom = 7,
    Measure = 9
};

consteval auto gDescribe(RTTI::EnumTag<EOld>)
{
    return RTTI::gDescribeEnum<EOld>(
        "Sample::EAction", {{"Pan", EOld::Pan}, {"Zoom", EOld::Zoom}, {"Measure", EOld::Measure}});
}

/// Renumbered, in another width, without "Measure" and with one more.
enum class ENew : int32_t
{
    Zoom = -3,
    Select = 0,
    Pan = 70'000
};

consteval auto gDescribe(RTTI::EnumTag<ENew>)
{
    return RTTI::gDescribeEnum<ENew>(
        "Sample::EAction", {{"Zoom", ENew::Zoom}, {"Select", ENew::Select}, {"Pan", ENew::Pan}});
}

TEST(BinaryCompatibility, EnumValuesMoveByTheirNames)
{
    using NewHolder = Holder<std::vector<ENew>>;
    ReadOutcome outcome = gMigrateHolder<NewHolder>(std::vector<EOld>{EOld::Zoom, EOld::Pan});
    ASSERT_EQ(outcome.GetSummary(), "ok");
    EXPECT_EQ(static_cast<const NewHolder&>(*outcome.Roots.at(0)).Value, (std::vector{ENew::Zoom, ENew::Pan}));
    EXPECT_EQ(gMigrateHolder<Holder<ENew>>(EOld::Measure).GetSummary(),
        "4: Compatibility issue: enum Sample::EAction does not contain the value Measure anymore.");
    EXPECT_EQ(gMigrateHolder<Holder<ENew>>(static_cast<EOld>(5)).GetSummary(),
        "4: Compatibility issue: enum Sample::EAction does not contain the value  anymore.")
        << "a number without a name";
}

/// Was an enumeration, and is a class.
struct Action
{
    static consteval auto sDescribe() { return RTTI::gDescribe<Action>("Sample::EAction", RTTI::Version{1}); }
    bool operator==(const Action&) const = default;
};

template <class T>
using ByNumber = std::unordered_map<int32_t, T>;

// The names of these types stay, and what they name changes its kind.
TEST(BinaryCompatibility, TypesMayNotChange)
{
    const std::string mismatch = "4: Compatibility issue: Type mismatch: object used to be of type Sample::EAction and "
                                 "datatype 2, but is now of type Sample::EAction and datatype 0";
    EXPECT_EQ(gMigrateHolder<Holder<int64_t>>(int32_t{1}).GetSummary(),
        "4: Compatibility issue: Property Value has switched from type int32_t to type int64_t. This is not "
        "supported.");
    EXPECT_EQ(gMigrateHolder<Holder<std::vector<float>>>(std::vector<double>{}).GetSummary(),
        "4: Compatibility issue: Property Value has switched from type Array_double to type Array_float. This is not "
        "supported.");
    EXPECT_EQ(gMigrateHolder<Holder<Action>>(EOld::Pan).GetSummary(), mismatch);
    EXPECT_EQ(gMigrateHolder<Holder<std::vector<Action>>>(std::vector<EOld>{}).GetSummary(), mismatch)
        << "also for an empty array";
    EXPECT_EQ(gMigrateHolder<Holder<ByNumber<Action>>>(ByNumber<EOld>{}).GetSummary(), mismatch);
    EXPECT_EQ(gMigrateHolder<Holder<std::unique_ptr<Action>>>(std::unique_ptr<EOld>{}).GetSummary(), mismatch);
}

struct Inner2
{
    int32_t Number = 0;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Inner2>("Sample::Inner", RTTI::Version{2}, RTTI::Field<&Inner2::Number>{"Number"});
    }
};

struct Inner1
{
    int32_t Number = 0;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Inner1>("Sample::Inner", RTTI::Version{1}, RTTI::Field<&Inner1::Number>{"Number"});
    }
};

TEST(BinaryCompatibility, ANewVersionIsRefusedWhereThereIsDataOfIt)
{
    using OldHolder = Holder<int32_t>;
    using NewHolder = Holder<int32_t, "Value", 2>;
    OldHolder old;
    EXPECT_EQ(gMigrate(old, Types<OldHolder>{}, Types<NewHolder>{}).GetSummary(),
        Utility::gFormat("4: Compatibility issue: Version number of object of type Sample::Holder has changed from %X "
                         "to %X",
            gHashVersions({1, 1}), gHashVersions({1, 2})));

    const std::string inner = Utility::gFormat(
        "4: Compatibility issue: Version number of object of type Sample::Inner has changed from %X to %X",
        gHashVersions({1}), gHashVersions({2}));
    EXPECT_EQ(gMigrateHolder<Holder<Inner2>>(Inner1{}).GetSummary(), inner);
    EXPECT_EQ(gMigrateHolder<Holder<std::vector<Inner2>>>(std::vector<Inner1>(1)).GetSummary(), inner);
    EXPECT_EQ(gMigrateHolder<Holder<std::vector<Inner2>>>(std::vector<Inner1>{}).GetSummary(), "ok")
        << "there is none in an empty array";
    using OldPointer = Holder<std::unique_ptr<Inner1>, "Gone">;
    OldPointer pointer;
    pointer.Value = std::make_unique<Inner1>();
    EXPECT_EQ(gMigrate(pointer, Types<OldPointer>{}, Types<Holder<int32_t>, Inner2>{}).GetSummary(), "ok")
        << "what is passed over is not looked at";
}

namespace Old
{

class Leaf final : public Base
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Leaf>("Sample::Leaf", RTTI::Version{1}, RTTI::Base<Base>{});
    }

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Leaf>(); }
};

}

namespace New
{

/// Has the same chain of versions as before, over another base.
class Other : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Other>("Sample::Other", RTTI::Version{1}, RTTI::Base<RTTI::Object>{});
    }

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Other>(); }
};

class Leaf final : public Other
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Leaf>("Sample::Leaf", RTTI::Version{1}, RTTI::Base<Other>{});
    }

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Leaf>(); }
};

/// No `RTTI::Object` above it any more, and the same chain of versions as an item.
struct Root
{
    static consteval auto sDescribe() { return RTTI::gDescribe<Root>("Sample::Root", RTTI::Version{1}); }
};

struct Trunk : Root
{
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Trunk>("Sample::Trunk", RTTI::Version{1}, RTTI::Base<Root>{});
    }
};

struct PlainItem : Trunk
{
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<PlainItem>("Sample::Item", RTTI::Version{1}, RTTI::Base<Trunk>{});
    }
};

enum class EItem : uint8_t
{};

consteval auto gDescribe(RTTI::EnumTag<EItem>)
{
    return RTTI::gDescribeEnum<EItem>("Sample::Item");
}

}

TEST(BinaryCompatibility, PointeesHaveToFitThePointer)
{
    using OldHolder = Holder<std::unique_ptr<Old::Base>>;
    using NewHolder = Holder<std::unique_ptr<New::Base>>;
    OldHolder old;
    old.After = 7;
    old.Value = std::make_unique<Old::Leaf>();
    using OldTypes = Types<OldHolder, Old::Leaf>;
    EXPECT_EQ(gMigrate(old, OldTypes{}, Types<NewHolder, New::Leaf>{}).GetSummary(),
        "4: Compatibility issue: object of type Sample::Leaf used to be derived from Sample::Base but isn't anymore");
    EXPECT_EQ(gMigrate(old, OldTypes{}, Types<NewHolder>{}).GetSummary(),
        "4: The type Sample::Leaf was not registered into the system");

    const ReadOutcome outcome = gMigrate(old, OldTypes{}, Types<NewHolder>{}, EUnknownTypePolicy::Skip);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    EXPECT_EQ(static_cast<const NewHolder&>(*outcome.Roots.at(0)).Value, nullptr);
    EXPECT_EQ(static_cast<const NewHolder&>(*outcome.Roots.at(0)).After, 7);
}

TEST(BinaryCompatibility, RootsHaveToBeObjects)
{
    Old::Item old;
    EXPECT_EQ(gMigrate(old, Types<Old::Item>{}, Types<New::PlainItem>{}).GetSummary(),
        "5: Root objects must be of type RTTI::Object");
    EXPECT_EQ(gMigrate(old, Types<Old::Item>{}, Types<New::EItem>{}).GetSummary(),
        "4: Compatibility issue: Object Sample::Item used to be a compound, but is now of type Sample::Item");
}

TEST(BinaryCompatibility, UnknownRootsArePassedOverOrRefused)
{
    Old::Item old;
    Sample::Ticket ticket{3};
    RTTI::TypeRegistry registry;
    gRegister<Old::Item, Sample::Ticket>(registry, RTTI::gGetOwnerID() + 1);
    gRegister<Sample::Ticket>(registry, RTTI::gGetOwnerID());
    registry.Finalize();
    const Bytes buffer = gWrite({&ticket, &old, &ticket});
    const ReadOutcome skipped = gRead(buffer, registry, EUnknownTypePolicy::Skip);
    EXPECT_EQ(skipped.GetSummary(), "ok");
    EXPECT_EQ(skipped.Roots.size(), 2U);
    const ReadOutcome failed = gRead(buffer, registry, EUnknownTypePolicy::Fail);
    EXPECT_EQ(failed.GetSummary(), "4: The type Sample::Item was not registered into the system");
    EXPECT_EQ(failed.Roots.size(), 1U) << "what came before the fault stays";
}

}
