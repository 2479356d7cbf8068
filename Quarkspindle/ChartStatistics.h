#pragma once

#include <cstdint>
#include <vector>

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

/// What the durations of a chart's occurrences say together, in milliseconds. All 0 for a chart without occurrences.
struct ChartStatistics
{
    int64_t Count = 0;
    double Total = 0.0;
    double Minimum = 0.0;
    double Mean = 0.0;
    double Median = 0.0; ///< the mean of the two in the middle when the count is even
    double P95 = 0.0;    ///< the smallest duration that at least 95 of 100 occurrences do not exceed (nearest rank)
    double P99 = 0.0;
    double Maximum = 0.0;
};

ChartStatistics gComputeStatistics(const Profiler::BarChart& chart);

/// The same for any durations, whose order it changes; their total is added up in the order that they come in.
ChartStatistics gComputeStatistics(std::vector<double>& durations);

/// Indices of the bars of level 0 with the longest durations, the longest first, earlier ones first among equals.
std::vector<int32_t> gFindSlowest(const Profiler::BarChart& chart, int32_t count);

}
