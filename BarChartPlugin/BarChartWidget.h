#pragma once

#include "BarChartPlugin/BarChartContentsControl.h"
#include "BarChartPlugin/BarChartDescription.h"
#include "ProfilerLib/plugin/MessageListener.h"
#include "ProfilerLib/plugin/ViewWidget.h"
#include "System/JobScheduler.h"
#include "Utility/Event.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QAction;

namespace Ui
{
class BarChartWidget;
}

namespace Profiler
{

class BarChart;
class BarChartControl;
class BarChartModel;
class ChartNavigator;
class Settings;
struct ViewContext;

/// The view "Instrumentation Timings": combo boxes for event and thread, a tool bar, and beside them the chart. It
/// turns what is picked into requests to the model, and shows the charts that come back. It has no drawing of its own.
///
/// Until the chart could be brought up the combo boxes are live and do nothing, and where it cannot be they never do;
/// what a message asks for meanwhile is shown as soon as it is up. The GUI thread only, but for the callback that it
/// gives to the model, which emits the signal and touches nothing.
class BarChartWidget final : public ViewWidget, public MessageListener
{
    Q_OBJECT

public:
    /// Everything but the parent, which may be null, outlives the widget.
    BarChartWidget(ViewContext& context, BarChartModel& model, Event<double, double>& hostRangeChosen, QWidget* parent);
    /// Waits until the job of the last request is gone.
    ~BarChartWidget() override;

    void Update(double value) override;
    QSize sizeHint() const override;

    /// "BarSelected" from another view: shows the event and thread that it names, and selects its time range.
    void OnMessage(const Message& message) override;

Q_SIGNALS:
    /// A chart that was asked for is there; times of -1 select nothing. The thread of the job, or this one.
    void OnGetOrCreateBarChartCompleted(BarChart* inBarChart, double inStartTime, double inEndTime);

private:
    using EMode = BarChartContentsControl::EMode;

    /// What a message asks for.
    struct Request
    {
        BarChartDescription mChart;
        double mStartTime;
        double mEndTime;
    };

    void MakeToolBar();
    void ConnectForm();
    void FillEvents();
    /// Once GL is up.
    void Initialise(ViewContext& context, Event<double, double>& hostRangeChosen);

    void OnModeActionToggled();
    void OnModeChanged(EMode mode);
    void UpdateToolTips();

    void OnEventChanged(int index);
    void OnThreadChanged();
    void OnBarChartReady(BarChart* chart, double startTime, double endTime);

    bool IsInitialised() const;
    /// What the combo boxes say; nothing unless both have a current item.
    std::optional<BarChartDescription> GetPicked() const;
    void PopulateThreads(const std::string& event, int32_t keep);
    void Show(const Request& request);
    void ShowPendingRequest();
    void RequestChart(double startTime, double endTime);
    void ClearChart();

    std::unique_ptr<Ui::BarChartWidget> mForm;
    std::vector<std::string> mEvents; ///< names in the order of the combo box, byte for byte as the charts have them
    BarChartModel* mModel;
    Settings* mSettings;
    BarChartControl* mBarChartControl = nullptr; ///< null until GL is up; the host widget owns it
    std::unique_ptr<ChartNavigator> mNavigator;  ///< null until GL is up
    System::JobHandle mJob;                      ///< of the latest request
    std::optional<Request> mPendingRequest;      ///< of the last message, until GL is up
    EventSubscription mSettingsChangedHandle;
    EventSubscription mModeChangedHandle;
};

}
