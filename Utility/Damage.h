#pragma once

#include "Utility/FileSystem.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// Every single damage of a kind in turn, for tests of readers. The visitors hold the expectation; the first that is
/// not met ends the visit.
namespace Damage
{

/// Calls `visit(damaged, bit)` for each bit of `whole`, flipped.
template <class Bytes, class Visitor>
void gVisitFlippedBits(const Bytes& whole, Visitor&& visit)
{
    Bytes damaged = whole;
    for (std::size_t bit = 0; bit < 8 * whole.size() && !testing::Test::HasFailure(); ++bit)
    {
        auto& byte = damaged[bit / 8];
        byte = static_cast<typename Bytes::value_type>(static_cast<unsigned char>(byte) ^ 1U << bit % 8);
        visit(static_cast<const Bytes&>(damaged), bit);
        byte = whole[bit / 8];
    }
}

/// Calls `visit(part, size)` for each beginning of `whole` that is not all of it.
template <class Bytes, class Visitor>
void gVisitTruncations(const Bytes& whole, Visitor&& visit)
{
    for (std::size_t size = 0; size < whole.size() && !testing::Test::HasFailure(); ++size)
        visit(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), size);
}

/// Expects `isRefused()` to be true with each bit of the file flipped, and with the file cut short at each length. In
/// the end the file is whole again, and then it must not be refused.
template <class Reader>
void gExpectEachRefused(const std::string& path, Reader&& isRefused)
{
    std::vector<std::byte> whole;
    ASSERT_TRUE(FileSystem::gReadFileToBuffer(path, whole));
    {
        // In place: replacing a file each time would take most of the time.
        std::fstream file{path, std::ios::binary | std::ios::in | std::ios::out};
        const auto put = [&file](std::size_t offset, std::byte byte) {
            file.seekp(static_cast<std::streamoff>(offset));
            file.put(static_cast<char>(byte));
            ASSERT_TRUE(file.flush().good());
        };
        for (std::size_t bit = 0; bit < 8 * whole.size() && !testing::Test::HasFailure(); ++bit)
        {
            put(bit / 8, whole[bit / 8] ^ std::byte{1} << bit % 8);
            EXPECT_TRUE(isRefused()) << "bit " << bit % 8 << " of byte " << bit / 8;
            put(bit / 8, whole[bit / 8]);
        }
    }
    EXPECT_FALSE(isRefused());
    for (std::size_t size = whole.size(); size-- > 0 && !testing::Test::HasFailure();)
    {
        std::filesystem::resize_file(path, size);
        EXPECT_TRUE(isRefused()) << "cut at " << size << " of " << whole.size() << " bytes";
    }
    std::ofstream{path, std::ios::binary}.write(
        reinterpret_cast<const char*>(whole.data()), static_cast<std::streamsize>(whole.size()));
    EXPECT_FALSE(isRefused());
}

}
