#include "BarChartPlugin/BarChartJob.h"

#include "BarChartPlugin/BarChart.h"
#include "ProfilerLib/session/TraceEventCodec.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "System/JobScheduler.h"

namespace Profiler
{

bool gBuildBarChart(const TraceEventStream& stream, BarChart& chart, const bool& cancelled)
{
    bool isComplete = true;
    stream.GetIterator(0.0).ForEachRecord([&](const TraceEventRecord& record) {
        chart.ProcessEvent(record);
        isComplete = !System::gIsCancelled(cancelled);
        return isComplete;
    });
    return isComplete;
}

}
