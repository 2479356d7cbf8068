#include "Quarkspindle/ChartStatistics.h"

#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "BarChartPlugin/BarChart.h"

namespace Quarkspindle
{

namespace
{

/// A chart whose occurrences have these durations, one after the other.
Profiler::BarChart MakeChart(const std::vector<double>& durations)
{
    Profiler::BarChart chart{Profiler::BarChartDescription{"event", 1}};
    Profiler::TraceEvent event;
    event.mThreadID = 1;
    event.mTime = 0.0;
    event.mName = "event";
    for (const double duration : durations)
    {
        event.mType = Profiler::ETraceEventType::InstrumentationBegin;
        chart.ProcessEvent(event);
        event.mTime += duration;
        event.mType = Profiler::ETraceEventType::InstrumentationEnd;
        chart.ProcessEvent(event);
    }
    return chart;
}

TEST(ChartStatisticsTest, AgreesWithTheDefinitionsOnSortedDurations)
{
    std::mt19937 random{11};
    for (const std::size_t count : {1u, 2u, 3u, 4u, 19u, 20u, 21u, 99u, 100u, 101u, 1000u})
    {
        std::vector<double> durations(count);
        for (double& duration : durations)
            duration = static_cast<double>(random() % 50);
        const ChartStatistics statistics = gComputeStatistics(MakeChart(durations));

        std::sort(durations.begin(), durations.end());
        const auto atPercent = [&](double percent) {
            return durations[static_cast<std::size_t>(std::ceil(percent * static_cast<double>(count) / 100.0)) - 1];
        };
        EXPECT_EQ(statistics.Count, static_cast<int64_t>(count));
        EXPECT_EQ(statistics.Minimum, durations.front());
        EXPECT_EQ(statistics.Maximum, durations.back());
        EXPECT_EQ(statistics.Median, (durations[(count - 1) / 2] + durations[count / 2]) / 2.0) << count;
        EXPECT_EQ(statistics.P95, atPercent(95)) << count;
        EXPECT_EQ(statistics.P99, atPercent(99)) << count;
    }
}

TEST(ChartStatisticsTest, NothingHasNoStatistics)
{
    const ChartStatistics statistics = gComputeStatistics(MakeChart({}));
    EXPECT_EQ(statistics.Count, 0);
    EXPECT_EQ(statistics.P99, 0.0);
    EXPECT_TRUE(gFindSlowest(MakeChart({}), 5).empty());
}

TEST(ChartStatisticsTest, SlowestComeFirstAndEarlierOnesAmongEquals)
{
    EXPECT_EQ(gFindSlowest(MakeChart({1, 5, 3, 5, 2, 3}), 4), (std::vector<int32_t>{1, 3, 2, 5}));
    EXPECT_EQ(gFindSlowest(MakeChart({1, 2}), 5), (std::vector<int32_t>{1, 0}));
}

}

}
