#include "BarChartPlugin/BarChartLevels.h"

#include <algorithm>
#include <utility>

namespace Profiler
{

namespace
{

/// A level with no more bars than this fills the narrowest chart: nothing above it is ever asked for.
constexpr std::size_t cFewBars = 16;

/// From 0 to 1 with no slope at either end.
float gSmooth(float t)
{
    const float clamped = std::clamp(t, 0.0F, 1.0F);
    return clamped * clamped * (3.0F - 2.0F * clamped);
}

BarChartLOD::Bar gJoin(const BarChartLOD::Bar& first, const BarChartLOD::Bar& second)
{
    return {first.StartTimeMs, second.EndTimeMs, std::min(first.Minimum, second.Minimum),
        first.TotalTimeMs + second.TotalTimeMs, std::max(first.Maximum, second.Maximum), {}};
}

}

BarChartLOD gMakeCoarserLevel(const BarChartLOD& finer)
{
    BarChartLOD coarser;
    coarser.LODLevel = finer.LODLevel + 1;
    coarser.NumEvents = finer.NumEvents;
    coarser.Bars.reserve((finer.Bars.size() + 1) / 2);
    for (std::size_t i = 0; i + 1 < finer.Bars.size(); i += 2)
        coarser.Bars.push_back(gJoin(finer.Bars[i], finer.Bars[i + 1]));
    if (finer.Bars.size() % 2 != 0)
        coarser.Bars.push_back(finer.Bars.back());
    return coarser;
}

void BarChartLevels::SetChart(const BarChart* chart)
{
    mChart = chart;
    mCoarseLevels.clear();
    if (chart == nullptr)
        return;
    const BarChartLOD* last = &chart->GetLOD(chart->GetNumLODs() - 1);
    while (last->Bars.size() > cFewBars)
    {
        BarChartLOD coarser = gMakeCoarserLevel(*last);
        last = &mCoarseLevels.emplace_back(std::move(coarser));
    }
}

int32_t BarChartLevels::GetNumLevels() const
{
    return mChart->GetNumLODs() + static_cast<int32_t>(mCoarseLevels.size());
}

const BarChartLOD& BarChartLevels::GetLevel(int32_t level) const
{
    const int32_t numOwn = mChart->GetNumLODs();
    return level < numOwn ? mChart->GetLOD(level) : mCoarseLevels[static_cast<std::size_t>(level - numOwn)];
}

void LevelOpacities::FollowZoom(float blend)
{
    mLower = 1.0F - gSmooth(2.0F * (blend - 0.5F));
    mUpper = gSmooth(2.0F * blend);
}

void LevelOpacities::Fade(float blend, double seconds)
{
    const auto step = static_cast<float>((blend > 0.5F ? 2.0 : -2.0) * seconds);
    mLower = std::clamp(mLower - step, 0.0F, 1.0F);
    mUpper = std::clamp(mUpper + step, 0.0F, 1.0F);
}

}
