#include "BarChartPlugin/BarChart.h"

#include "Utility/Format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace Profiler
{
namespace
{

constexpr int32_t cThread = 7;
constexpr int32_t cOtherThread = 8;

TraceEventView gMakeEvent(ETraceEventType type, double timeMs, int32_t threadID)
{
    TraceEventView event;
    event.mType = type;
    event.mTime = timeMs;
    event.mThreadID = threadID;
    return event;
}

TraceEventView gMakeBegin(double timeMs, int32_t threadID, std::string_view name, std::string_view context = {})
{
    TraceEventView event = gMakeEvent(ETraceEventType::InstrumentationBegin, timeMs, threadID);
    event.mName = name;
    event.mContext = context;
    return event;
}

TraceEventView gMakeEnd(double timeMs, int32_t threadID)
{
    return gMakeEvent(ETraceEventType::InstrumentationEnd, timeMs, threadID);
}

/// One event per character, at its position as the time: a letter begins the event of that name and "." ends one, on
/// the chart's thread; "[" begins A and "]" ends one on another thread; "!" is a sample, "+" the name of the chart's
/// thread. The context of a begin is its position.
template <class Event>
BarChart gPlay(std::string_view script)
{
    BarChart chart{{"A", cThread}};
    for (std::size_t i = 0; i < script.size(); ++i)
    {
        const auto time = static_cast<double>(i);
        const std::string context = std::to_string(i);
        const std::string_view name = script.substr(i, 1);
        TraceEventView event = gMakeBegin(time, cThread, name, context);
        if (script[i] == '.')
            event = gMakeEnd(time, cThread);
        else if (script[i] == '[')
            event = gMakeBegin(time, cOtherThread, "A", context);
        else if (script[i] == ']')
            event = gMakeEnd(time, cOtherThread);
        else if (script[i] == '!')
            event = gMakeEvent(ETraceEventType::Sample, time, cThread);
        else if (script[i] == '+')
            event.mType = ETraceEventType::ThreadName;
        event.mProcessID = static_cast<int32_t>(i); // not part of a chart's key
        chart.ProcessEvent(Event{event});
    }
    return chart;
}

std::string gDescribe(const BarChartLOD& lod)
{
    std::string text;
    for (const BarChartLOD::Bar& bar : lod.Bars)
        text += Utility::gFormat("%s%g-%g%s%s", text.empty() ? "" : " ", bar.StartTimeMs, bar.EndTimeMs,
            bar.Context.empty() ? "" : "@", bar.Context.c_str());
    return text;
}

TEST(BarChartTest, OneBarPerOutermostOccurrence)
{
    const struct
    {
        const char* Name;
        const char* Script;
        const char* Bars;
    } rows[] = {
        {"nothing at all", "", ""},
        {"single", "A.", "0-1@0"},
        {"one after the other", "A.A.", "0-1@0 2-3@2"},
        {"recursion is one bar", "AA..", "0-3@0"},
        {"inside another event", "BA..", "1-2@1"},
        {"another event inside", "AB..", "0-3@0"},
        {"deep inside", "BCABA..C...", "2-9@2"},
        {"the name is case sensitive", "a.", ""},
        {"the name of a thread is no begin", "+A+.", "1-3@1"},
        {"an end before any begin", ".A.", "1-2@1"},
        {"ends beyond the begins", "A...A.", "0-1@0 4-5@4"},
        {"still open at the end", "A.AB.", "0-1@0"},
        {"another thread neither opens, nests nor ends", "[A[]].", "1-5@1"},
        {"only another thread", "[][]", ""},
        {"other types are ignored", "!A!+!.!", "1-5@1"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.Name);
        const BarChart chart = gPlay<TraceEventView>(row.Script);
        EXPECT_EQ(gDescribe(chart.GetLOD(0)), row.Bars);
        EXPECT_EQ(gDescribe(gPlay<TraceEvent>(row.Script).GetLOD(0)), row.Bars);
        EXPECT_EQ(chart.GetNumEvents(), static_cast<int32_t>(chart.GetLOD(0).Bars.size()));
        EXPECT_TRUE(chart.IsConsistent());
    }
}

TEST(BarChartTest, EmptyChartHasTenEmptyLevels)
{
    const BarChart chart = gPlay<TraceEventView>("B.");
    ASSERT_EQ(chart.GetNumLODs(), 10);
    for (int32_t level = 0; level < 10; ++level)
    {
        EXPECT_EQ(chart.GetLOD(level).LODLevel, level);
        EXPECT_EQ(chart.GetLOD(level).NumEvents, 0);
        EXPECT_TRUE(chart.GetLOD(level).Bars.empty());
        EXPECT_EQ(chart.GetLOD(level).FindBarByStartTime(0.0), -1);
        EXPECT_EQ(chart.GetLOD(level).FindBarByEndTime(0.0), -1);
    }
    EXPECT_EQ(chart.GetNumEvents(), 0);
    EXPECT_EQ(chart.GetLargestTime(), 0.0);
    EXPECT_EQ(chart.GetTotalTime(), 0.0);
}

TEST(BarChartTest, ThreeOccurrencesFoldIntoTheLevels)
{
    const BarChart chart = gPlay<TraceEventView>("A.AB..A.");
    const char* expected[] = {"0-1@0 2-5@2 6-7@6", "0-5 6-7", "0-7"};
    for (int32_t level = 0; level < chart.GetNumLODs(); ++level)
    {
        SCOPED_TRACE(level);
        EXPECT_EQ(gDescribe(chart.GetLOD(level)), expected[std::min(level, 2)]);
        EXPECT_EQ(chart.GetLOD(level).NumEvents, 3);
    }
    const BarChartLOD::Bar& all = chart.GetLOD(9).Bars[0];
    EXPECT_EQ(all.Minimum, 1.0);
    EXPECT_EQ(all.Maximum, 3.0);
    EXPECT_EQ(all.TotalTimeMs, 5.0);
    EXPECT_EQ(chart.GetLargestTime(), 3.0);
    EXPECT_EQ(chart.GetTotalTime(), 5.0);
}

struct Occurrence
{
    double Start;
    double End;
    std::string Context;
};

/// Feeds a chart a random, properly nested stream of several threads until it has so many occurrences, and keeps a list
/// of them that comes from the generator's own stacks of open names.
std::vector<Occurrence> gPlayRandom(uint32_t seed, std::size_t numOccurrences, BarChart& chart)
{
    std::mt19937 random{seed};
    std::vector<std::string> stacks[3];
    std::vector<Occurrence> occurrences;
    double time = 0.0;
    bool isOpen = false;
    for (int32_t i = 0; occurrences.size() < numOccurrences || isOpen; ++i)
    {
        time += 0.001 * static_cast<double>(random() % 5000);
        const auto threadID = static_cast<int32_t>(random() % 3);
        std::vector<std::string>& stack = stacks[threadID];
        const bool isWanted = threadID == 1 && std::ranges::count(stack, "Step") == 1 && stack.back() == "Step";
        if (stack.empty() || (stack.size() < 6 && random() % 2 == 0 && occurrences.size() < numOccurrences))
        {
            const char* name = random() % 3 == 0 ? "Other" : "Step";
            const std::string context = "context " + std::to_string(i);
            if (threadID == 1 && name == std::string_view{"Step"} && std::ranges::count(stack, "Step") == 0)
            {
                if (occurrences.size() == numOccurrences)
                    continue;
                occurrences.push_back({time, -1.0, context});
                isOpen = true;
            }
            stack.emplace_back(name);
            chart.ProcessEvent(gMakeBegin(time, threadID, name, context));
        }
        else
        {
            if (isWanted)
            {
                occurrences.back().End = time;
                isOpen = false;
            }
            stack.pop_back();
            chart.ProcessEvent(gMakeEnd(time, threadID));
        }
    }
    return occurrences;
}

void gExpectLevel(const BarChartLOD& lod, int32_t level, const std::vector<Occurrence>& occurrences)
{
    const std::size_t size = std::size_t{1} << level;
    ASSERT_EQ(lod.Bars.size(), (occurrences.size() + size - 1) / size);
    for (std::size_t i = 0; i < lod.Bars.size(); ++i)
    {
        const std::size_t first = i * size;
        const std::size_t end = std::min(first + size, occurrences.size());
        double minimum = std::numeric_limits<double>::infinity();
        double maximum = 0.0;
        double total = 0.0;
        for (std::size_t k = first; k < end; ++k)
        {
            const double duration = occurrences[k].End - occurrences[k].Start;
            minimum = std::min(minimum, duration);
            maximum = std::max(maximum, duration);
            total += duration;
        }
        const BarChartLOD::Bar& bar = lod.Bars[i];
        ASSERT_EQ(bar.StartTimeMs, occurrences[first].Start);
        ASSERT_EQ(bar.EndTimeMs, occurrences[end - 1].End);
        ASSERT_EQ(bar.Minimum, minimum);
        ASSERT_EQ(bar.Maximum, maximum);
        ASSERT_DOUBLE_EQ(bar.TotalTimeMs, total);
        ASSERT_EQ(bar.Context, level == 0 ? occurrences[first].Context : "");
    }
}

TEST(BarChartTest, LevelsOfRandomStreamsAgreeWithGroupsOfTheirOccurrences)
{
    for (const std::size_t count : {1U, 2U, 5U, 64U, 511U, 512U, 513U, 1024U, 1500U})
    {
        SCOPED_TRACE(count);
        BarChart chart{{"Step", 1}};
        const std::vector<Occurrence> occurrences = gPlayRandom(static_cast<uint32_t>(count), count, chart);
        ASSERT_EQ(chart.GetNumEvents(), static_cast<int32_t>(count));
        for (int32_t level = 0; level < BarChart::cNumLODs; ++level)
        {
            SCOPED_TRACE(level);
            gExpectLevel(chart.GetLOD(level), level, occurrences);
        }
        EXPECT_EQ(chart.GetLargestTime(),
            chart.GetLOD(9).Bars.empty()
                ? 0.0
                : std::ranges::max(chart.GetLOD(9).Bars, {}, &BarChartLOD::Bar::Maximum).Maximum);
        EXPECT_TRUE(chart.IsConsistent());
    }
}

TEST(BarChartTest, ZoomPicksTheTwoLevelsAroundItsLogarithm)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const struct
    {
        float BarsPerSlot;
        int32_t Lower;
        int32_t Upper;
        float Blend;
    } rows[] = {
        {0.25F, 0, 0, 0.0F},
        {0.7F, 0, 0, -0.5146F},
        {1.0F, 0, 0, 0.0F},
        {1.5F, 0, 1, 0.5850F},
        {2.0F, 1, 1, 0.0F},
        {3.0F, 1, 2, 0.5850F},
        {511.0F, 8, 9, 0.9972F},
        {512.0F, 9, 9, 0.0F},
        {600.0F, 9, 9, 0.2288F},
        {1e30F, 9, 9, 0.6578F},
        {infinity, 9, 9, 0.0F},
        {0.0F, 0, 0, 0.0F},
    };
    BarChart chart{{"A", cThread}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.BarsPerSlot);
        BarChartLOD* lower = nullptr;
        BarChartLOD* upper = nullptr;
        float blend = -1.0F;
        chart.GetLODs(row.BarsPerSlot, lower, upper, blend);
        EXPECT_EQ(lower, &chart.GetLOD(row.Lower));
        EXPECT_EQ(upper, &chart.GetLOD(row.Upper));
        EXPECT_NEAR(blend, row.Blend, 1e-4F);
    }
    const BarChartLOD* lower = nullptr;
    const BarChartLOD* upper = nullptr;
    float blend = 0.0F;
    std::as_const(chart).GetLODs(std::numeric_limits<float>::quiet_NaN(), lower, upper, blend);
    EXPECT_EQ(lower, &chart.GetLOD(0));
    EXPECT_EQ(upper, &chart.GetLOD(0));
}

TEST(BarChartTest, BarsAreFoundByExactTimesOnly)
{
    const BarChart chart = gPlay<TraceEventView>("A..A.BA...A.");
    const BarChartLOD& lod = chart.GetLOD(0);
    ASSERT_EQ(gDescribe(lod), "0-1@0 3-4@3 6-7@6 10-11@10");
    for (int32_t i = 0; i < 4; ++i)
    {
        const BarChartLOD::Bar& bar = lod.Bars[static_cast<std::size_t>(i)];
        EXPECT_EQ(lod.FindBarByStartTime(bar.StartTimeMs), i);
        EXPECT_EQ(lod.FindBarByEndTime(bar.EndTimeMs), i);
        EXPECT_EQ(lod.FindBarByStartTime(std::nextafter(bar.StartTimeMs, 100.0)), -1);
        EXPECT_EQ(lod.FindBarByEndTime(std::nextafter(bar.EndTimeMs, -1.0)), -1);
    }
    for (const double time : {-1.0, 2.0, 100.0, std::numeric_limits<double>::quiet_NaN()})
    {
        EXPECT_EQ(lod.FindBarByStartTime(time), -1);
        EXPECT_EQ(lod.FindBarByEndTime(time), -1);
    }
    EXPECT_EQ(chart.GetLOD(1).FindBarByStartTime(3.0), -1) << "level 1 starts a bar at every other occurrence";
    EXPECT_EQ(chart.GetLOD(1).FindBarByEndTime(4.0), 0);
}

TEST(BarChartTest, ContradictionsAreSeen)
{
    const struct
    {
        const char* Name;
        void (*Damage)(BarChart& chart);
    } rows[] = {
        {"no levels",
            [](BarChart& chart) {
                chart = BarChart{};
            }},
        {"bar missing",
            [](BarChart& chart) {
                chart.GetLOD(0).Bars.pop_back();
            }},
        {"bar too many",
            [](BarChart& chart) {
                chart.GetLOD(9).Bars.emplace_back();
            }},
        {"level out of place",
            [](BarChart& chart) {
                chart.GetLOD(3).LODLevel = 4;
            }},
        {"level negative",
            [](BarChart& chart) {
                chart.GetLOD(0).LODLevel = -1;
            }},
        {"counts differ",
            [](BarChart& chart) {
                chart.GetLOD(9).NumEvents = 1;
            }},
        {"count negative",
            [](BarChart& chart) {
                for (int32_t level = 0; level < BarChart::cNumLODs; ++level)
                {
                    chart.GetLOD(level).NumEvents = -1;
                    chart.GetLOD(level).Bars.clear();
                }
            }},
        {"time is no number",
            [](BarChart& chart) {
                chart.GetLOD(1).Bars[0].EndTimeMs = std::nan("");
            }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.Name);
        BarChart chart = gPlay<TraceEventView>("A.A.A.");
        ASSERT_TRUE(chart.IsConsistent());
        row.Damage(chart);
        EXPECT_FALSE(chart.IsConsistent());
    }
}

}
}
