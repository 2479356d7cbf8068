#include "BarChartPlugin/BarChartTooltip.h"

#include "BarChartPlugin/BarChart.h"

#include <gtest/gtest.h>

namespace Profiler
{
namespace
{

std::string gMakeOccurrence(const std::string& name, const std::string& context, double duration = 2.25)
{
    const BarChart chart{{name, 1}};
    BarChartLOD lod;
    lod.Bars.push_back({61001, 61001 + duration, duration, duration, duration, context});
    return gMakeBarTooltip(chart, lod, 0);
}

TEST(BarChartTooltipTest, OccurrenceTellsNameContextDurationAndStart)
{
    const std::string table = "<br><table><tbody><tr><td><strong>Duration:</strong></td><td>2ms 250\u00b5s</td></tr>"
                              "<tr><td><strong>Start time:</strong></td><td>1m 1s 1ms </td></tr></tbody></table>"
                              "<p>Click to select time range</p>";
    EXPECT_EQ(gMakeOccurrence("Frame", ""), "Frame" + table);
    EXPECT_EQ(gMakeOccurrence("Frame", "level 3"), "Frame - level 3" + table);
    EXPECT_EQ(gMakeOccurrence("std::vector<int>", "a && \"b\"\nc"),
        "std::vector&lt;int&gt; - a &amp;&amp; &quot;b&quot;<br>c" + table);
}

TEST(BarChartTooltipTest, TimeBelowAMicrosecondIsNotEmpty)
{
    const std::string text = gMakeOccurrence("Frame", "", 0.0003);
    EXPECT_NE(text.find("<td>0\u00b5s</td>"), std::string::npos) << text;
}

TEST(BarChartTooltipTest, GroupTellsTheRangeOfItsDurations)
{
    const BarChart chart{{"Frame", 1}};
    BarChartLOD lod;
    lod.LODLevel = 1;
    lod.Bars.push_back({5, 25, 1, 6, 5, {}});
    EXPECT_EQ(gMakeBarTooltip(chart, lod, 0),
        "<table><tbody><tr><td><strong>Maximum:</strong></td><td>5ms </td></tr>"
        "<tr><td><strong>Average:</strong></td><td>3ms </td></tr>"
        "<tr><td><strong>Minimum:</strong></td><td>1ms </td></tr>"
        "<tr><td><strong>Start time:</strong></td><td>5ms </td></tr></tbody></table><p></p>"
        "<p>Multiple bars, zoom in for more detail. Click to select time range.</p>");
}

TEST(BarChartTooltipTest, TextThatNoTooltipCanShowIsCutBetweenCharacters)
{
    std::string longText = "x";
    while (longText.size() < 100000)
        longText += "\u20ac";
    const std::string cut = gEscapeRichText(longText);
    EXPECT_EQ(cut.size() % 3, 1U) << "the dots as well are three bytes";
    EXPECT_LT(cut.size(), 3000U);
    EXPECT_EQ(cut.substr(cut.size() - 3), "...");
    EXPECT_EQ(cut.substr(cut.size() - 6, 3), "\u20ac");
}

}
}
