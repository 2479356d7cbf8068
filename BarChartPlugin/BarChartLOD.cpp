#include "BarChartPlugin/BarChartLOD.h"

#include <algorithm>

namespace Profiler
{

namespace
{

int32_t gFindBar(const std::vector<BarChartLOD::Bar>& bars, double BarChartLOD::Bar::*time, double timeMs)
{
    const auto found = std::ranges::lower_bound(bars, timeMs, {}, time);
    if (found == bars.end() || !((*found).*time == timeMs))
        return -1;
    return static_cast<int32_t>(found - bars.begin());
}

}

void BarChartLOD::AddEvent(double startTimeMs, double endTimeMs, std::string_view context)
{
    const double duration = endTimeMs - startTimeMs;
    // Bars cover powers of two, so that no division is needed.
    const uint32_t numInLastBar = static_cast<uint32_t>(NumEvents) & ((uint32_t{1} << LODLevel) - 1);
    if (numInLastBar == 0)
    {
        Bars.push_back(Bar{.StartTimeMs = startTimeMs,
            .EndTimeMs = endTimeMs,
            .Minimum = duration,
            .TotalTimeMs = duration,
            .Maximum = duration,
            .Context = std::string{context}});
    }
    else
    {
        Bar& bar = Bars.back();
        bar.TotalTimeMs += duration;
        bar.Minimum = std::min(bar.Minimum, duration);
        bar.Maximum = std::max(bar.Maximum, duration);
        bar.EndTimeMs = endTimeMs;
    }
    ++NumEvents;
}

int32_t BarChartLOD::FindBarByStartTime(double timeMs) const
{
    return gFindBar(Bars, &Bar::StartTimeMs, timeMs);
}

int32_t BarChartLOD::FindBarByEndTime(double timeMs) const
{
    return gFindBar(Bars, &Bar::EndTimeMs, timeMs);
}

}
