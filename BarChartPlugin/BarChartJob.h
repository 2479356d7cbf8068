#pragma once

namespace Profiler
{

class BarChart;
class TraceEventStream;

/// Feeds all events of the stream to a chart. Any thread: it reads through an iterator of its own. False when
/// `cancelled`, which is looked at after each event, ended it early.
[[nodiscard]] bool gBuildBarChart(const TraceEventStream& stream, BarChart& chart, const bool& cancelled);

}
