#include "Networking/Frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace Networking
{

namespace
{

struct Message
{
    int mID = 0;
    std::string mPayload;

    bool operator==(const Message&) const = default;
};

std::string Encode(const Message& message, uint32_t reserved = 0)
{
    const uint64_t header =
        gMakeHeader(static_cast<uint8_t>(message.mID), static_cast<uint32_t>(message.mPayload.size())) |
        uint64_t{reserved} << 32;
    return std::string{reinterpret_cast<const char*>(&header), sizeof(header)} + message.mPayload;
}

/// Gives the reader no more than `most` bytes at a time.
std::vector<Message> Read(FrameReader& reader, std::string_view bytes, std::size_t most)
{
    std::vector<Message> messages;
    while (!bytes.empty() && !reader.IsBroken())
    {
        const std::span<std::byte> space = reader.GetSpace();
        const std::size_t count = std::min({most, space.size(), bytes.size()});
        std::memcpy(space.data(), bytes.data(), count);
        reader.Commit(count);
        bytes.remove_prefix(count);
        while (const auto frame = reader.Next())
            messages.push_back(
                {frame->mID, {reinterpret_cast<const char*>(frame->mPayload.data()), frame->mPayload.size()}});
    }
    return messages;
}

TEST(FrameTest, HeaderHasItsLengthInFrontAndItsIdAtTheEnd)
{
    EXPECT_EQ(Encode({7, "ab"}), (std::string{"\x02\0\0\0\0\0\0\x07"
                                              "ab",
                                     10}));
}

TEST(FrameTest, MessagesComeOutWhole)
{
    std::mt19937 random{20261123};
    std::vector<Message> messages = {{0, ""}, {255, std::string(300000, 'x')}, {1, ""}, {9, std::string(65528, 'y')}};
    for (int i = 0; i < 200; ++i)
        messages.push_back({static_cast<int>(random() % 256), std::string(random() % 2000, static_cast<char>(i))});
    std::string bytes;
    for (const Message& message : messages)
        bytes += Encode(message, random() % 0x1000000);
    for (const std::size_t most : {1u, 7u, 8u, 4096u, 1000000u})
    {
        FrameReader reader;
        EXPECT_EQ(Read(reader, bytes, most), messages) << most;
        EXPECT_FALSE(reader.IsBroken());
    }
}

TEST(FrameTest, WhatIsOnlyAnnouncedCostsNothing)
{
    FrameReader reader;
    const uint64_t header = gMakeHeader(1, cMaxPayload);
    Read(reader, {reinterpret_cast<const char*>(&header), sizeof(header)}, 100);
    EXPECT_FALSE(reader.IsBroken());
    EXPECT_LE(reader.GetCapacity(), 64u * 1024);
    reader.GetSpace();
    EXPECT_LE(reader.GetCapacity(), 64u * 1024);
}

TEST(FrameTest, TooLongAMessageBreaksTheStream)
{
    FrameReader reader;
    const uint64_t header = gMakeHeader(1, cMaxPayload + 1);
    const std::string bytes = Encode({3, "before"}) + std::string{reinterpret_cast<const char*>(&header), 8};
    EXPECT_EQ(Read(reader, bytes + Encode({4, "behind"}), 100), (std::vector<Message>{{3, "before"}}));
    EXPECT_TRUE(reader.IsBroken());
    reader.Clear();
    EXPECT_EQ(reader.GetCapacity(), 0u);
    EXPECT_EQ(Read(reader, Encode({5, "again"}), 100), (std::vector<Message>{{5, "again"}}));
}

}

}
