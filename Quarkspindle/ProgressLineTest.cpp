#include "Quarkspindle/ProgressLine.h"

#include <gtest/gtest.h>

namespace Quarkspindle
{

namespace
{

TEST(ProgressLineTest, RateAndTimeLeftAreThereOnceTheyMeanSomething)
{
    using EUnit = ProgressLine::EUnit;
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 50, 100, 0.1), "");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 0, 100, 10.0), "");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 50, 100, 2.0), ", 25/s, 2 s left");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 200, 100, 2.0), ", 100/s, 0 s left");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 10, 3610, 10.0), ", 1/s, 60 min left");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Items, 10, 36010, 10.0), ", 1/s, 10 h left");
    EXPECT_EQ(ProgressLine::sFormatRate(EUnit::Bytes, 1 << 20, 2 << 20, 1.0), ", 1.0 MiB/s, 1 s left");
}

}

}
