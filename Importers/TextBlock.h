#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Importers
{
/// Sixteen characters that are looked at together. The results have one bit for each, the first character's lowest.
/// This is the one header that asks for the processor: all x86-64 processors have these instructions, and the other
/// form needs none.
class TextBlock
{
public:
    static constexpr std::size_t sSize = 16;

#if defined(__SSE2__)
    explicit TextBlock(const char* text) : mBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text))) {}

    std::uint32_t Find(char character) const
    {
        return ToBits(_mm_cmpeq_epi8(mBytes, _mm_set1_epi8(character)));
    }
    std::uint32_t FindNonAscii() const
    {
        return ToBits(mBytes);
    }

private:
    static std::uint32_t ToBits(__m128i bytes)
    {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
    }

    __m128i mBytes;
#else
    explicit TextBlock(const char* text)
    {
        std::memcpy(mBytes, text, sizeof(mBytes));
    }

    std::uint32_t Find(char character) const
    {
        const std::uint64_t pattern = sEachByte * static_cast<unsigned char>(character);
        return ToBits(MarkZeros(mBytes[0] ^ pattern), MarkZeros(mBytes[1] ^ pattern));
    }
    std::uint32_t FindNonAscii() const
    {
        return ToBits(mBytes[0] & sHighBits, mBytes[1] & sHighBits);
    }

private:
    static constexpr std::uint64_t sEachByte = 0x0101010101010101;
    static constexpr std::uint64_t sHighBits = 0x8080808080808080;

    /// The highest bit of each byte that is 0.
    static std::uint64_t MarkZeros(std::uint64_t bytes)
    {
        return ~(((bytes & ~sHighBits) + ~sHighBits) | bytes) & sHighBits;
    }
    /// The product brings the eight bits together in its highest byte.
    static std::uint32_t ToBits(std::uint64_t low, std::uint64_t high)
    {
        constexpr std::uint64_t gather = 0x0002040810204081;
        return static_cast<std::uint32_t>((low * gather) >> 56) | static_cast<std::uint32_t>((high * gather) >> 56)
                                                                      << 8;
    }

    std::uint64_t mBytes[2];
#endif
};
}
