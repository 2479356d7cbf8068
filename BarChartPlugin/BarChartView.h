#pragma once

#include "ProfilerLib/plugin/View.h"
#include "Utility/Event.h"

#include <memory>
#include <vector>

namespace Profiler
{

class BarChartModel;
class BarChartWidget;

/// The view on the charts of one session: one widget.
class BarChartView final : public View
{
public:
    /// Everything outlives the view. There must be a QApplication.
    BarChartView(ViewContext& context, BarChartModel& model, Event<double, double>& hostRangeChosen);
    ~BarChartView() override;

    std::vector<ViewWidget*> GetWidgets() override;

private:
    std::unique_ptr<BarChartWidget> mWidget;
};

}
