#include "BarChartPlugin/BarChartView.h"

#include "BarChartPlugin/BarChartWidget.h"

namespace Profiler
{

BarChartView::BarChartView(ViewContext& context, BarChartModel& model, Event<double, double>& hostRangeChosen)
    : mWidget{std::make_unique<BarChartWidget>(context, model, hostRangeChosen, nullptr)}
{}

BarChartView::~BarChartView() = default;

std::vector<ViewWidget*> BarChartView::GetWidgets()
{
    return {mWidget.get()};
}

}
