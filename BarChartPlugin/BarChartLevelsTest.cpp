#include "BarChartPlugin/BarChartLevels.h"

#include "ProfilerLib/session/TraceEvent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Profiler
{
namespace
{

BarChart gMakeChart(int count)
{
    BarChart chart{{"Frame", 1}};
    TraceEventView event;
    event.mThreadID = 1;
    event.mName = "Frame";
    for (int i = 0; i < count; ++i)
    {
        event.mType = ETraceEventType::InstrumentationBegin;
        event.mTime = i * 10.0;
        chart.ProcessEvent(event);
        event.mType = ETraceEventType::InstrumentationEnd;
        event.mTime = i * 10.0 + 1 + i % 8 * 7919 % 8;
        chart.ProcessEvent(event);
    }
    return chart;
}

TEST(BarChartLevelsTest, CoarserLevelsGoOnWhereThoseOfTheChartEnd)
{
    const BarChart chart = gMakeChart(100003);
    BarChartLevels levels;
    levels.SetChart(&chart);
    ASSERT_GT(levels.GetNumLevels(), BarChart::cNumLODs);
    const std::vector<BarChartLOD::Bar>& occurrences = chart.GetLOD(0).Bars;
    for (int32_t level = 0; level < levels.GetNumLevels(); ++level)
    {
        SCOPED_TRACE(level);
        const BarChartLOD& lod = levels.GetLevel(level);
        const auto group = std::size_t{1} << level;
        EXPECT_EQ(lod.LODLevel, level);
        EXPECT_EQ(lod.NumEvents, 100003);
        ASSERT_EQ(lod.Bars.size(), (occurrences.size() + group - 1) / group);
        for (std::size_t i = 0; i < lod.Bars.size(); ++i)
        {
            const std::span covered =
                std::span{occurrences}.subspan(i * group, std::min(group, occurrences.size() - i * group));
            const BarChartLOD::Bar& bar = lod.Bars[i];
            ASSERT_EQ(bar.StartTimeMs, covered.front().StartTimeMs);
            ASSERT_EQ(bar.EndTimeMs, covered.back().EndTimeMs);
            ASSERT_EQ(bar.Maximum, std::ranges::max(covered, {}, &BarChartLOD::Bar::Maximum).Maximum);
            ASSERT_EQ(bar.Minimum, std::ranges::min(covered, {}, &BarChartLOD::Bar::Minimum).Minimum);
            double total = 0;
            for (const BarChartLOD::Bar& occurrence : covered)
                total += occurrence.TotalTimeMs;
            ASSERT_EQ(bar.TotalTimeMs, total);
        }
    }
}

TEST(BarChartLevelsTest, ShortChartHasItsOwnLevelsOnly)
{
    for (const int count : {0, 1, 8192})
    {
        const BarChart chart = gMakeChart(count);
        BarChartLevels levels;
        levels.SetChart(&chart);
        EXPECT_EQ(levels.GetNumLevels(), BarChart::cNumLODs) << count;
    }
}

/// What keeps a frame from costing more for a longer chart: one level or the other has about a bar a slot.
TEST(BarChartLevelsTest, WholeChartOfAnyLengthTakesAboutOneBarASlot)
{
    constexpr int numSlots = 100;
    for (const int count : {100, 1000, 65536, 300000})
    {
        const BarChart chart = gMakeChart(count);
        BarChartLevels levels;
        levels.SetChart(&chart);
        const LODPair pair = gFindLODs(static_cast<float>(count) / static_cast<float>(numSlots), levels.GetNumLevels());
        EXPECT_LE(levels.GetLevel(pair.mLower).Bars.size(), 2U * numSlots + 1) << count;
        EXPECT_GE(levels.GetLevel(pair.mUpper).Bars.size(), numSlots / 2U) << count;
    }
}

TEST(LevelOpacitiesTest, FollowTheZoomOrFadeToTheNearerLevel)
{
    const struct
    {
        float mBlend;
        float mLower;
        float mUpper;
    } rows[] = {{-0.5F, 1, 0}, {0, 1, 0}, {0.25F, 1, 0.5F}, {0.5F, 1, 1}, {0.75F, 0.5F, 1}, {1, 0, 1}};
    for (const auto& row : rows)
    {
        LevelOpacities opacities;
        opacities.FollowZoom(row.mBlend);
        EXPECT_FLOAT_EQ(opacities.mLower, row.mLower) << row.mBlend;
        EXPECT_FLOAT_EQ(opacities.mUpper, row.mUpper) << row.mBlend;
    }

    LevelOpacities opacities;
    opacities.Fade(0.5F, 0.125);
    EXPECT_EQ(opacities.mLower, 1);
    EXPECT_EQ(opacities.mUpper, 0.75F);
    opacities.Fade(0.51F, 0.25);
    EXPECT_EQ(opacities.mLower, 0.5F);
    EXPECT_EQ(opacities.mUpper, 1);
    opacities.Fade(0.0F, 10.0);
    EXPECT_EQ(opacities.mLower, 1);
    EXPECT_EQ(opacities.mUpper, 0);
}

}
}
