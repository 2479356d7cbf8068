#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/plugin/MessageListener.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/plugin/ViewWidget.h"
#include "System/JobScheduler.h"

namespace Profiler
{
class BarChart;
class BarChartModel;
}

namespace Quarkspindle
{

using Profiler::BarChart;

/// What stands in the place of the charts where there is no OpenGL to draw them with, and says so. A view of the
/// plug-in would not do there: a widget that draws with OpenGL leaves all of its window black. To the window it is a
/// view like others: it answers "BarSelected" with the chart, so that tables and histograms work.
class BlankViewWidget final : public Profiler::ViewWidget, public Profiler::MessageListener
{
    Q_OBJECT

public:
    /// The model, and its session, outlive the widget.
    BlankViewWidget(Profiler::BarChartModel& model, Profiler::MessageBus& bus, const std::string& reason);
    /// Waits until the job of the last request is gone.
    ~BlankViewWidget() override;

    void OnMessage(const Profiler::Message& message) override;

signals:
    /// As a view of charts has it; on the thread of the widgets.
    void OnGetOrCreateBarChartCompleted(BarChart* inBarChart, double inStartTime, double inEndTime);

private:
    Profiler::BarChartModel& mModel;
    System::JobHandle mJob; ///< of the latest request
};

/// Owns the widget, as the views of plug-ins own theirs.
class BlankView final : public Profiler::View
{
public:
    BlankView(Profiler::BarChartModel& model, Profiler::MessageBus& bus, const std::string& reason)
        : mWidget{std::make_unique<BlankViewWidget>(model, bus, reason)}
    {}

    std::vector<Profiler::ViewWidget*> GetWidgets() override { return {mWidget.get()}; }

private:
    std::unique_ptr<BlankViewWidget> mWidget;
};

}
