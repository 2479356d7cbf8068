#include "Quarkspindle/window/OccurrenceExport.h"

#include <span>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/Output.h"
#include "System/JobDescription.h"
#include "Utility/FileWriter.h"

namespace Quarkspindle
{

namespace
{

constexpr std::size_t cBlockSize = std::size_t{1} << 20;

void AppendLine(std::string& text, uint32_t index, const Profiler::BarChartLOD::Bar& bar)
{
    text += std::to_string(index);
    for (const double value : {bar.StartTimeMs, bar.EndTimeMs, bar.TotalTimeMs})
    {
        text += ',';
        gAppendNumber(text, value);
    }
    text += ',';
    gAppendCsvField(text, bar.Context);
    text += '\n';
}

}

bool gExportCsv(const Profiler::BarChart& chart, std::size_t numRows,
    const std::function<uint32_t(std::size_t)>& getBar, const std::string& path, const bool& cancelled,
    JobProgress& progress, Utility::Result& result)
{
    FileSystem::AtomicFileWriter writer;
    FileSystem::FileError error;
    if (!writer.Open(path, error))
        return result.FailText(0, error.ToString());
    const auto& bars = chart.GetLOD(0).Bars;
    std::string text = "index,start_ms,end_ms,duration_ms,context\n";
    for (std::size_t row = 0; row < numRows; ++row)
    {
        const uint32_t bar = getBar(row);
        AppendLine(text, bar, bars[bar]);
        if (text.size() < cBlockSize && row + 1 < numRows)
            continue;
        if (System::gIsCancelled(cancelled))
            return false;
        progress = static_cast<float>(row) / static_cast<float>(numRows);
        if (!writer.Write(std::as_bytes(std::span{text}), error))
            return result.FailText(0, error.ToString());
        text.clear();
    }
    if (!text.empty() && !writer.Write(std::as_bytes(std::span{text}), error))
        return result.FailText(0, error.ToString());
    return writer.Commit(error) || result.FailText(0, error.ToString());
}

}
