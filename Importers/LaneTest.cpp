#include "Importers/MarkPairer.h"
#include "Importers/TextTable.h"
#include "Importers/ThreadIntervals.h"
#include "Importers/ThreadLanes.h"
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

/// The first interval of each lane, of intervals that come in this order.
std::vector<std::uint32_t> Assign(std::vector<Interval>& intervals)
{
    ThreadLanes lanes;
    for (std::size_t i = 0; i < intervals.size(); ++i)
    {
        lanes.Add(std::span(intervals).first(i + 1));
    }
    return lanes.Finish(intervals);
}

TEST(ThreadLanes, AreTheFirstOnesThatFit)
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
        for (std::uint32_t next : Assign(intervals))
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

TEST(ThreadLanes, CostDoesNotGrowWithTheirNumber)
{
    // Each interval crosses all others, so each has a lane of its own: one look at every lane would be 10^10 of them.
    constexpr std::uint32_t count = 200'000;
    std::vector<Interval> intervals;
    for (std::uint32_t i = 0; i < count; ++i)
    {
        intervals.push_back({i, std::int64_t{i} + count, i, 0, i, 0});
    }
    EXPECT_EQ(Assign(intervals).size(), count);
}

/// Of each interval, and the counts behind them.
using Paired = std::vector<std::tuple<std::int64_t, std::int64_t, std::uint32_t, std::uint32_t, std::uint32_t>>;

/// The rule as it is told: all marks in the order of time, then those of one time as they came.
Paired PairSorted(std::vector<Mark> marks)
{
    std::stable_sort(marks.begin(), marks.end(), [](const Mark& a, const Mark& b) { return a.mTime < b.mTime; });
    Paired paired;
    std::vector<Mark> open;
    std::uint32_t numUnfinished = 0;
    std::uint32_t numUnmatched = 0;
    for (const Mark& mark : marks)
    {
        if (!mark.mIsEnd)
        {
            open.push_back(mark);
            continue;
        }
        const auto begin = std::find_if(open.rbegin(), open.rend(),
            [&mark](const Mark& other) { return mark.mName == Mark::sNoName || other.mName == mark.mName; });
        if (begin == open.rend())
        {
            ++numUnmatched;
            continue;
        }
        numUnfinished += static_cast<std::uint32_t>(begin - open.rbegin());
        open.erase(begin.base(), open.end());
        const std::uint32_t context = open.back().mContext != TextArena::sNone ? open.back().mContext : mark.mContext;
        paired.emplace_back(open.back().mTime, mark.mTime, open.back().mName, context, open.back().mOrder);
        open.pop_back();
    }
    std::sort(paired.begin(), paired.end());
    numUnfinished += static_cast<std::uint32_t>(open.size());
    paired.emplace_back(0, 0, 2 * paired.size(), numUnfinished, numUnmatched);
    return paired;
}

TEST(ThreadIntervals, PairMarksInWhateverOrderTheyCome)
{
    std::mt19937_64 random(12);
    int numDisordered = 0;
    for (int round = 0; round < 2000; ++round)
    {
        // Nearly all are in order, some up to a late exception, and complete events stand between them.
        const std::uint64_t disorder = round % 3 == 0 ? 0 : 60;
        std::vector<Mark> marks;
        Paired complete;
        ThreadIntervals intervals;
        std::int64_t time = 0;
        bool isDisordered = false;
        for (std::uint32_t i = 0; i < 1 + random() % 80; ++i)
        {
            time += static_cast<std::int64_t>(random() % 3);
            const auto context = random() % 2 == 0 ? TextArena::sNone : static_cast<std::uint32_t>(random() % 50);
            const auto name = static_cast<std::uint32_t>(random() % 3);
            if (random() % 8 == 0)
            {
                intervals.Add(Interval{time, time + 5, name, context, i, Interval::sLast});
                complete.emplace_back(time, time + 5, name, context, i);
                continue;
            }
            const bool isEarly = disorder != 0 && random() % disorder == 0 && !marks.empty();
            isDisordered = isDisordered || isEarly;
            const bool isEnd = random() % 2 == 0;
            marks.push_back(
                {isEarly ? time - 4 : time, isEnd && random() % 4 == 0 ? Mark::sNoName : name, context, i, isEnd});
            intervals.Add(marks.back());
        }
        numDisordered += isDisordered;
        const PairCounts counts = intervals.HasMarks() ? intervals.FinishMarks() : PairCounts();
        intervals.FinishLanes();

        Paired expected = PairSorted(marks);
        expected.insert(expected.end() - 1, complete.begin(), complete.end());
        std::sort(expected.begin(), expected.end() - 1);
        Paired found;
        for (std::uint32_t next : intervals.GetLanes())
        {
            for (; next != Interval::sLast; next = intervals.Get()[next].mNext)
            {
                const Interval& interval = intervals.Get()[next];
                found.emplace_back(interval.mStart, interval.mEnd, interval.mName, interval.mContext, interval.mOrder);
            }
        }
        std::sort(found.begin(), found.end());
        found.emplace_back(0, 0, counts.mPaired, counts.mUnfinished, counts.mUnmatched);
        ASSERT_EQ(found, expected) << round;
    }
    EXPECT_GT(numDisordered, 100);
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
