#include "Importers/DecimalTime.h"

#include <bit>
#include <cmath>

namespace Importers
{
namespace
{
constexpr int sFractionDigits = 9;
constexpr std::uint64_t sPowersOfTen[] = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};
/// Of the absolute value, in nanoseconds: that of the most negative time.
constexpr std::uint64_t sLargestMagnitude = std::uint64_t{1} << 63;

bool IsDigit(char character)
{
    return static_cast<unsigned char>(character - '0') < 10;
}

/// A decimal number taken apart. Its value is the digits of both parts, read as one fraction "0.ddd", times
/// 10 ^ mPointPosition.
struct DecimalParts
{
    bool mIsNegative = false;
    std::string_view mWhole;
    std::string_view mDecimals;
    std::int64_t mPointPosition = 0;
};

std::string_view TakeDigits(std::string_view& text)
{
    std::size_t count = 0;
    while (count < text.size() && IsDigit(text[count]))
    {
        ++count;
    }
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
}

bool TakeExponent(std::string_view& text, std::int64_t& exponent)
{
    // Large enough to shift any text that fits into memory out of range.
    constexpr std::int64_t limit = std::int64_t{1} << 60;

    text.remove_prefix(1);
    bool isNegative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-'))
    {
        isNegative = text.front() == '-';
        text.remove_prefix(1);
    }
    const std::string_view digits = TakeDigits(text);
    for (const char digit : digits)
    {
        exponent = exponent < limit / 10 - 1 ? exponent * 10 + (digit - '0') : limit;
    }
    exponent = isNegative ? -exponent : exponent;
    return !digits.empty();
}

bool Split(std::string_view text, DecimalParts& parts)
{
    if (!text.empty() && (text.front() == '-' || text.front() == '+'))
    {
        parts.mIsNegative = text.front() == '-';
        text.remove_prefix(1);
    }
    parts.mWhole = TakeDigits(text);
    if (!text.empty() && text.front() == '.')
    {
        text.remove_prefix(1);
        parts.mDecimals = TakeDigits(text);
    }
    if (parts.mWhole.empty() && parts.mDecimals.empty())
    {
        return false;
    }
    std::int64_t exponent = 0;
    if (!text.empty() && (text.front() == 'e' || text.front() == 'E') && !TakeExponent(text, exponent))
    {
        return false;
    }
    parts.mPointPosition = static_cast<std::int64_t>(parts.mWhole.size()) + exponent;
    return text.empty();
}

/// Gathers the digits that stand in front of, and up to nine behind, the point of a number of nanoseconds.
class Accumulator
{
public:
    explicit Accumulator(std::int64_t pointPosition) : mPointPosition(pointPosition) {}

    void Add(std::string_view digits)
    {
        for (const char character : digits)
        {
            const auto digit = static_cast<unsigned>(character - '0');
            if (mPosition < mPointPosition)
            {
                AddWhole(digit);
            }
            else if (mPosition < mPointPosition + sFractionDigits)
            {
                const auto place = static_cast<std::size_t>(mPointPosition + sFractionDigits - 1 - mPosition);
                mFraction += digit * static_cast<std::uint32_t>(sPowersOfTen[place]);
            }
            else
            {
                mHasMore = mHasMore || digit != 0;
            }
            ++mPosition;
        }
    }

    /// The zeros between the last digit and the point.
    void Finish()
    {
        while (mPosition < mPointPosition && mWhole != 0 && !mIsOutOfRange)
        {
            AddWhole(0);
            ++mPosition;
        }
    }

    std::uint64_t mWhole = 0;
    std::uint32_t mFraction = 0;
    bool mHasMore = false;
    bool mIsOutOfRange = false;

private:
    void AddWhole(unsigned digit)
    {
        if (mWhole > (sLargestMagnitude - digit) / 10)
        {
            mIsOutOfRange = true;
            return;
        }
        mWhole = mWhole * 10 + digit;
    }

    std::int64_t mPointPosition;
    std::int64_t mPosition = 0;
};

EDecimal ParseAny(std::string_view text, DecimalTime& time)
{
    DecimalParts parts;
    if (!Split(text, parts))
    {
        return EDecimal::NotANumber;
    }
    // Three places from microseconds to nanoseconds.
    Accumulator digits(parts.mPointPosition + 3);
    digits.Add(parts.mWhole);
    digits.Add(parts.mDecimals);
    digits.Finish();
    if (digits.mIsOutOfRange)
    {
        return EDecimal::OutOfRange;
    }

    std::uint64_t whole = digits.mWhole;
    std::uint32_t fraction = digits.mFraction;
    if (parts.mIsNegative && (fraction != 0 || digits.mHasMore))
    {
        // Downwards: -1.25 is -2 + 0.75.
        ++whole;
        fraction = DecimalTime::sFractionsPerNanosecond - fraction - (digits.mHasMore ? 1 : 0);
    }
    if (whole > sLargestMagnitude - (parts.mIsNegative ? 0 : 1))
    {
        return EDecimal::OutOfRange;
    }
    time.mNanoseconds = static_cast<std::int64_t>(parts.mIsNegative ? std::uint64_t{0} - whole : whole);
    time.mFraction = fraction;
    return EDecimal::Valid;
}
}

EDecimal gParseDecimalMicroseconds(std::string_view text, DecimalTime& time)
{
    // What nearly every trace holds: at most the 16 digits of a clock that counts from 1970, and three behind the
    // point.
    constexpr std::uint64_t largestWhole = 9'000'000'000'000'000;
    std::uint64_t value = 0;
    std::size_t position = 0;
    while (position < text.size() && position < 16 && IsDigit(text[position]))
    {
        value = value * 10 + static_cast<unsigned>(text[position] - '0');
        ++position;
    }
    if (value >= largestWhole)
    {
        return ParseAny(text, time);
    }
    std::size_t missing = 3;
    if (position > 0 && position < text.size() && text[position] == '.')
    {
        ++position;
        while (position < text.size() && missing > 0 && IsDigit(text[position]))
        {
            value = value * 10 + static_cast<unsigned>(text[position] - '0');
            ++position;
            --missing;
        }
    }
    if (position != text.size() || position == 0)
    {
        return ParseAny(text, time);
    }
    time.mNanoseconds = static_cast<std::int64_t>(value * sPowersOfTen[missing]);
    time.mFraction = 0;
    return EDecimal::Valid;
}

std::optional<std::int64_t> gParseMicroseconds(std::string_view text)
{
    DecimalTime time;
    if (gParseDecimalMicroseconds(text, time) != EDecimal::Valid)
    {
        return std::nullopt;
    }
    return time.Round();
}

double gRoundToMilliseconds(std::uint64_t nanoseconds)
{
    constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;

    // The conversion to a double would round and the division would round again. A quotient with 64 significant bits,
    // the lowest of which tells whether anything follows, is rounded only once: the division goes on, bit by bit.
    std::uint64_t quotient = nanoseconds / nanosecondsPerMillisecond;
    std::uint64_t remainder = nanoseconds % nanosecondsPerMillisecond;
    const int shift = std::countl_zero(quotient);
    for (int i = 0; i < shift; ++i)
    {
        remainder *= 2;
        quotient = quotient * 2 + (remainder >= nanosecondsPerMillisecond ? 1 : 0);
        remainder -= remainder >= nanosecondsPerMillisecond ? nanosecondsPerMillisecond : 0;
    }
    quotient |= remainder != 0 ? 1 : 0;
    return std::ldexp(static_cast<double>(quotient), -shift);
}
}
