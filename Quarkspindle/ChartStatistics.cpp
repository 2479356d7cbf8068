#include "Quarkspindle/ChartStatistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "BarChartPlugin/BarChart.h"

namespace Quarkspindle
{

namespace
{

/// The value at a rank from 0 of durations that are in any order; reorders them.
double SelectRank(std::vector<double>& durations, std::size_t rank)
{
    const auto position = durations.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(durations.begin(), position, durations.end());
    return *position;
}

double SelectPercentile(std::vector<double>& durations, int percent)
{
    const std::size_t rank = (durations.size() * static_cast<std::size_t>(percent) + 99) / 100;
    return SelectRank(durations, std::max<std::size_t>(rank, 1) - 1);
}

double SelectMedian(std::vector<double>& durations)
{
    const std::size_t middle = durations.size() / 2;
    const double upper = SelectRank(durations, middle);
    if (durations.size() % 2 != 0)
        return upper;
    const double lower = *std::max_element(durations.begin(), durations.begin() + static_cast<std::ptrdiff_t>(middle));
    return std::midpoint(lower, upper);
}

}

ChartStatistics gComputeStatistics(const Profiler::BarChart& chart)
{
    const auto& bars = chart.GetLOD(0).Bars;
    std::vector<double> durations(bars.size());
    std::transform(bars.begin(), bars.end(), durations.begin(), [](const auto& bar) { return bar.TotalTimeMs; });
    return gComputeStatistics(durations);
}

ChartStatistics gComputeStatistics(std::vector<double>& durations)
{
    ChartStatistics statistics;
    if (durations.empty())
        return statistics;
    const auto [minimum, maximum] = std::minmax_element(durations.begin(), durations.end());
    statistics.Count = static_cast<int64_t>(durations.size());
    statistics.Total = std::accumulate(durations.begin(), durations.end(), 0.0);
    statistics.Minimum = *minimum;
    statistics.Maximum = *maximum;
    statistics.Mean = statistics.Total / static_cast<double>(durations.size());
    statistics.Median = SelectMedian(durations);
    statistics.P95 = SelectPercentile(durations, 95);
    statistics.P99 = SelectPercentile(durations, 99);
    return statistics;
}

std::vector<int32_t> gFindSlowest(const Profiler::BarChart& chart, int32_t count)
{
    const auto& bars = chart.GetLOD(0).Bars;
    std::vector<int32_t> indices(bars.size());
    std::iota(indices.begin(), indices.end(), 0);
    const auto end = indices.begin() + std::min<std::ptrdiff_t>(count, static_cast<std::ptrdiff_t>(indices.size()));
    std::partial_sort(indices.begin(), end, indices.end(), [&](int32_t a, int32_t b) {
        const double durationA = bars[static_cast<std::size_t>(a)].TotalTimeMs;
        const double durationB = bars[static_cast<std::size_t>(b)].TotalTimeMs;
        return durationA != durationB ? durationA > durationB : a < b;
    });
    indices.erase(end, indices.end());
    return indices;
}

}
