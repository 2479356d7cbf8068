#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Profiler
{

class BarChart;
struct BarChartLOD;

/// What is told of a bar under the pointer, as rich text in UTF-8: of one occurrence its event, context, duration and
/// start, of several the range of their durations.
[[nodiscard]] std::string gMakeBarTooltip(const BarChart& chart, const BarChartLOD& lod, int32_t index);

/// Text that reads as itself in rich text. One that no tooltip could show ends in "...".
[[nodiscard]] std::string gEscapeRichText(std::string_view text);

}
