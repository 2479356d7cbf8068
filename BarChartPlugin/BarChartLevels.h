#pragma once

#include "BarChartPlugin/BarChart.h"

#include <cstdint>
#include <vector>

namespace Profiler
{

/// The levels that a view draws a chart from: its own, and above them coarser ones, made of its last one until few bars
/// are left. A chart has ten levels, and more than some ten thousand occurrences would crowd even the last of them on a
/// screen: its bars would be narrower than the gaps between them, and a frame would cost the more the longer the chart.
class BarChartLevels
{
public:
    /// Makes the coarser levels: about as many bars as the last level of the chart has. Null is no chart. A chart
    /// outlives its place here.
    void SetChart(const BarChart* chart);
    const BarChart* GetChart() const { return mChart; }

    int32_t GetNumLevels() const;
    /// At that index, which is its `LODLevel`; unchecked.
    const BarChartLOD& GetLevel(int32_t level) const;

private:
    const BarChart* mChart = nullptr;
    std::vector<BarChartLOD> mCoarseLevels;
};

/// A level with one bar for each two of `finer`.
[[nodiscard]] BarChartLOD gMakeCoarserLevel(const BarChartLOD& finer);

/// How much is seen of each of the two levels between which a view is, from 0 to 1.
struct LevelOpacities
{
    float mLower = 1.0F;
    float mUpper = 1.0F;

    /// While the user zooms: the upper level comes in the first half of the way up, the lower one leaves in the second.
    void FollowZoom(float blend);
    /// Otherwise they fade within half a second to the level that is nearer; at the middle that is the lower one.
    void Fade(float blend, double seconds);
};

}
