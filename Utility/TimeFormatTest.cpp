#include "Utility/TimeFormat.h"

#include "Utility/Clock.h"
#include "Utility/Guid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
using namespace Utility;

constexpr double gHour = 3'600'000.0;

TEST(TimeFormatTest, DurationsShowTheTwoLeadingUnits)
{
    struct
    {
        double mTime;
        const char* mText;
    } const rows[] = {
        {0.0, "0\u00B5s"},
        {0.5, "500\u00B5s"},
        {0.0009, "0\u00B5s"},
        {2.25, "2ms 250\u00B5s"},
        {999.0, "999ms 0\u00B5s"},
        {1500.0, "1s500ms"},
        {90'000.0, "1m30s "},
        {gHour, "1h0m"},
        {26 * gHour + 59 * 60'000.0 + 59'000.0, "26h59m"},
        {-1.0, "0\u00B5s"},
        {std::nan(""), "0\u00B5s"},
        {std::numeric_limits<double>::infinity(), "2147483647h0m"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(gFormatDuration(row.mTime), row.mText);
    }
}

TEST(TimeFormatTest, UnitsAndClockGoDownToThePrecision)
{
    const double time = gHour + 61'001.5;
    struct
    {
        double mTime;
        int mPrecision;
        const char* mUnits;
        const char* mClock;
    } const rows[] = {
        {time, 0, "1h ", "01"},
        {time, 1, "1h 1m ", "01:01"},
        {time, 2, "1h 1m 1s ", "01:01:01"},
        {time, 3, "1h 1m 1s 1ms ", "01:01:01.001"},
        {time, 4, "1h 1m 1s 1ms 500\u00B5s", "01:01:01:001.500"},
        {0.0, 4, "", "00:00:00:000.000"},
        {60'000.25, 4, "1m 250\u00B5s", "00:01:00:000.250"},
        {123 * gHour, 1, "123h ", "123:00"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(gFormatDurationUnits(row.mTime, row.mPrecision), row.mUnits);
        EXPECT_EQ(gFormatClock(row.mTime, row.mPrecision), row.mClock);
    }
}

TEST(TimeFormatTest, SizesInBinaryUnits)
{
    struct
    {
        std::int64_t mBytes;
        const char* mText;
    } const rows[] = {{-5, "-5 B"}, {0, "0 B"}, {1023, "1023 B"}, {1024, "1.0 KiB"}, {1536, "1.50 KiB"},
        {1024 + 62, "1.6 KiB"}, {(1 << 20) - 1, "1023.99 KiB"}, {1 << 20, "1.0 MiB"}, {5LL << 29, "2.50 GiB"},
        {std::numeric_limits<std::int64_t>::max(), "8589934591.99 GiB"}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(gFormatSize(row.mBytes), row.mText);
    }
}

TEST(TimeFormatTest, LocalTimeIsLimitedToItsBuffer)
{
    EXPECT_EQ(gFormatLocalTime("%%"), "%");
    EXPECT_EQ(gFormatLocalTime("%H:%M").size(), 5u);
    EXPECT_EQ(gFormatLocalTime(std::string(255, 'x').c_str()).size(), 255u);
    EXPECT_EQ(gFormatLocalTime(std::string(256, 'x').c_str()), "");
}

TEST(TimeFormatTest, ClockGoesForwardInBothUnits)
{
    const double seconds = gGetTimeSeconds();
    const double ms = gGetTimeMs();
    EXPECT_GE(ms, seconds * 1000.0);
    EXPECT_GE(gGetTimeSeconds(), seconds);
}

TEST(TimeFormatTest, GuidsHaveTheirTextAndAreRandom)
{
    const GUID guid{0x6B29FC40, 0xCA47, 0x0067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0x0A}};
    EXPECT_EQ(gFormatGUID(guid), "6B29FC40-CA47-0067-B31D-00DD0106620A");
    const GUID made = gMakeGUID();
    EXPECT_NE(made, gMakeGUID());
    EXPECT_EQ(made.mData3 >> 12, 4);
    EXPECT_EQ(made.mData4[0] >> 6, 2);
}
}
