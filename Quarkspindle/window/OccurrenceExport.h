#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Quarkspindle/window/OccurrenceList.h"
#include "Utility/Result.h"

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

/// Writes bars of a chart's level 0 as CSV: index,start_ms,end_ms,duration_ms,context, numbers with 17 digits, the
/// lines in the order of the rows; `getBar` says which bar is in which row. The file takes the path's place when it is
/// complete. False with the reason in `result`, or with none after a cancellation; then nothing has changed. Any one
/// thread.
[[nodiscard]] bool gExportCsv(const Profiler::BarChart& chart, std::size_t numRows,
    const std::function<uint32_t(std::size_t)>& getBar, const std::string& path, const bool& cancelled,
    JobProgress& progress, Utility::Result& result);

}
