#include "Quarkspindle/window/OccurrenceList.h"

#include <algorithm>
#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/window/OccurrenceExport.h"
#include "Utility/TemporaryFolder.h"

namespace Quarkspindle
{

namespace
{

using testing::ElementsAre;

constexpr bool cNotCancelled = false;

struct Occurrence
{
    double mDurationMs;
    std::string mContext;
};

/// Occurrence i begins at 10 i ms.
Profiler::BarChart MakeChart(const std::vector<Occurrence>& occurrences)
{
    Profiler::BarChart chart{{"work", 7}};
    double start = 0.0;
    for (const Occurrence& occurrence : occurrences)
    {
        Profiler::TraceEvent event;
        event.mThreadID = 7;
        event.mType = Profiler::ETraceEventType::InstrumentationBegin;
        event.mTime = start;
        event.mName = "work";
        event.mContext = occurrence.mContext;
        chart.ProcessEvent(event);
        event.mType = Profiler::ETraceEventType::InstrumentationEnd;
        event.mTime = start + occurrence.mDurationMs;
        chart.ProcessEvent(event);
        start += 10.0;
    }
    return chart;
}

OccurrenceList Compute(const Profiler::BarChart& chart, const OccurrenceQuery& query)
{
    JobProgress progress = 0.0F;
    std::optional<OccurrenceList> list = OccurrenceList::sCompute(chart, query, cNotCancelled, progress);
    EXPECT_TRUE(list.has_value());
    return list ? std::move(*list) : OccurrenceList{};
}

std::vector<uint32_t> GetBars(const OccurrenceList& list, bool isDescending = false)
{
    std::vector<uint32_t> bars;
    for (std::size_t row = 0; row < list.GetSize(); ++row)
        bars.push_back(list.GetBar(row, isDescending));
    return bars;
}

TEST(OccurrenceListTest, OrdersAndFiltersAsTheQuerySays)
{
    const Profiler::BarChart chart =
        MakeChart({{3.0, "Beta two"}, {1.0, "alpha one"}, {2.0, ""}, {1.0, "alpha"}, {4.0, "Alpha and more text"}});
    EXPECT_THAT(GetBars(Compute(chart, {})), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(GetBars(Compute(chart, {.mOrder = EOccurrenceOrder::Duration})), ElementsAre(1, 3, 2, 0, 4));
    EXPECT_THAT(GetBars(Compute(chart, {.mOrder = EOccurrenceOrder::Duration}), true), ElementsAre(4, 0, 2, 3, 1));
    EXPECT_THAT(GetBars(Compute(chart, {.mOrder = EOccurrenceOrder::Context})), ElementsAre(2, 4, 0, 3, 1));
    EXPECT_THAT(GetBars(Compute(chart, {.mContext = "ALPHA"})), ElementsAre(1, 3, 4));
    EXPECT_THAT(GetBars(Compute(chart, {.mShortestMs = 2.0, .mLongestMs = 3.0})), ElementsAre(0, 2));
    EXPECT_THAT(GetBars(Compute(chart, {.mContext = "alpha", .mLongestMs = 1.0})), ElementsAre(1, 3));
    EXPECT_EQ(Compute(chart, {.mContext = "alpha"}).GetSlowestBar(), 4U);
    EXPECT_EQ(Compute(chart, {.mContext = "nothing"}).GetSize(), 0U);
    EXPECT_EQ(Compute(MakeChart({}), {.mOrder = EOccurrenceOrder::Duration}).GetSize(), 0U);
}

TEST(OccurrenceListTest, RowsOfBarsAreFoundInEveryOrder)
{
    const Profiler::BarChart chart = MakeChart({{3.0, "c"}, {1.0, "a"}, {2.0, "b"}, {5.0, "a"}});
    for (const EOccurrenceOrder order :
        {EOccurrenceOrder::Start, EOccurrenceOrder::Duration, EOccurrenceOrder::Context})
    {
        for (const double longest : {4.0, 100.0})
        {
            const OccurrenceList list = Compute(chart, {.mLongestMs = longest, .mOrder = order});
            for (const bool isDescending : {false, true})
            {
                for (std::size_t row = 0; row < list.GetSize(); ++row)
                    EXPECT_EQ(list.FindRow(list.GetBar(row, isDescending), isDescending), row);
                std::vector<std::size_t> expected;
                for (std::size_t row = 0; row < list.GetSize(); ++row)
                {
                    if (const uint32_t bar = list.GetBar(row, isDescending); bar >= 1 && bar <= 3)
                        expected.push_back(row);
                }
                EXPECT_EQ(list.FindRows(1, 3, isDescending), expected);
                EXPECT_EQ(list.FindRows(1, 1000, isDescending), expected);
            }
            EXPECT_EQ(list.FindRow(3).has_value(), longest > 5.0);
            EXPECT_FALSE(list.FindRow(4).has_value());
        }
    }
}

TEST(OccurrenceListTest, ManyRowsAreSortedAsTheStandardLibrarySortsThem)
{
    // More than are sorted in one run, and no whole number of runs.
    std::mt19937 random{1};
    std::vector<Occurrence> occurrences(200001);
    for (Occurrence& occurrence : occurrences)
    {
        occurrence.mDurationMs = static_cast<double>(random() % 500) / 64.0;
        occurrence.mContext = "context " + std::to_string(random() % 1000);
    }
    const Profiler::BarChart chart = MakeChart(occurrences);
    std::vector<uint32_t> expected(occurrences.size());
    std::iota(expected.begin(), expected.end(), 0U);
    const auto& bars = chart.GetLOD(0).Bars;
    std::stable_sort(expected.begin(), expected.end(),
        [&](uint32_t a, uint32_t b) { return bars[a].TotalTimeMs < bars[b].TotalTimeMs; });
    EXPECT_EQ(GetBars(Compute(chart, {.mOrder = EOccurrenceOrder::Duration})), expected);
    std::sort(expected.begin(), expected.end());
    std::stable_sort(
        expected.begin(), expected.end(), [&](uint32_t a, uint32_t b) { return bars[a].Context < bars[b].Context; });
    EXPECT_EQ(GetBars(Compute(chart, {.mOrder = EOccurrenceOrder::Context})), expected);
}

TEST(OccurrenceListTest, StatisticsAreThoseOfTheRowsAndTheHistogramThatOfTheContext)
{
    const Profiler::BarChart chart = MakeChart({{0.0, "a"}, {1.0, "a"}, {2.0, "a"}, {9.0, "a"}, {99.0, "b"}});
    const OccurrenceList list = Compute(chart, {.mContext = "a", .mShortestMs = 1.0, .mLongestMs = 2.0});
    EXPECT_EQ(list.GetStatistics().Count, 2);
    EXPECT_EQ(list.GetStatistics().Total, 3.0);
    EXPECT_EQ(list.GetStatistics().Median, 1.5);
    const DurationHistogram& histogram = list.GetHistogram();
    EXPECT_EQ(histogram.mStatistics.Count, 4);
    EXPECT_EQ(histogram.mStatistics.Maximum, 9.0);
    for (const DurationHistogram::Bins& bins : {histogram.mLinear, histogram.mLogarithmic})
    {
        EXPECT_EQ(std::accumulate(bins.begin(), bins.end(), 0U), 4U);
        EXPECT_EQ(bins.back(), 1U);
    }
    for (const bool isLogarithmic : {false, true})
    {
        EXPECT_EQ(histogram.GetDuration(0.0, isLogarithmic), 0.0);
        EXPECT_EQ(histogram.GetDuration(1.0, isLogarithmic), 9.0);
        EXPECT_NEAR(histogram.GetDuration(histogram.GetPosition(2.0, isLogarithmic), isLogarithmic), 2.0, 1e-9);
    }
}

TEST(OccurrenceListTest, CancellationGivesNothing)
{
    const Profiler::BarChart chart = MakeChart({{1.0, ""}});
    JobProgress progress = 0.0F;
    EXPECT_FALSE(OccurrenceList::sCompute(chart, {}, true, progress).has_value());
}

class OccurrenceExportTest : public testing::Test
{
protected:
    bool Export(const std::string& path, bool cancelled = false)
    {
        JobProgress progress = 0.0F;
        return gExportCsv(
            mChart, 2, [](std::size_t row) { return row == 0 ? 1U : 0U; }, path, cancelled, progress, mResult);
    }

    Profiler::BarChart mChart = MakeChart({{0.5, "said \"so\", twice"}, {2.0, "plain"}});
    TemporaryFolder mFolder;
    Utility::Result mResult;
};

TEST_F(OccurrenceExportTest, WritesTheRowsInTheirOrder)
{
    ASSERT_TRUE(Export(mFolder / "x.csv")) << mResult.ToString();
    EXPECT_EQ(mFolder.Read("x.csv"), "index,start_ms,end_ms,duration_ms,context\n"
                                     "1,10,12,2,plain\n"
                                     "0,0,0.5,0.5,\"said \"\"so\"\", twice\"\n");
}

TEST_F(OccurrenceExportTest, NothingIsLeftOfOneThatDoesNotComeToItsEnd)
{
    mFolder.Write("x.csv", "old");
    EXPECT_FALSE(Export(mFolder / "x.csv", true));
    EXPECT_FALSE(mResult.HasErrors());
    EXPECT_EQ(mFolder.Read("x.csv"), "old");
    EXPECT_FALSE(Export(mFolder / "missing/x.csv"));
    EXPECT_TRUE(mResult.HasErrors());
    EXPECT_THAT(mFolder.List(), ElementsAre("x.csv"));
}

}

}
