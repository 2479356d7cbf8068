#include "Utility/Hash.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using namespace Utility;

/// One bit at a time, straight from the definition.
std::uint64_t ComputeCRCByBits(std::string_view text, std::uint64_t value)
{
    for (const char character : text)
    {
        value ^= static_cast<unsigned char>(character);
        for (int bit = 0; bit < 8; ++bit)
        {
            value = (value & 1) != 0 ? (value >> 1) ^ 0x95AC9329AC4BC9B5 : value >> 1;
        }
    }
    return value;
}

TEST(HashTest, PublishedValues)
{
    EXPECT_EQ(gXXH64(""), 0xEF46DB3751D8E999u);
    EXPECT_EQ(gXXH64("abc"), 0x44BC2CF5AD770999u);
    EXPECT_EQ(gXXH64(std::span<const std::byte>()), 0xEF46DB3751D8E999u);
    EXPECT_EQ(gCRC64Jones("123456789"), 0xE9C6D914C4B8D9CAu);
    EXPECT_EQ(gFNV1a64(""), 0xCBF29CE484222325u);
    static_assert(gFNV1a64("foobar") == 0x85944171F73967E8u);
}

TEST(HashTest, PiecesGiveTheValueOfTheWhole)
{
    std::string text;
    for (int i = 0; i < 300; ++i)
    {
        text += static_cast<char>(i * 37);
    }
    const std::string_view view = text;
    for (std::size_t cut = 0; cut <= text.size(); cut += 7)
    {
        const std::string_view head = view.substr(0, cut);
        const std::string_view tail = view.substr(cut);
        EXPECT_EQ(gCRC64Jones(head, 5), ComputeCRCByBits(head, 5));
        EXPECT_EQ(gCRC64Jones(tail, gCRC64Jones(head)), gCRC64Jones(view));
        EXPECT_EQ(gFNV1a64(tail, gFNV1a64(head)), gFNV1a64(std::as_bytes(std::span<const char>(view))));

        XXH64Stream stream;
        stream.Update(std::as_bytes(std::span<const char>(head)));
        EXPECT_EQ(stream.GetDigest(), gXXH64(head));
        XXH64Stream moved = std::move(stream);
        moved.Update(std::as_bytes(std::span<const char>(tail)));
        EXPECT_EQ(moved.GetDigest(), gXXH64(view));
        moved.Reset();
        EXPECT_EQ(moved.GetDigest(), gXXH64(""));
    }
}
}
