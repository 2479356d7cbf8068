#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/Describe.h"
#include "Serialization/RTTI/TypeOf.h"

/// Types that use everything a stored type can. Tests only.
namespace Sample
{

enum class EColor : uint8_t
{
    Red,
    Green,
    Blue
};

consteval auto gDescribe(RTTI::EnumTag<EColor>)
{
    return RTTI::gDescribeEnum<EColor>(
        "Sample::EColor", {{"Red", EColor::Red}, {"Green", EColor::Green}, {"Blue", EColor::Blue}});
}

/// Four bytes in memory, one in a file.
enum class ELevel : int32_t
{
    Unknown = -1,
    Low = 0,
    High = 1
};

consteval auto gDescribe(RTTI::EnumTag<ELevel>)
{
    return RTTI::gDescribeEnum<ELevel, int8_t>(
        "Sample::ELevel", {{"Unknown", ELevel::Unknown}, {"Low", ELevel::Low}, {"High", ELevel::High}});
}

struct Point
{
    double X = 0.0;
    double Y = 0.0;

    bool operator==(const Point&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Point>(
            "Sample::Point", RTTI::Version{1}, RTTI::Field<&Point::X>{"X"}, RTTI::Field<&Point::Y>{"Y"});
    }
};

class Shape : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Shape>(
            "Sample::Shape", RTTI::Version{2}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Shape::Label>{"Label"});
    }

public:
    std::string Label;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Shape>(); }
};

class Circle final : public Shape
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Circle>("Sample::Circle", RTTI::Version{3}, RTTI::Base<Shape>{},
            RTTI::Field<&Circle::Radius>{"Radius"}, RTTI::Field<&Circle::Center>{"Center"});
    }

public:
    Point Center;
    double Radius = 0.0;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Circle>(); }
};

class Square final : public Shape
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Square>(
            "Sample::Square", RTTI::Version{1}, RTTI::Base<Shape>{}, RTTI::Field<&Square::Side>{"Side"});
    }

public:
    double Side = 0.0;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Square>(); }
};

/// A class that only a factory can make.
class Context final : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Context>(
            "Sample::Context", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Context::Value>{"Value"});
    }

public:
    explicit Context(int32_t origin) : Origin{origin} {}

    const int32_t Origin;
    int32_t Value = 0;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Context>(); }
};

/// The smallest of roots.
class Ticket final : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Ticket>(
            "Sample::Ticket", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Ticket::Number>{"Number"});
    }

public:
    Ticket() = default;
    explicit Ticket(int32_t number) : Number{number} {}

    int32_t Number = 0;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Ticket>(); }
};

/// Can hold one of its own behind a pointer to the base.
class Link final : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Link>(
            "Sample::Link", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Link::Next>{"Next"});
    }

public:
    std::unique_ptr<RTTI::Object> Next;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Link>(); }
};

/// A property of every kind, and the members in another order than the properties.
class Everything final : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        using RTTI::Field;
        return RTTI::gDescribe<Everything>("Sample::Everything", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            Field<&Everything::UInt8>{"UInt8"}, Field<&Everything::Int8>{"Int8"}, Field<&Everything::UInt16>{"UInt16"},
            Field<&Everything::Int16>{"Int16"}, Field<&Everything::UInt32>{"UInt32"},
            Field<&Everything::Int32>{"Int32"}, Field<&Everything::UInt64>{"UInt64"},
            Field<&Everything::Int64>{"Int64"}, Field<&Everything::Bool>{"Bool"}, Field<&Everything::Float>{"Float"},
            Field<&Everything::Double>{"Double"}, Field<&Everything::Text>{"Text"}, Field<&Everything::Color>{"Color"},
            Field<&Everything::Level>{"Level"}, Field<&Everything::Center>{"Center"},
            Field<&Everything::Numbers>{"Numbers"}, Field<&Everything::Texts>{"Texts"},
            Field<&Everything::Points>{"Points"}, Field<&Everything::Colors>{"Colors"},
            Field<&Everything::Shapes>{"Shapes"}, Field<&Everything::Counts>{"Counts"},
            Field<&Everything::Places>{"Places"}, Field<&Everything::Named>{"Named"},
            Field<&Everything::Groups>{"Groups"}, Field<&Everything::Chosen>{"Chosen"},
            Field<&Everything::Corner>{"Corner"}, Field<&Everything::Optional>{"Optional"},
            Field<&Everything::Nothing>{"Nothing"});
    }

public:
    std::unique_ptr<Shape> Chosen;
    std::string Text;
    double Double = 0.0;
    uint64_t UInt64 = 0;
    int64_t Int64 = 0;
    uint32_t UInt32 = 0;
    int32_t Int32 = 0;
    float Float = 0.0F;
    uint16_t UInt16 = 0;
    int16_t Int16 = 0;
    uint8_t UInt8 = 0;
    int8_t Int8 = 0;
    bool Bool = false;
    EColor Color = EColor::Red;
    ELevel Level = ELevel::Low;
    Point Center;
    std::vector<double> Numbers;
    std::vector<std::string> Texts;
    std::vector<Point> Points;
    std::vector<EColor> Colors;
    std::vector<std::unique_ptr<Shape>> Shapes;
    std::unordered_map<std::string, uint64_t> Counts;
    std::unordered_map<int32_t, Point> Places;
    std::unordered_map<uint64_t, std::unique_ptr<Shape>> Named;
    std::unordered_map<uint32_t, std::vector<int32_t>> Groups;
    std::unique_ptr<Point> Corner;
    std::unique_ptr<int32_t> Optional;
    std::unique_ptr<Point> Nothing;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Everything>(); }
};

}
