#pragma once

#include <string>
#include <vector>

namespace Profiler
{
class BarChart;
struct BarChartLOD;
}

namespace Quarkspindle
{

class Output;

/// The forms in which a chart leaves the program. It borrows the chart.
class ChartPrinter
{
public:
    /// `level` is the level of detail whose bars are given, 0 to 9.
    ChartPrinter(const Profiler::BarChart& chart, std::string threadName, int level);

    /// Level 0: index,start_ms,end_ms,duration_ms,context. Above: index,start_ms,end_ms,minimum_ms,average_ms,
    /// maximum_ms,occurrences.
    void PrintCsv(Output& output) const;

    /// Statistics, and the bars with the members of the CSV form.
    void PrintJson(Output& output) const;

    /// For people: statistics, the slowest occurrences, and a strip of bars `width` columns wide.
    void PrintText(Output& output, int width) const;

private:
    void PrintStatistics(Output& output) const;
    void PrintSlowest(Output& output, int width) const;
    void PrintStrip(Output& output, int width) const;

    const Profiler::BarChart& mChart;
    const Profiler::BarChartLOD& mLOD;
    std::string mThreadName;
};

/// `values`, none negative, as a strip of `rows` lines of block characters, at most `width` columns, each as high as
/// the largest value that it covers. The largest of all fills the height, and a value above 0 always shows.
std::vector<std::string> gMakeBarStrip(const std::vector<double>& values, std::size_t width, int rows);

}
