#include "Importers/LaneAssigner.h"
#include "Importers/Utf8.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace Importers
{
namespace
{
/// The rule as it is told: look at every lane in turn.
std::vector<std::vector<std::uint32_t>> AssignOneByOne(std::vector<Interval> intervals)
{
    std::sort(intervals.begin(), intervals.end(), [](const Interval& a, const Interval& b) {
        return std::tuple(a.mStart, -a.mEnd, a.mOrder) < std::tuple(b.mStart, -b.mEnd, b.mOrder);
    });
    std::vector<std::vector<std::uint32_t>> lanes;
    std::vector<std::vector<std::int64_t>> open;
    for (const Interval& interval : intervals)
    {
        std::size_t lane = 0;
        for (; lane < lanes.size(); ++lane)
        {
            while (!open[lane].empty() && open[lane].back() <= interval.mStart)
            {
                open[lane].pop_back();
            }
            if (open[lane].empty() || interval.mEnd <= open[lane].back())
            {
                break;
            }
        }
        if (lane == lanes.size())
        {
            lanes.emplace_back();
            open.emplace_back();
        }
        lanes[lane].push_back(interval.mName);
        open[lane].push_back(interval.mEnd);
    }
    return lanes;
}

TEST(LaneAssigner, FindsTheFirstLaneThatFits)
{
    std::mt19937_64 random(11);
    for (int round = 0; round < 400; ++round)
    {
        const std::int64_t span = 1 + static_cast<std::int64_t>(random() % 300);
        const std::int64_t longest = 1 + static_cast<std::int64_t>(random() % 200);
        std::vector<Interval> intervals;
        for (std::uint32_t i = 0; i < 1 + random() % 300; ++i)
        {
            const std::int64_t start = static_cast<std::int64_t>(random()) % span;
            const std::int64_t end = start + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(longest));
            intervals.push_back({start, end, i, 0, i, 0});
        }
        if (round % 2 == 0)
        {
            // Such that they nest, and as they come from one who writes each at its end.
            for (Interval& interval : intervals)
            {
                const std::int64_t length = std::int64_t{1} << random() % 7;
                interval.mStart = interval.mStart / length * length;
                interval.mEnd = interval.mStart + length;
            }
            std::sort(intervals.begin(), intervals.end(), [](const Interval& a, const Interval& b) {
                return std::tuple(a.mEnd, -a.mStart, a.mOrder) < std::tuple(b.mEnd, -b.mStart, b.mOrder);
            });
        }
        else if (round % 4 == 1)
        {
            // As they come from one who writes in the order of starts, whatever the ends.
            std::stable_sort(intervals.begin(), intervals.end(),
                [](const Interval& a, const Interval& b) { return a.mStart < b.mStart; });
        }
        const std::vector<std::vector<std::uint32_t>> expected = AssignOneByOne(intervals);

        std::vector<std::vector<std::uint32_t>> lanes;
        for (std::uint32_t next : LaneAssigner::sAssign(intervals))
        {
            lanes.emplace_back();
            for (; next != Interval::sLast; next = intervals[next].mNext)
            {
                lanes.back().push_back(intervals[next].mName);
            }
        }
        ASSERT_EQ(lanes, expected);
    }
}

TEST(LaneAssigner, CostDoesNotGrowWithTheLanes)
{
    // Each interval crosses all others, so each has a lane of its own: one look at every lane would be 10^10 of them.
    constexpr std::uint32_t count = 200'000;
    std::vector<Interval> intervals;
    for (std::uint32_t i = 0; i < count; ++i)
    {
        intervals.push_back({i, std::int64_t{i} + count, i, 0, i, 0});
    }
    EXPECT_EQ(LaneAssigner::sAssign(intervals).size(), count);
}

TEST(Utf8, OnlyValidSequencesStay)
{
    const std::pair<const char*, const char*> rows[] = {
        {"plain ascii of some length", "plain ascii of some length"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"\xC0\xAF", "??"},
        {"\xE0\x9F\xBF", "???"},
        {"\xED\xA0\x80", "???"},
        {"\xF0\x8F\xBF\xBF", "????"},
        {"\xF4\x90\x80\x80", "????"},
        {"\xF5\x80\x80\x80", "????"},
        {"a\x80z\xC3", "a?z?"},
        {"\xE2\x82", "??"},
        {"12345678\xFF", "12345678?"},
    };
    for (const auto& [text, expected] : rows)
    {
        std::string valid;
        gAppendValidUtf8(valid, text);
        for (std::size_t at = valid.find("\xEF\xBF\xBD"); at != std::string::npos; at = valid.find("\xEF\xBF\xBD"))
        {
            valid.replace(at, 3, "?");
        }
        EXPECT_EQ(valid, expected);
    }
    EXPECT_EQ(gCutUtf8("a\xE2\x82\xAC", 3), "a");
    EXPECT_EQ(gCutUtf8("a\xE2\x82\xAC", 4), "a\xE2\x82\xAC");
}
}
}
