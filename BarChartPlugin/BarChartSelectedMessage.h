#pragma once

#include "ProfilerLib/plugin/Message.h"
#include "ProfilerLib/plugin/MessageListener.h"

#include <cstdint>
#include <vector>

namespace Profiler
{

class MessageBus;

/// Tells the listeners of a session that a bar was clicked: its thread, its time in milliseconds, and the identifiers
/// of the events that have the chart's name.
void gSendBarChartSelected(MessageBus& bus, MessageScope scope, int32_t threadID, double startTime, double endTime,
    const std::vector<AddressElement>& addresses);

}
