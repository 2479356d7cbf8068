#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "BarChartPlugin/BarChartDescription.h"
#include "Utility/Result.h"

namespace Profiler
{
class BarChart;
class BarChartModel;
class Session;
}

namespace Quarkspindle
{

/// The chart model among the session's models; null with the reason in `result` when the plug-in gave none.
Profiler::BarChartModel* gFindBarChartModel(Profiler::Session& session, Utility::Result& result);

/// The thread whose chart of the event `name` is meant: `threadID` when it is given, else the one with most
/// occurrences, the first of them among equals. Nothing, with the reason in `result`, when there is no such chart, or
/// after an interrupt. Reads the events once when it has to choose among several threads.
std::optional<int32_t> gChooseThread(Profiler::Session& session, Profiler::BarChartModel& model,
    const std::string& name, std::optional<int32_t> threadID, const std::atomic<bool>& interrupted,
    Utility::Result& result);

/// The event and thread with most begins among the first million events, the first of them among equals; nothing when
/// there are none.
std::optional<Profiler::BarChartDescription> gFindBusiestChart(
    Profiler::Session& session, const std::atomic<bool>& interrupted);

/// The chart from the model, computed by its job on the session's scheduler when it has to be, while this thread waits.
/// Null with the reason in `result` when that was interrupted. The chart belongs to the model.
const Profiler::BarChart* gComputeChart(Profiler::Session& session, Profiler::BarChartModel& model,
    const std::string& name, int32_t threadID, const std::atomic<bool>& interrupted, Utility::Result& result);

}
