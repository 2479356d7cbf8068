#include "Utility/Hash.h"

#include <array>
#include <cstring>

// Gives the streaming state its size; nothing else of that mode is used.
#define XXH_STATIC_LINKING_ONLY
#include <xxhash.h>

namespace Utility
{
namespace
{
constexpr std::uint64_t gPolynomial = 0x95AC9329AC4BC9B5;
using Table = std::array<std::uint64_t, 256>;

/// Row n is the effect of a byte that has n more bytes behind it in the block of eight.
constexpr std::array<Table, 8> MakeTables()
{
    std::array<Table, 8> tables{};
    for (std::uint64_t byte = 0; byte < 256; ++byte)
    {
        std::uint64_t value = byte;
        for (int bit = 0; bit < 8; ++bit)
        {
            value = (value >> 1) ^ ((value & 1) != 0 ? gPolynomial : 0);
        }
        tables[0][byte] = value;
    }
    for (std::size_t row = 1; row < tables.size(); ++row)
    {
        for (std::size_t byte = 0; byte < 256; ++byte)
        {
            const std::uint64_t before = tables[row - 1][byte];
            tables[row][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, 8> gTables = MakeTables();

std::span<const std::byte> AsBytes(std::string_view text)
{
    return std::as_bytes(std::span<const char>(text));
}

std::uint64_t ReadLittleEndian(const std::byte* source)
{
    std::uint64_t value = 0;
    for (unsigned i = 0; i < 8; ++i)
    {
        value |= std::to_integer<std::uint64_t>(source[i]) << (8 * i);
    }
    return value;
}
}

std::uint64_t gXXH64(std::span<const std::byte> bytes)
{
    return XXH64(bytes.data(), bytes.size(), 0);
}

std::uint64_t gXXH64(std::string_view text)
{
    return gXXH64(AsBytes(text));
}

struct XXH64Stream::State
{
    XXH64_state_t mValue;
};

XXH64Stream::XXH64Stream() : mState(std::make_unique<State>())
{
    Reset();
}

XXH64Stream::XXH64Stream(XXH64Stream&&) noexcept = default;
XXH64Stream& XXH64Stream::operator=(XXH64Stream&&) noexcept = default;
XXH64Stream::~XXH64Stream() = default;

void XXH64Stream::Reset()
{
    XXH64_reset(&mState->mValue, 0);
}

void XXH64Stream::Update(std::span<const std::byte> bytes)
{
    if (!bytes.empty())
    {
        XXH64_update(&mState->mValue, bytes.data(), bytes.size());
    }
}

std::uint64_t XXH64Stream::GetDigest() const
{
    return XXH64_digest(&mState->mValue);
}

std::uint64_t gCRC64Jones(std::span<const std::byte> bytes, std::uint64_t seed)
{
    std::uint64_t value = seed;
    while (bytes.size() >= 8)
    {
        value ^= ReadLittleEndian(bytes.data());
        value = gTables[7][value & 0xFF] ^ gTables[6][(value >> 8) & 0xFF] ^ gTables[5][(value >> 16) & 0xFF] ^
                gTables[4][(value >> 24) & 0xFF] ^ gTables[3][(value >> 32) & 0xFF] ^ gTables[2][(value >> 40) & 0xFF] ^
                gTables[1][(value >> 48) & 0xFF] ^ gTables[0][value >> 56];
        bytes = bytes.subspan(8);
    }
    for (const std::byte byte : bytes)
    {
        value = (value >> 8) ^ gTables[0][(value ^ std::to_integer<std::uint64_t>(byte)) & 0xFF];
    }
    return value;
}

std::uint64_t gCRC64Jones(std::string_view text, std::uint64_t seed)
{
    return gCRC64Jones(AsBytes(text), seed);
}
}
