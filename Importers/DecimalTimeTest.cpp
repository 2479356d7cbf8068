#include "Importers/DecimalTime.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace Importers
{
namespace
{
__extension__ using Wide = __int128;

constexpr std::int64_t sLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t sHighest = std::numeric_limits<std::int64_t>::max();

TEST(DecimalTime, ReadsEverySpelling)
{
    struct Row
    {
        const char* mText;
        std::optional<std::int64_t> mNanoseconds;
    };
    const Row rows[] = {
        {"0", 0},
        {"-0", 0},
        {"1", 1'000},
        {"12.5", 12'500},
        {"12.", 12'000},
        {".25", 250},
        {"+3", 3'000},
        {"007.100", 7'100},
        {"1.5e3", 1'500'000},
        {"15E-1", 1'500},
        {"1e+2", 100'000},
        {"0.000001e6", 1'000},
        {"12345678901234e-14", 123},
        {"-7.25", -7'250},
        // A clock that counts from 1970, which a double would round to a multiple of 250 nanoseconds.
        {"1699999999123456.789", 1'699'999'999'123'456'789},
        {"1699999999123456.7894", 1'699'999'999'123'456'789},
        // To the nearest nanosecond, upwards from the middle.
        {"0.0004", 0},
        {"0.0005", 1},
        {"0.00049999999999999999999", 0},
        {"-0.0005", 0},
        {"-0.00050000000000000000001", -1},
        {"-0.0006", -1},
        // The ends of the range.
        {"9223372036854775.807", sHighest},
        {"9223372036854775.8074", sHighest},
        {"9223372036854775.8075", std::nullopt},
        {"9223372036854775.808", std::nullopt},
        {"-9223372036854775.808", sLowest},
        {"-9223372036854775.8081", std::nullopt},
        {"99999999999999999999999", std::nullopt},
        {"1e16", std::nullopt},
        {"1e999999999999999999999999", std::nullopt},
        {"-1e999999999999999999999999", std::nullopt},
        {"1e-999999999999999999999999", 0},
        {"0e999999999999999999999999", 0},
        {"0.00000000000000000000000000000001e35", 1'000'000},
        // Not numbers.
        {"", std::nullopt},
        {"-", std::nullopt},
        {".", std::nullopt},
        {"e5", std::nullopt},
        {"1e", std::nullopt},
        {"1e+", std::nullopt},
        {"1.5.2", std::nullopt},
        {" 1", std::nullopt},
        {"1 ", std::nullopt},
        {"0x10", std::nullopt},
        {"NaN", std::nullopt},
        {"Infinity", std::nullopt},
        {"12us", std::nullopt},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(gParseMicroseconds(row.mText), row.mNanoseconds) << row.mText;
    }
}

TEST(DecimalTime, TellsNonsenseFromTooLarge)
{
    DecimalTime time{7, 8};
    EXPECT_EQ(gParseDecimalMicroseconds("12us", time), EDecimal::NotANumber);
    EXPECT_EQ(gParseDecimalMicroseconds("1e300", time), EDecimal::OutOfRange);
    EXPECT_EQ(time, (DecimalTime{7, 8}));
}

std::string Spell(Wide value, int decimals)
{
    const bool isNegative = value < 0;
    std::string digits;
    for (Wide rest = isNegative ? -value : value; rest != 0; rest /= 10)
    {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
    }
    while (static_cast<int>(digits.size()) <= decimals)
    {
        digits.insert(digits.begin(), '0');
    }
    if (decimals != 0)
    {
        digits.insert(digits.size() - static_cast<std::size_t>(decimals), 1, '.');
    }
    return isNegative ? "-" + digits : digits;
}

Wide Power(int exponent)
{
    Wide power = 1;
    for (; exponent > 0; --exponent)
    {
        power *= 10;
    }
    return power;
}

Wide FloorDivide(Wide a, Wide b)
{
    return a / b - (a % b < 0 ? 1 : 0);
}

TEST(DecimalTime, AgreesWithWideArithmetic)
{
    std::mt19937_64 random(20240611);
    for (int i = 0; i < 50'000; ++i)
    {
        // value * 10^-decimals * 10^exponent microseconds.
        const int decimals = static_cast<int>(random() % 19);
        const int exponent = static_cast<int>(random() % 13) - 6;
        const auto value = static_cast<std::int64_t>(random()) >> (random() % 60);
        std::string text = Spell(value, decimals);
        if (exponent != 0)
        {
            text += "e" + std::to_string(exponent);
        }
        // In halves of a nanosecond, so that the middle is a whole number.
        const int shift = exponent - decimals + 3;
        const Wide halves = shift >= 0 ? Wide{value} * 2 * Power(shift) : FloorDivide(Wide{value} * 2, Power(-shift));
        const Wide rounded = FloorDivide(halves + 1, 2);
        const std::optional<std::int64_t> expected =
            rounded < sLowest || rounded > sHighest ? std::nullopt : std::optional(static_cast<std::int64_t>(rounded));
        ASSERT_EQ(gParseMicroseconds(text), expected) << text;
    }
}

TEST(DecimalTime, AnEndThatIsASumKeepsNesting)
{
    // Rounded one by one, the outer interval would end at 1000 ns and the inner one at 1001.
    DecimalTime outerStart, outerDuration, innerStart, innerDuration;
    ASSERT_EQ(gParseDecimalMicroseconds("0.0004", outerStart), EDecimal::Valid);
    ASSERT_EQ(gParseDecimalMicroseconds("1.0003", outerDuration), EDecimal::Valid);
    ASSERT_EQ(gParseDecimalMicroseconds("0.5005", innerStart), EDecimal::Valid);
    ASSERT_EQ(gParseDecimalMicroseconds("0.5001", innerDuration), EDecimal::Valid);
    EXPECT_EQ(gAdd(outerStart, outerDuration)->Round(), 1'001);
    EXPECT_EQ(gAdd(innerStart, innerDuration)->Round(), 1'001);

    EXPECT_EQ(gAdd({-2, 750'000'000}, {1, 250'000'000}), (DecimalTime{0, 0}));
    EXPECT_EQ(gAdd({sHighest, 0}, {0, 999'999'999}), (DecimalTime{sHighest, 999'999'999}));
    EXPECT_EQ(gAdd({sHighest, 1}, {0, 999'999'999}), std::nullopt);
    EXPECT_EQ(gAdd({sHighest, 0}, {1, 0}), std::nullopt);
    EXPECT_EQ((DecimalTime{sHighest, 500'000'000}.Round()), std::nullopt);
}

TEST(DecimalTime, MillisecondsAreRoundedOnce)
{
    EXPECT_EQ(gToMilliseconds(0), 0.0);
    EXPECT_EQ(gToMilliseconds(1), 1e-6);
    EXPECT_EQ(gToMilliseconds(1'234'567), 1.234567);
    std::mt19937_64 random(7);
    for (int i = 0; i < 50'000; ++i)
    {
        const std::uint64_t nanoseconds = random() >> (random() % 40);
        const double ms = gToMilliseconds(nanoseconds);
        // Both neighbours are at least as far away. Above 2^13 a double times 2^40 is a whole number.
        const auto distance = [nanoseconds](double candidate) {
            const Wide scaled = static_cast<Wide>(std::ldexp(candidate, 40)) * 1'000'000;
            const Wide difference = scaled - (static_cast<Wide>(nanoseconds) << 40);
            return difference < 0 ? -difference : difference;
        };
        if (ms < 8192)
        {
            continue;
        }
        ASSERT_LE(distance(ms), distance(std::nextafter(ms, 0.0))) << nanoseconds;
        ASSERT_LE(distance(ms), distance(std::nextafter(ms, 1e300))) << nanoseconds;
    }
}
}
}
