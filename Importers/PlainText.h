#pragma once

#include "Importers/JsonScanner.h"
#include "Importers/TextBlock.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Steps through JSON that stands whole in a window with the padding of a TraceWindow behind it, so that none of them
/// looks for the end. What gives a place takes that where something begins and gives the one behind it, or null.
namespace Importers
{
static_assert(std::endian::native == std::endian::little, "characters are taken from the lowest byte on");

template <typename T>
T gLoad(const char* cursor)
{
    T value;
    std::memcpy(&value, cursor, sizeof(value));
    return value;
}

/// The first characters of a text as a number to compare with.
constexpr std::uint32_t gPack(const char (&text)[5])
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
    {
        value = value << 8 | static_cast<unsigned char>(text[i]);
    }
    return value;
}

inline bool gIsDigit(char character)
{
    return static_cast<unsigned char>(character - '0') < 10;
}

inline const char* gSkipSpace(const char* cursor)
{
    while (
        static_cast<unsigned char>(*cursor) <= ' ' && JsonScanner::sIsWhitespace(static_cast<unsigned char>(*cursor)))
        [[unlikely]]
        {
            ++cursor;
        }
    return cursor;
}

/// Behind a colon and the space around it, or null.
inline const char* gPassColon(const char* cursor)
{
    cursor = gSkipSpace(cursor);
    return *cursor == ':' ? gSkipSpace(cursor + 1) : nullptr;
}

/// The first quote or backslash, which the padding has at the latest.
inline const char* gFindStringEnd(const char* cursor, bool& isNonAscii)
{
    std::uint32_t high = 0;
    while (true)
    {
        const TextBlock block(cursor);
        const std::uint32_t hits = block.Find('"') | block.Find('\\');
        if (hits != 0) [[likely]]
        {
            // Only what stands in front of the first hit.
            high |= block.FindNonAscii() & (hits - 1) & ~hits;
            isNonAscii |= high != 0;
            return cursor + std::countr_zero(hits);
        }
        high |= block.FindNonAscii();
        cursor += TextBlock::sSize;
    }
}

/// How many of eight characters are digits before one is not.
inline unsigned gCountDigits(std::uint64_t text)
{
    constexpr std::uint64_t highHalves = 0xF0F0F0F0F0F0F0F0;
    const std::uint64_t others =
        ((text & highHalves) | (((text + 0x0606060606060606) & highHalves) >> 4)) ^ 0x3333333333333333;
    return static_cast<unsigned>(std::countr_zero(others)) / 8;
}

/// Two digits to a byte, then four to two, then all.
inline std::uint32_t gParseEightDigits(std::uint64_t text)
{
    text -= 0x3030303030303030;
    text = text * 10 + (text >> 8);
    const std::uint64_t low = (text & 0x000000FF000000FF) * (100 + (std::uint64_t{1'000'000} << 32));
    const std::uint64_t high = ((text >> 16) & 0x000000FF000000FF) * (1 + (std::uint64_t{10'000} << 32));
    return static_cast<std::uint32_t>((low + high) >> 32);
}

/// All digits that follow, at least one, as a number without needless zeros. Null when there are more than 18.
inline const char* gParseDigits(const char* cursor, std::uint64_t& value)
{
    constexpr std::ptrdiff_t mostDigits = 18;
    constexpr std::uint64_t zeros = 0x3030303030303030;
    static constexpr std::uint64_t powersOfTen[] = {1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000};

    const char* const start = cursor;
    value = 0;
    std::uint64_t text = gLoad<std::uint64_t>(cursor);
    unsigned count = gCountDigits(text);
    while (count == sizeof(text) && cursor - start < mostDigits)
    {
        value = value * 100'000'000 + gParseEightDigits(text);
        cursor += sizeof(text);
        text = gLoad<std::uint64_t>(cursor);
        count = gCountDigits(text);
    }
    const std::ptrdiff_t total = cursor - start + static_cast<std::ptrdiff_t>(count);
    if (total == 0 || total > mostDigits || (*start == '0' && total > 1)) [[unlikely]]
    {
        return nullptr;
    }
    if (count != 0)
    {
        // The digits as the last of eight, behind zeros.
        const std::uint64_t padded = text << (64 - 8 * count) | zeros >> (8 * count);
        value = value * powersOfTen[count] + gParseEightDigits(padded);
    }
    return cursor + count;
}

inline int gGetHexValue(char character)
{
    const int lower = character | 0x20;
    return gIsDigit(character) ? character - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Four hexadecimal digits, or -1.
inline std::int32_t gParseHex(const char* cursor)
{
    std::int32_t value = 0;
    for (int i = 0; i < 4; ++i)
    {
        const int digit = gGetHexValue(cursor[i]);
        if (digit < 0)
        {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}
}
