#include "Quarkspindle/ChartPrinter.h"

#include <algorithm>
#include <cmath>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/ChartStatistics.h"
#include "Quarkspindle/Json.h"
#include "Quarkspindle/Output.h"

namespace Quarkspindle
{

namespace
{

using Bar = Profiler::BarChartLOD::Bar;

constexpr int cNumSlowest = 5;
constexpr int cStripRows = 4;

/// How many occurrences a bar of a level covers: 2^level but for the last one, which has the rest.
int64_t CountOccurrences(const Profiler::BarChartLOD& lod, std::size_t index)
{
    const int64_t full = int64_t{1} << lod.LODLevel;
    return std::min(full, lod.NumEvents - static_cast<int64_t>(index) * full);
}

const Profiler::BarChartLOD& GetLevel(const Profiler::BarChart& chart, int level)
{
    static const Profiler::BarChartLOD sEmpty{};
    return level < chart.GetNumLODs() ? chart.GetLOD(level) : sEmpty;
}

void AppendCsvNumber(std::string& line, double value)
{
    line += ',';
    gAppendNumber(line, value);
}

}

ChartPrinter::ChartPrinter(const Profiler::BarChart& chart, std::string threadName, int level)
    : mChart{chart},
      mLOD{GetLevel(chart, level)},
      mThreadName{std::move(threadName)}
{}

void ChartPrinter::PrintCsv(Output& output) const
{
    const bool single = mLOD.LODLevel == 0;
    output.Write(single ? "index,start_ms,end_ms,duration_ms,context\n"
                        : "index,start_ms,end_ms,minimum_ms,average_ms,maximum_ms,occurrences\n");
    std::string line;
    for (std::size_t i = 0; i < mLOD.Bars.size(); ++i)
    {
        const Bar& bar = mLOD.Bars[i];
        line = std::to_string(i);
        AppendCsvNumber(line, bar.StartTimeMs);
        AppendCsvNumber(line, bar.EndTimeMs);
        if (single)
        {
            AppendCsvNumber(line, bar.TotalTimeMs);
            line += ',';
            gAppendCsvField(line, bar.Context);
        }
        else
        {
            const int64_t occurrences = CountOccurrences(mLOD, i);
            AppendCsvNumber(line, bar.Minimum);
            AppendCsvNumber(line, bar.TotalTimeMs / static_cast<double>(occurrences));
            AppendCsvNumber(line, bar.Maximum);
            line += ',' + std::to_string(occurrences);
        }
        line += '\n';
        output.Write(line);
    }
}

void ChartPrinter::PrintJson(Output& output) const
{
    const ChartStatistics statistics = gComputeStatistics(mChart);
    Json json{output};
    json.StartObject();
    json.Member("event", mChart.GetDescription().Name);
    json.Member("thread_id", static_cast<int64_t>(mChart.GetDescription().ThreadID));
    json.Member("thread_name", mThreadName);
    json.Key("statistics");
    json.StartObject();
    json.Member("count", statistics.Count);
    json.Member("total_ms", statistics.Total);
    json.Member("minimum_ms", statistics.Minimum);
    json.Member("mean_ms", statistics.Mean);
    json.Member("median_ms", statistics.Median);
    json.Member("p95_ms", statistics.P95);
    json.Member("p99_ms", statistics.P99);
    json.Member("maximum_ms", statistics.Maximum);
    json.EndObject();
    json.Member("level", static_cast<int64_t>(mLOD.LODLevel));
    json.Key("bars");
    json.StartArray();
    for (std::size_t i = 0; i < mLOD.Bars.size(); ++i)
    {
        const Bar& bar = mLOD.Bars[i];
        json.StartObject();
        json.Member("index", static_cast<int64_t>(i));
        json.Member("start_ms", bar.StartTimeMs);
        json.Member("end_ms", bar.EndTimeMs);
        if (mLOD.LODLevel == 0)
        {
            json.Member("duration_ms", bar.TotalTimeMs);
            json.Member("context", bar.Context);
        }
        else
        {
            const int64_t occurrences = CountOccurrences(mLOD, i);
            json.Member("minimum_ms", bar.Minimum);
            json.Member("average_ms", bar.TotalTimeMs / static_cast<double>(occurrences));
            json.Member("maximum_ms", bar.Maximum);
            json.Member("occurrences", occurrences);
        }
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void ChartPrinter::PrintText(Output& output, int width) const
{
    output.Print("%-9s %s\n", "event", gMakePrintable(mChart.GetDescription().Name).c_str());
    output.Print("%-9s %d%s%s\n", "thread", mChart.GetDescription().ThreadID, mThreadName.empty() ? "" : "  ",
        gMakePrintable(mThreadName).c_str());
    PrintStatistics(output);
    if (mChart.GetNumEvents() == 0)
        return;
    PrintSlowest(output, width);
    PrintStrip(output, width);
}

void ChartPrinter::PrintStatistics(Output& output) const
{
    const ChartStatistics statistics = gComputeStatistics(mChart);
    output.Print("%-9s %s\n", "count", gFormatCount(static_cast<uint64_t>(statistics.Count)).c_str());
    const std::pair<const char*, double> rows[] = {
        {"total", statistics.Total},
        {"minimum", statistics.Minimum},
        {"median", statistics.Median},
        {"p95", statistics.P95},
        {"p99", statistics.P99},
        {"maximum", statistics.Maximum},
    };
    for (const auto& [label, ms] : rows)
        output.Print("%-9s %s\n", label, gFormatMilliseconds(ms).c_str());
}

void ChartPrinter::PrintSlowest(Output& output, int width) const
{
    constexpr std::size_t cColumns = 10 + 14 + 14 + 2;
    const std::size_t room = std::max<std::size_t>(static_cast<std::size_t>(width), cColumns + 20) - cColumns;
    output.Print("\n%10s%14s%14s  %s\n", "slowest", "start", "duration", "context");
    for (const int32_t index : gFindSlowest(mChart, cNumSlowest))
    {
        const Bar& bar = mChart.GetLOD(0).Bars[static_cast<std::size_t>(index)];
        output.Print("%10s%s%s  %s\n", ("#" + std::to_string(index)).c_str(),
            gPadLeft(gFormatMilliseconds(bar.StartTimeMs), 14).c_str(),
            gPadLeft(gFormatMilliseconds(bar.TotalTimeMs), 14).c_str(), gMakePrintable(bar.Context, room).c_str());
    }
}

void ChartPrinter::PrintStrip(Output& output, int width) const
{
    std::vector<double> values(mLOD.Bars.size());
    std::transform(mLOD.Bars.begin(), mLOD.Bars.end(), values.begin(), [](const Bar& bar) { return bar.Maximum; });
    const auto columns = static_cast<std::size_t>(width);
    output.Write("\n");
    for (const std::string& row : gMakeBarStrip(values, columns, cStripRows))
        output.Print("%s\n", row.c_str());

    const std::string first = gFormatMilliseconds(mLOD.Bars.front().StartTimeMs);
    const std::string last = gFormatMilliseconds(mLOD.Bars.back().EndTimeMs);
    const std::size_t used = std::min(columns, values.size());
    output.Print("%s%s\n", gPadRight(first, used > last.size() ? used - last.size() : 0).c_str(),
        (first.size() + last.size() < used ? last : " to " + last).c_str());
}

std::vector<std::string> gMakeBarStrip(const std::vector<double>& values, std::size_t width, int rows)
{
    constexpr int cStepsPerRow = 8;
    static constexpr const char* cBlocks[cStepsPerRow + 1] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

    std::vector<std::string> strip(static_cast<std::size_t>(rows));
    if (values.empty() || width == 0)
        return strip;
    const double largest = *std::max_element(values.begin(), values.end());
    const std::size_t columns = std::min(width, values.size());
    for (std::size_t column = 0; column < columns; ++column)
    {
        const auto begin = values.begin() + static_cast<std::ptrdiff_t>(column * values.size() / columns);
        const auto end = values.begin() + static_cast<std::ptrdiff_t>((column + 1) * values.size() / columns);
        const double value = *std::max_element(begin, end);
        int steps = 0;
        if (value > 0.0)
            steps = std::max(1, static_cast<int>(std::lround(value / largest * rows * cStepsPerRow)));
        for (int row = 0; row < rows; ++row)
        {
            const int below = (rows - 1 - row) * cStepsPerRow;
            strip[static_cast<std::size_t>(row)] += cBlocks[std::clamp(steps - below, 0, cStepsPerRow)];
        }
    }
    return strip;
}

}
