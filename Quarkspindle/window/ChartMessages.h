#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Profiler
{
class MessageBus;
class Session;
}

namespace Quarkspindle
{

// What the window says to the views of a session. docs/window.md describes each message.

/// The id of an event by its exact name, or nothing when the capture does not know it.
std::optional<uint64_t> gFindInstrumentationID(const Profiler::Session& session, const std::string& name);

/// "BarSelected": the bars from one that starts to one that ends at exactly these milliseconds are the selected ones;
/// other times, such as -1, take a selection away. With the id of an event the chart of that event and thread comes on
/// show first; without it they are bars of the chart that is there.
void gSendBarSelected(Profiler::MessageBus& bus, const Profiler::Session& session, double startMs, double endMs,
    int32_t threadID, std::optional<uint64_t> instrumentationID);

/// "MoveChart": moves what the chart shows by `pan` times its width, to later occurrences when that is positive, and
/// shows 10 to the power of `zoom` times fewer of them around its middle.
void gSendMoveChart(Profiler::MessageBus& bus, const Profiler::Session& session, double pan, double zoom);

/// "ShowBars": the occurrences from one index to another, both included, come in sight: moved there when `fits` is
/// false, and filling the width when it is true.
void gSendShowBars(Profiler::MessageBus& bus, const Profiler::Session& session, int32_t first, int32_t last, bool fits);

}
