#pragma once

#include "ProfilerLib/plugin/MessageListener.h"

namespace Profiler
{

class BarChartControl;

/// Moves a chart by what the window around it asks for on the bus: "MoveChart" (keys that pan and zoom) and "ShowBars"
/// (rows of a table come in sight). docs/window.md describes both. The widget owns it, from when its chart is up.
class ChartNavigator final : public MessageListener
{
public:
    /// The control outlives the navigator.
    ChartNavigator(MessageScope scope, MessageBus* bus, BarChartControl& chart);

    void OnMessage(const Message& message) override;

private:
    void OnMoveChart(const Message& message);
    void OnShowBars(const Message& message);

    BarChartControl& mChart;
};

}
