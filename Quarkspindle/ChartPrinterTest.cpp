#include "Quarkspindle/ChartPrinter.h"

#include <gtest/gtest.h>

namespace Quarkspindle
{

namespace
{

TEST(BarStripTest, ColumnsShowTheLargestValueTheyCover)
{
    struct Row
    {
        std::vector<double> Values;
        std::size_t Width;
        int Rows;
        std::vector<std::string> Expected;
    };
    const Row rows[] = {
        {{}, 10, 1, {""}},
        {{0, 0}, 10, 1, {"  "}},
        {{1, 2, 4, 8}, 10, 1, {"▁▂▄█"}},
        {{8, 1, 1, 1}, 2, 1, {"█▁"}},
        {{16, 8, 4}, 10, 2, {"█  ", "██▄"}},
        {{1000, 0.001}, 10, 2, {"█ ", "█▁"}}, // never lost altogether
        {{1, 2, 3, 4, 5}, 3, 1, {"▂▅█"}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(gMakeBarStrip(row.Values, row.Width, row.Rows), row.Expected);
}

}

}
