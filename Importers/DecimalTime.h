#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

/// The time stamps of a trace are decimal texts in microseconds. They are converted digit by digit, since a double has
/// too few of them for a clock that counts from 1970.
namespace Importers
{
/// A time as the trace has it, to the digit: mNanoseconds + mFraction * 1e-9. The fraction is never negative, also
/// below zero. Digits beyond 1e-18 seconds are cut off, downwards.
struct DecimalTime
{
    std::int64_t mNanoseconds = 0;
    std::uint32_t mFraction = 0;

    static constexpr std::uint32_t sFractionsPerNanosecond = 1'000'000'000;

    auto operator<=>(const DecimalTime&) const = default;

    /// The nearest nanosecond, upwards from the middle. This keeps order: of two times the later is never rounded to
    /// below the earlier, so that an interval which encloses another still does. Nothing when it is too large.
    std::optional<std::int64_t> Round() const
    {
        if (mFraction < sFractionsPerNanosecond / 2) [[likely]]
        {
            return mNanoseconds;
        }
        return mNanoseconds != std::numeric_limits<std::int64_t>::max() ? std::optional(mNanoseconds + 1)
                                                                        : std::nullopt;
    }
};

/// Nothing when the sum is out of range.
inline std::optional<DecimalTime> gAdd(const DecimalTime& a, const DecimalTime& b)
{
    DecimalTime sum;
    sum.mFraction = a.mFraction + b.mFraction;
    std::int64_t carry = 0;
    if (sum.mFraction >= DecimalTime::sFractionsPerNanosecond)
    {
        sum.mFraction -= DecimalTime::sFractionsPerNanosecond;
        carry = 1;
    }
    if (__builtin_add_overflow(a.mNanoseconds, b.mNanoseconds, &sum.mNanoseconds) ||
        __builtin_add_overflow(sum.mNanoseconds, carry, &sum.mNanoseconds)) [[unlikely]]
    {
        return std::nullopt;
    }
    return sum;
}

enum class EDecimal : std::uint8_t
{
    Valid,
    NotANumber,
    OutOfRange,
};

/// Reads microseconds: an optional sign, digits with or without a fraction, an optional exponent, and nothing else.
/// Times from -2^63 to 2^63 - 1 nanoseconds are in range. `time` is set only when the text is valid.
EDecimal gParseDecimalMicroseconds(std::string_view text, DecimalTime& time);

/// The same, rounded to whole nanoseconds; nothing for any fault.
std::optional<std::int64_t> gParseMicroseconds(std::string_view text);

/// Of numbers that no double has exactly, see gToMilliseconds.
double gRoundToMilliseconds(std::uint64_t nanoseconds);

/// The double nearest to `nanoseconds` / 1e6.
inline double gToMilliseconds(std::uint64_t nanoseconds)
{
    constexpr std::uint64_t largestExact = std::uint64_t{1} << std::numeric_limits<double>::digits;
    return nanoseconds <= largestExact ? static_cast<double>(static_cast<std::int64_t>(nanoseconds)) / 1e6
                                       : gRoundToMilliseconds(nanoseconds);
}
}
