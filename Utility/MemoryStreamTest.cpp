#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <string>

namespace
{
using Utility::InputMemoryStream;
using Utility::OutputMemoryStream;

TEST(MemoryStreamTest, WhatIsWrittenIsReadBack)
{
    OutputMemoryStream output;
    EXPECT_EQ(output.GetBuffer(), nullptr);
    output.Write(std::uint32_t{0xF450C25D});
    output.Write(true);
    output.Write(-1.5);
    output.WriteString("text");
    output.WriteString("");
    output.WriteBytes(nullptr, 0);
    output.WriteBytes("ab", 2);
    EXPECT_EQ(output.GetSize(), 4u + 1 + 8 + 12 + 8 + 2);
    EXPECT_EQ(std::to_integer<int>(output.GetBuffer()[0]), 0x5D) << "low byte first";

    InputMemoryStream input(output.GetData());
    EXPECT_EQ(input.Read<std::uint32_t>(), 0xF450C25D);
    EXPECT_TRUE(input.Read<bool>());
    EXPECT_EQ(input.Read<double>(), -1.5);
    EXPECT_EQ(input.ReadString(), "text");
    EXPECT_EQ(input.ReadString(), "");
    std::array<char, 2> bytes{};
    input.ReadBytes(bytes.data(), bytes.size());
    EXPECT_EQ(bytes[1], 'b');
    EXPECT_EQ(input.GetRemaining(), 0u);
}

TEST(MemoryStreamTest, PatchingBackwardsKeepsTheSize)
{
    OutputMemoryStream output;
    output.Write(std::uint64_t{0});
    output.WriteBytes("body", 4);
    output.SetPosition(0);
    output.Write(std::uint64_t{4});
    EXPECT_EQ(output.GetPosition(), 8u);
    EXPECT_EQ(output.GetSize(), 12u);
    output.SetPosition(10);
    output.WriteBytes("grow", 4);
    EXPECT_EQ(output.GetSize(), 14u);
    InputMemoryStream input(output.GetData());
    EXPECT_EQ(input.Read<std::uint64_t>(), 4u);
    std::string body(6, ' ');
    input.ReadBytes(body.data(), body.size());
    EXPECT_EQ(body, "bogrow");
}

TEST(MemoryStreamTest, GrowthIsByHalfAndAligned)
{
    OutputMemoryStream output;
    output.WriteBytes(std::string(100, 'a').data(), 100);
    EXPECT_EQ(output.GetCapacity(), 100u);
    output.Write('b');
    EXPECT_EQ(output.GetCapacity(), 150u);
    output.Append(1000);
    EXPECT_EQ(output.GetCapacity(), 1101u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(output.GetBuffer()) % OutputMemoryStream::sAlignment, 0u);

    OutputMemoryStream moved = std::move(output);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(moved.GetBuffer()), 101), std::string(100, 'a') + 'b');
    moved.Clear();
    EXPECT_EQ(moved.GetCapacity(), 1101u);
    EXPECT_EQ(moved.GetSize() + moved.GetPosition(), 0u);
    moved.Write('c');
    EXPECT_THROW(moved.Append(std::numeric_limits<std::size_t>::max() - 1), std::bad_alloc);
    EXPECT_EQ(moved.GetSize(), 1u);
}

TEST(MemoryStreamTest, SkippingStopsAtTheLastByte)
{
    const std::array<std::byte, 10> bytes{};
    struct
    {
        std::size_t mStart;
        std::uint64_t mCount;
        std::size_t mEnd;
    } const rows[] = {
        {0, 4, 4}, {3, 6, 9}, {3, 7, 9}, {3, 8, 9}, {0, UINT64_MAX, 9}, {9, 1, 9}, {10, 0, 10}, {10, 5, 10}};
    for (const auto& row : rows)
    {
        InputMemoryStream input(bytes);
        input.SetPosition(row.mStart);
        input.Skip(row.mCount);
        EXPECT_EQ(input.GetPosition(), row.mEnd) << row.mStart << " and " << row.mCount;
    }
    InputMemoryStream empty;
    empty.Skip(1);
    EXPECT_EQ(empty.GetPosition(), 0u);
}

TEST(MemoryStreamTest, CheckedReadsRefuseWhatIsNotThere)
{
    OutputMemoryStream output;
    for (const std::uint64_t length : {std::uint64_t{3}, std::uint64_t{4}, UINT64_MAX})
    {
        output.Clear();
        output.Write(length);
        output.WriteBytes("abc", 3);
        InputMemoryStream input(output.GetData());
        std::string_view text = "untouched";
        EXPECT_EQ(input.TryReadString(text), length == 3);
        EXPECT_EQ(text, length == 3 ? "abc" : "untouched");
        EXPECT_EQ(input.GetPosition(), length == 3 ? 11u : 0u);
    }

    InputMemoryStream input(output.GetData());
    EXPECT_TRUE(input.TrySkip(8));
    std::uint32_t value = 7;
    EXPECT_FALSE(input.TryRead(value));
    EXPECT_EQ(value, 7u);
    EXPECT_FALSE(input.TryReadBytes(&value, 4));
    EXPECT_FALSE(input.TrySkip(UINT64_MAX));
    std::string text;
    EXPECT_FALSE(input.TryReadString(text)) << "not even a length";
    EXPECT_EQ(input.GetPosition(), 8u);
    bool flag = false;
    EXPECT_TRUE(input.TryRead(flag));
    EXPECT_TRUE(flag) << "any byte but 0 is true";
    EXPECT_TRUE(input.TrySkip(2));
    EXPECT_EQ(input.GetRemaining(), 0u);
}
}
