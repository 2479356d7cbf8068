#include "Serialization/Testing/Fixture.h"

#include <span>

#include <gtest/gtest.h>
#include <xxhash.h>

#include "Serialization/BinaryFormat.h"
#include "Serialization/JsonFormat.h"
#include "Serialization/RTTI/Image.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"

namespace Serialization::Testing
{

RTTI::TypeRegistry gMakeSampleRegistry()
{
    RTTI::TypeRegistry registry;
    gRegister<Sample::Circle, Sample::Square, Sample::Context, Sample::Ticket, Sample::Link, Sample::Everything>(
        registry, RTTI::gGetOwnerID());
    registry.Finalize();
    return registry;
}

std::unique_ptr<Sample::Everything> gMakeEverything()
{
    auto made = std::make_unique<Sample::Everything>();
    made->UInt8 = 200;
    made->Int8 = -100;
    made->UInt16 = 60'000;
    made->Int16 = -30'000;
    made->UInt32 = 4'000'000'000;
    made->Int32 = -2'000'000'000;
    made->UInt64 = 18'000'000'000'000'000'000U;
    made->Int64 = -9'000'000'000'000'000'000;
    made->Bool = true;
    made->Float = 0.1F;
    made->Double = 1.0 / 3.0;
    made->Text = "g\xC3\xBCltig \"quoted\"\n";
    made->Color = Sample::EColor::Blue;
    made->Level = Sample::ELevel::Unknown;
    made->Center = {-0.0, 1e300};
    made->Numbers = {1.5, 5e-324, -1.7976931348623157e308, 123456789.123456789};
    made->Texts = {"", "one", std::string(100, 'x')};
    made->Points = {{1, 2}, {3, 4}};
    made->Colors = {Sample::EColor::Green, Sample::EColor::Red};
    auto circle = std::make_unique<Sample::Circle>();
    circle->Label = "circle";
    circle->Radius = 2.5;
    circle->Center = {7, 8};
    made->Shapes.push_back(std::move(circle));
    made->Shapes.push_back(nullptr);
    made->Shapes.push_back(std::make_unique<Sample::Shape>());
    made->Counts = {{"one", 1}, {"max", ~uint64_t{0}}, {"", 0}};
    made->Places = {{-1, {1, 1}}, {5, {2, 2}}};
    for (uint64_t key = 0; key < 3; ++key)
    {
        auto square = std::make_unique<Sample::Square>();
        square->Side = static_cast<double>(key) + 0.5;
        made->Named.emplace(key << 40, std::move(square));
    }
    made->Named.emplace(99, nullptr);
    made->Groups = {{1, {1, 2, 3}}, {2, {}}, {3, {-4}}};
    auto chosen = std::make_unique<Sample::Square>();
    chosen->Label = "chosen";
    chosen->Side = 4;
    made->Chosen = std::move(chosen);
    made->Corner = std::make_unique<Sample::Point>(Sample::Point{9, 10});
    made->Optional = std::make_unique<int32_t>(-77);
    return made;
}

void gExpectEverything(const Sample::Everything& read)
{
    const auto made = gMakeEverything();
    EXPECT_EQ(read.UInt8, made->UInt8);
    EXPECT_EQ(read.Int8, made->Int8);
    EXPECT_EQ(read.UInt16, made->UInt16);
    EXPECT_EQ(read.Int16, made->Int16);
    EXPECT_EQ(read.UInt32, made->UInt32);
    EXPECT_EQ(read.Int32, made->Int32);
    EXPECT_EQ(read.UInt64, made->UInt64);
    EXPECT_EQ(read.Int64, made->Int64);
    EXPECT_EQ(read.Bool, made->Bool);
    EXPECT_EQ(read.Float, made->Float);
    EXPECT_EQ(read.Double, made->Double);
    EXPECT_EQ(read.Text, made->Text);
    EXPECT_EQ(read.Color, made->Color);
    EXPECT_EQ(read.Level, made->Level);
    EXPECT_EQ(read.Center, made->Center);
    EXPECT_EQ(read.Numbers, made->Numbers);
    EXPECT_EQ(read.Texts, made->Texts);
    EXPECT_EQ(read.Points, made->Points);
    EXPECT_EQ(read.Colors, made->Colors);
    EXPECT_EQ(read.Counts, made->Counts);
    EXPECT_EQ(read.Places, made->Places);
    EXPECT_EQ(read.Groups, made->Groups);

    ASSERT_EQ(read.Shapes.size(), 3U);
    const auto* const circle = dynamic_cast<const Sample::Circle*>(read.Shapes[0].get());
    ASSERT_NE(circle, nullptr);
    EXPECT_EQ(circle->Label, "circle");
    EXPECT_EQ(circle->Radius, 2.5);
    EXPECT_EQ(circle->Center, (Sample::Point{7, 8}));
    EXPECT_EQ(read.Shapes[1], nullptr);
    ASSERT_NE(read.Shapes[2], nullptr);
    EXPECT_EQ(&read.Shapes[2]->GetType(), &RTTI::gTypeOf<Sample::Shape>());

    ASSERT_EQ(read.Named.size(), 4U);
    for (uint64_t key = 0; key < 3; ++key)
    {
        const auto* const square = dynamic_cast<const Sample::Square*>(read.Named.at(key << 40).get());
        ASSERT_NE(square, nullptr);
        EXPECT_EQ(square->Side, static_cast<double>(key) + 0.5);
    }
    EXPECT_EQ(read.Named.at(99), nullptr);

    ASSERT_NE(dynamic_cast<const Sample::Square*>(read.Chosen.get()), nullptr);
    EXPECT_EQ(read.Chosen->Label, "chosen");
    ASSERT_NE(read.Corner, nullptr);
    EXPECT_EQ(*read.Corner, *made->Corner);
    ASSERT_NE(read.Optional, nullptr);
    EXPECT_EQ(*read.Optional, -77);
    EXPECT_EQ(read.Nothing, nullptr);
}

Bytes gWrite(const std::vector<RTTI::Object*>& objects)
{
    Utility::OutputMemoryStream stream;
    Utility::Result result;
    EXPECT_TRUE(gWriteBinary(stream, objects, result)) << result.ToString();
    return {stream.GetData().begin(), stream.GetData().end()};
}

std::string ReadOutcome::GetSummary() const
{
    const auto& entries = Result.GetEntries();
    if (IsRead != entries.empty() || entries.size() > 1)
        return "not one entry for a failure: " + Result.ToString();
    return IsRead ? "ok" : std::to_string(entries.front().mCode) + ": " + entries.front().mMessage;
}

ReadOutcome gRead(const Bytes& buffer, const RTTI::TypeRegistry& registry, EUnknownTypePolicy policy,
    const RTTI::ObjectFactory& factory)
{
    ReadOutcome outcome;
    Utility::InputMemoryStream stream{std::span<const std::byte>{buffer}};
    outcome.IsRead = gReadBinary(stream, registry, factory, policy, outcome.Roots, outcome.Result);
    return outcome;
}

ReadOutcome gReadText(const std::string& json, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory)
{
    ReadOutcome outcome;
    outcome.IsRead = gReadJson(json, registry, factory, outcome.Roots, outcome.Result);
    return outcome;
}

Bytes gSealed(Bytes buffer)
{
    const std::size_t size = buffer.size() - sizeof(uint64_t);
    gStore<uint64_t>(buffer, size, XXH64(buffer.data(), size, 0));
    return buffer;
}

uint64_t gLoad64(const Bytes& buffer, std::size_t offset)
{
    uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(value); ++i)
        value |= std::to_integer<uint64_t>(buffer.at(offset + i)) << (8 * i);
    return value;
}

uint64_t gSlowCRC64(const std::byte* bytes, std::size_t size, uint64_t value)
{
    for (std::size_t i = 0; i < size; ++i)
    {
        value ^= std::to_integer<uint64_t>(bytes[i]);
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1) ^ ((value & 1) != 0 ? 0x95AC9329AC4BC9B5U : 0);
    }
    return value;
}

}
