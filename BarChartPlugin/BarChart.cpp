#include "BarChartPlugin/BarChart.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Profiler
{

namespace
{

/// The index of the level for a rounded log2, which may be no finite number.
int32_t gClampLevel(float rounded, int32_t numLODs)
{
    if (!(rounded >= 1.0F))
        return 0;
    return static_cast<int32_t>(std::min(rounded, static_cast<float>(numLODs - 1)));
}

bool gIsFinite(const BarChartLOD::Bar& bar)
{
    return std::isfinite(bar.StartTimeMs) && std::isfinite(bar.EndTimeMs) && std::isfinite(bar.Minimum) &&
           std::isfinite(bar.TotalTimeMs) && std::isfinite(bar.Maximum);
}

/// Whether a level holds the bars that so many occurrences leave behind.
bool gIsLODConsistent(const BarChartLOD& lod, int32_t level, int32_t numEvents)
{
    const int64_t eventsPerBar = int64_t{1} << level;
    const int64_t numBars = (int64_t{numEvents} + eventsPerBar - 1) / eventsPerBar;
    return lod.LODLevel == level && lod.NumEvents == numEvents && static_cast<int64_t>(lod.Bars.size()) == numBars &&
           std::ranges::all_of(lod.Bars, gIsFinite);
}

}

BarChart::BarChart(BarChartDescription description)
    : mDescription{std::move(description)},
      mLODs(static_cast<std::size_t>(cNumLODs))
{
    for (int32_t level = 0; level < cNumLODs; ++level)
        GetLOD(level).LODLevel = level;
}

LODPair gFindLODs(float barsPerSlot, int32_t numLODs)
{
    const float x = std::log2(barsPerSlot);
    float whole = 0.0F;
    const float blend = std::modf(x, &whole);
    return {gClampLevel(std::floor(x), numLODs), gClampLevel(std::ceil(x), numLODs), blend};
}

void BarChart::GetLODs(float barsPerSlot, const BarChartLOD*& lower, const BarChartLOD*& upper, float& blend) const
{
    const LODPair levels = gFindLODs(barsPerSlot, GetNumLODs());
    lower = &GetLOD(levels.mLower);
    upper = &GetLOD(levels.mUpper);
    blend = levels.mBlend;
}

void BarChart::GetLODs(float barsPerSlot, BarChartLOD*& lower, BarChartLOD*& upper, float& blend)
{
    const BarChartLOD* constLower = nullptr;
    const BarChartLOD* constUpper = nullptr;
    std::as_const(*this).GetLODs(barsPerSlot, constLower, constUpper, blend);
    lower = const_cast<BarChartLOD*>(constLower);
    upper = const_cast<BarChartLOD*>(constUpper);
}

bool BarChart::IsConsistent() const
{
    // A count of occurrences is an int32_t: at level 31 and above a bar would cover more than there can be.
    constexpr std::size_t maxLODs = 31;
    if (mLODs.empty() || mLODs.size() > maxLODs || mLODs[0].NumEvents < 0)
        return false;
    for (int32_t level = 0; level < GetNumLODs(); ++level)
    {
        if (!gIsLODConsistent(GetLOD(level), level, mLODs[0].NumEvents))
            return false;
    }
    return std::isfinite(mLargestTime) && std::isfinite(mTotalTime);
}

void BarChart::OpenOccurrence(double timeMs, std::string_view context)
{
    mScopeStartTime = timeMs;
    mScopeContext = context;
}

void BarChart::CloseOccurrence(double timeMs)
{
    AddOccurrence(mScopeStartTime, timeMs, mScopeContext);
    mScopeStartTime = -1.0;
    mScopeContext.clear();
}

void BarChart::AddOccurrence(double startTimeMs, double endTimeMs, std::string_view context)
{
    for (BarChartLOD& lod : mLODs)
        lod.AddEvent(startTimeMs, endTimeMs, lod.LODLevel == 0 ? context : std::string_view{});
    const double duration = endTimeMs - startTimeMs;
    mLargestTime = std::max(mLargestTime, duration);
    mTotalTime += duration;
}

}
