#include "System/RunningGroups.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace System
{
namespace
{
TEST(RunningGroupsTest, HoldsAnyNumberOfGroupsAndLosesNone)
{
    std::mt19937 random(5);
    RunningGroups groups;
    std::set<uint32_t> expected;
    std::size_t most = 0;
    for (int step = 0; step < 20000; ++step)
    {
        const uint32_t group = random() % 24;
        if (expected.insert(group).second)
        {
            groups.Add(group);
        }
        else
        {
            expected.erase(group);
            groups.Remove(group);
        }
        most = std::max(most, expected.size());
        for (uint32_t other = 0; other < 24; ++other)
        {
            ASSERT_EQ(groups.Contains(other), expected.contains(other)) << "group " << other << ", step " << step;
        }
    }
    EXPECT_GT(most, 16U) << "the object itself holds fewer";
}
}
}
