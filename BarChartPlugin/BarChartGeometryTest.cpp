#include "BarChartPlugin/BarChartGeometry.h"

#include "BarChartPlugin/ChartLayout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Profiler
{
namespace
{

BarChartLOD gMakeLOD(int32_t level, std::size_t numBars)
{
    BarChartLOD lod;
    lod.LODLevel = level;
    lod.Bars.resize(numBars);
    return lod;
}

TEST(BarChartGeometryTest, VisibleBarsFollowFromTheWindow)
{
    const struct
    {
        const char* mName;
        float mStart;
        float mEnd;
        int32_t mLevel;
        std::size_t mNumBars;
        BarRun mExpected;
    } rows[] = {
        {"all at level 0", 0, 100, 0, 100, {0, 99, 0, 11}},
        {"fewer bars than slots", 0, 100, 0, 3, {0, 2, 0, 11}},
        {"beginning inside a bar", 10.5F, 110.5F, 0, 1000, {10, 111, -5, 11}},
        {"of groups", 6, 406, 2, 1000, {1, 102, -5, 11}},
        {"up to the last, partly filled group", 0, 200, 1, 51, {0, 50, 0, 11}},
        {"behind the last bar", 50, 150, 0, 10, {10, 9, -440, 11}},
        {"empty", 0, 100, 0, 0, {0, -1, 0, 11}},
        {"far into a long chart", 99000, 99100, 0, 100000, {99000, 99101, 0, 11}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mName);
        const BarRun run = gFindVisibleBars({row.mStart, row.mEnd, 1100, 300, 10}, gMakeLOD(row.mLevel, row.mNumBars));
        EXPECT_EQ(run.mFirst, row.mExpected.mFirst);
        EXPECT_EQ(run.mLast, row.mExpected.mLast);
        EXPECT_FLOAT_EQ(run.mBarWidth, row.mExpected.mBarWidth);
        EXPECT_EQ(run.mX, row.mExpected.mX);
    }
}

TEST(BarChartGeometryTest, BarStandsOnTheBottomWithItsMeanAndItsMaximum)
{
    BarChartLOD::Bar bar;
    bar.Maximum = 5;
    bar.TotalTimeMs = 8;
    const BarView view{0, 100, 1100, 300, 10};
    BarShape shape = gShapeBar(view, bar, 4, 22, 11);
    EXPECT_EQ(shape.mLeft, 22);
    EXPECT_EQ(shape.mRight, 31) << "a gap of two pixels";
    EXPECT_EQ(shape.mMaximumTop, 150);
    EXPECT_EQ(shape.mAverageTop, 240);
    EXPECT_TRUE(shape.IsUnder(22.5F));
    EXPECT_FALSE(shape.IsUnder(22));
    EXPECT_FALSE(shape.IsUnder(31));

    bar.Maximum = 20;
    EXPECT_EQ(gShapeBar(view, bar, 4, 22, 11).mMaximumTop, -300) << "left to the clip rectangle";
    shape = gShapeBar({0, 100, 1100, 300, 0}, {}, 4, 22, 11);
    EXPECT_EQ(shape.mMaximumTop, 300) << "no time at all is no height";
}

TEST(BarChartGeometryTest, CeilingFallsToAFiftiethOfTheMaximum)
{
    EXPECT_EQ(gGetCeiling(100, 0), 100);
    EXPECT_EQ(gGetCeiling(100, 25), 75);
    EXPECT_EQ(gGetCeiling(100, 99), 2);
    EXPECT_EQ(gGetCeiling(0, 0), 0);
}

TEST(BarChartGeometryTest, ZoomKeepsItsAnchorWhereItIs)
{
    const Span window{100, 300};
    for (const float amount : {0.0F, 0.3F, 1.0F, -1.0F})
    {
        for (const int32_t anchor : {100, 150, 299})
        {
            const Span zoomed = gZoom(window, amount, anchor);
            const float length = zoomed.mEnd - zoomed.mBegin;
            EXPECT_NEAR(length, 200.0 * std::pow(10.0, -amount), 0.001);
            EXPECT_NEAR((static_cast<float>(anchor) - zoomed.mBegin) / length, (anchor - 100) / 200.0, 1e-5);
        }
    }
    // Settings come from a file.
    for (const float amount : {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
             std::numeric_limits<float>::quiet_NaN()})
    {
        const Span zoomed = gZoom(window, amount, 100);
        EXPECT_TRUE(std::isfinite(zoomed.mBegin) && std::isfinite(zoomed.mEnd)) << amount;
    }
}

TEST(BarChartGeometryTest, DragAndWheelZoomByTheirSensitivities)
{
    EXPECT_FLOAT_EQ(gGetDragZoom(100, 0.125F), 0.2175F);
    EXPECT_FLOAT_EQ(gGetDragZoom(-100, 0), -0.03F);
    EXPECT_FLOAT_EQ(gGetWheelZoom(120, 0.125F), 0.1305F);
}

TEST(BarChartGeometryTest, SelectionLeavesOutTheGapBehindIt)
{
    const Span span = gGetSelectionSpan({10, 110, 1100, 300, 1}, 20, 22);
    EXPECT_EQ(span.mBegin, 110);
    EXPECT_EQ(span.mEnd, 130);
}

TEST(ChartLayoutTest, PartsStandSideBySide)
{
    using Renderer::Rectangle;
    ChartLayout layout = gLayOutChart(1235, 315, 120.7F, 15.2F);
    EXPECT_EQ(layout.mAxis, (Rectangle{0, 0, 120, 300}));
    EXPECT_EQ(layout.mScrollBar, (Rectangle{120, 0, 15, 300}));
    EXPECT_EQ(layout.mContents, (Rectangle{135, 0, 1100, 300}));
    EXPECT_EQ(layout.mZoomBar, (Rectangle{135, 300, 1100, 15}));
    layout = gLayOutChart(100, 10, 120, 15);
    EXPECT_EQ(layout.mContents, (Rectangle{135, 0, -35, -5})) << "no room is no failure";
}

TEST(ChartLayoutTest, AxisHasTwoTicksAndItsLabelBesideTheUpperOne)
{
    using Renderer::Vector2;
    const AxisLayout axis = gLayOutAxis(120, 300, 6, 2, 10);
    EXPECT_EQ(axis.mTop, (Vector2{114, 1}));
    EXPECT_EQ(axis.mBottom, (Vector2{114, 299}));
    EXPECT_EQ(axis.GetTickEnd(axis.mTop), (Vector2{104, 1}));
    EXPECT_EQ(axis.GetLabelPosition(40), (Vector2{54, 1}));
}

}
TEST(BarChartGeometryTest, FittedWindowLiesInsideAndKeepsWhatItCan)
{
    const struct
    {
        Span mWanted;
        Span mFitted;
    } cases[] = {
        {{10.0F, 30.0F}, {10.0F, 30.0F}},
        {{-1e9F, -1e9F + 64.0F}, {0.0F, 64.0F}},
        {{95.0F, 115.0F}, {80.0F, 100.0F}},
        {{50.0F, 52.0F}, {48.5F, 53.5F}},
        {{-50.0F, 400.0F}, {0.0F, 100.0F}},
        {{99.0F, 99.0F}, {95.0F, 100.0F}},
    };
    for (const auto& [wanted, fitted] : cases)
    {
        const Span window = gFitWindow(wanted, 5.0F, 100.0F);
        EXPECT_FLOAT_EQ(window.mBegin, fitted.mBegin) << wanted.mBegin;
        EXPECT_FLOAT_EQ(window.mEnd, fitted.mEnd) << wanted.mBegin;
    }
    // A chart of fewer occurrences than slots.
    EXPECT_FLOAT_EQ(gFitWindow({0.0F, 3.0F}, 5.0F, 3.0F).mEnd, 5.0F);
}

}
