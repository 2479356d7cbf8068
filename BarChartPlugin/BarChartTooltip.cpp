#include "BarChartPlugin/BarChartTooltip.h"

#include "BarChartPlugin/BarChart.h"
#include "Utility/Format.h"
#include "Utility/TimeFormat.h"

#include <cmath>

namespace Profiler
{

namespace
{

/// In bytes. Contexts are written by programs and may be of any length.
constexpr std::size_t cLongestText = 2000;

std::string_view gCutAtCharacter(std::string_view text, std::size_t length)
{
    const auto isContinuation = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
    };
    while (length > 0 && isContinuation(text[length]))
        --length;
    return text.substr(0, length);
}

/// Down to microseconds. What is shorter than one is not left empty.
std::string gFormatTime(double ms)
{
    const std::string text = Utility::gFormatDurationUnits(ms, 4);
    return text.empty() ? Utility::gFormatDuration(ms) : text;
}

std::string gMakeOccurrenceTooltip(const BarChart& chart, const BarChartLOD::Bar& bar)
{
    std::string title = gEscapeRichText(chart.GetDescription().Name);
    if (!bar.Context.empty())
        title += " - " + gEscapeRichText(bar.Context);
    return Utility::gFormat("%s<br><table><tbody><tr><td><strong>Duration:</strong></td><td>%s</td></tr>"
                            "<tr><td><strong>Start time:</strong></td><td>%s</td></tr></tbody></table>"
                            "<p>Click to select time range</p>",
        title.c_str(), gFormatTime(bar.Maximum).c_str(), gFormatTime(bar.StartTimeMs).c_str());
}

std::string gMakeGroupTooltip(const BarChartLOD::Bar& bar, double group)
{
    return Utility::gFormat("<table><tbody><tr><td><strong>Maximum:</strong></td><td>%s</td></tr>"
                            "<tr><td><strong>Average:</strong></td><td>%s</td></tr>"
                            "<tr><td><strong>Minimum:</strong></td><td>%s</td></tr>"
                            "<tr><td><strong>Start time:</strong></td><td>%s</td></tr></tbody></table><p></p>"
                            "<p>Multiple bars, zoom in for more detail. Click to select time range.</p>",
        gFormatTime(bar.Maximum).c_str(), gFormatTime(bar.TotalTimeMs / group).c_str(),
        gFormatTime(bar.Minimum).c_str(), gFormatTime(bar.StartTimeMs).c_str());
}

}

std::string gMakeBarTooltip(const BarChart& chart, const BarChartLOD& lod, int32_t index)
{
    const BarChartLOD::Bar& bar = lod.Bars[static_cast<std::size_t>(index)];
    return lod.LODLevel == 0 ? gMakeOccurrenceTooltip(chart, bar) : gMakeGroupTooltip(bar, std::exp2(lod.LODLevel));
}

std::string gEscapeRichText(std::string_view text)
{
    const bool isLong = text.size() > cLongestText;
    std::string escaped;
    for (const char c : isLong ? gCutAtCharacter(text, cLongestText) : text)
    {
        switch (c)
        {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\n':
            escaped += "<br>";
            break;
        default:
            escaped += c;
        }
    }
    return isLong ? escaped + "..." : escaped;
}

}
