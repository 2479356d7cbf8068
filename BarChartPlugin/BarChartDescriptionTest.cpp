#include "BarChartPlugin/BarChartDescription.h"

#include <gtest/gtest.h>

#include <unordered_set>

namespace Profiler
{
namespace
{

TEST(BarChartDescriptionTest, HashIsFNV1aOfNameAndWidenedThread)
{
    // Computed apart from this code, from the published constants of FNV-1a.
    EXPECT_EQ(gHashBarChartDescription("", 0), 0x633564D6AC381AE0U);
    EXPECT_EQ(gHashBarChartDescription("", 1), 0x423FADCD9908CC81U);
    EXPECT_EQ(gHashBarChartDescription("", -1), 0x4707866F7881AB18U);
    EXPECT_EQ(gHashBarChartDescription("a", 0), 0x07A4247EAE1BD549U);
    EXPECT_EQ(gHashBarChartDescription("foobar", -1), 0x09615BFA0B9AEFD5U);
    EXPECT_EQ(gHashBarChartDescription("foobar", 0x7FFFFFFF), 0x72DD59365328A689U);
    EXPECT_EQ(gHashBarChartDescription("Zeichnen \xC3\xA4", 4711), 0x61B28031C43F9CB0U);
}

TEST(BarChartDescriptionTest, NameAndThreadTogetherMakeTheKey)
{
    std::unordered_set<BarChartDescription, BarChartDescriptionHash, BarChartDescriptionEqual> set{
        {"Draw", 1}, {"Draw", 2}, {"draw", 1}};
    EXPECT_EQ(set.size(), 3U);
    EXPECT_TRUE(set.contains(BarChartDescriptionView{"draw", 1}));
    EXPECT_FALSE(set.contains(BarChartDescriptionView{"draw", 2}));
    EXPECT_FALSE(set.contains(BarChartDescriptionView{"Dra", 1}));
}

}
}
