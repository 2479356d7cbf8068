#include "Quarkspindle/NumberPair.h"

#include <gtest/gtest.h>

namespace Quarkspindle
{

namespace
{

TEST(NumberPairTest, TakesTwoNumbersAndNothingElse)
{
    using Pair = std::pair<int32_t, int32_t>;
    const struct
    {
        const char* mText;
        std::optional<Pair> mPair;
    } cRows[] = {{"0:0", Pair{0, 0}}, {"3:9", Pair{3, 9}}, {"9:3", Pair{9, 3}}, {"007:08", Pair{7, 8}},
        {"0:2147483647", Pair{0, 2147483647}}, {"0:2147483648", {}}, {"99999999999999999999:1", {}}, {"", {}},
        {":", {}}, {"3", {}}, {"3:", {}}, {":9", {}}, {"3:9x", {}}, {"3:9 ", {}}, {" 3:9", {}}, {"3: 9", {}},
        {"3 :9", {}}, {"+3:9", {}}, {"-3:9", {}}, {"3:-9", {}}, {"-0:1", {}}, {"3:9:1", {}}, {"3::9", {}}, {"3x9", {}},
        {"0x3:9", {}}, {"3.5:9", {}}};
    for (const auto& row : cRows)
        EXPECT_EQ(gParseNumberPair(row.mText, ':'), row.mPair) << '"' << row.mText << '"';
    EXPECT_EQ(gParseNumberPair("640x480", 'x'), (Pair{640, 480}));
}

}

}
