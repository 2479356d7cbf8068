#include "BarChartPlugin/ChartNavigator.h"

#include "BarChartPlugin/BarChart.h"
#include "BarChartPlugin/BarChartContentsControl.h"
#include "BarChartPlugin/BarChartControl.h"
#include "ProfilerLib/plugin/Message.h"

#include <cmath>

namespace Profiler
{

ChartNavigator::ChartNavigator(MessageScope scope, MessageBus* bus, BarChartControl& chart)
    : MessageListener{scope, bus},
      mChart{chart}
{}

void ChartNavigator::OnMessage(const Message& message)
{
    if (mChart.GetBarChart() == nullptr)
        return;
    if (message.GetSchema().GetName() == "MoveChart")
        OnMoveChart(message);
    else if (message.GetSchema().GetName() == "ShowBars")
        OnShowBars(message);
}

void ChartNavigator::OnMoveChart(const Message& message)
{
    const std::optional<double> pan = message.ReadDouble("Pan");
    const std::optional<double> zoom = message.ReadDouble("Zoom");
    if (pan && zoom && std::isfinite(*pan) && std::isfinite(*zoom))
        mChart.GetContents().MoveWindow(*pan, *zoom);
}

void ChartNavigator::OnShowBars(const Message& message)
{
    const std::optional<int32_t> first = message.ReadInt32("First");
    const std::optional<int32_t> last = message.ReadInt32("Last");
    const std::optional<int32_t> fits = message.ReadInt32("Fits");
    const int32_t numBars = mChart.GetBarChart()->GetNumEvents();
    if (first && last && fits && *first >= 0 && *first <= *last && *last < numBars)
        mChart.GetContents().ShowBars(*first, *last, *fits != 0);
}

}
