#pragma once

#include "ProfilerLib/controls/Control.h"
#include "Renderer/PrimitiveList.h"
#include "Utility/Event.h"

namespace Profiler
{

class BarChart;
class BarChartContentsControl;
class BarChartModel;
class ScrollBarControl;
class VerticalAxisControl;
class ZoomScrollBarControl;
struct ViewContext;

/// A whole chart: axis, plot, and the bars for its vertical scale and its window. The root of the host widget owns it.
/// The GUI thread only.
///
/// Normalise and Average are no modes: they move the vertical scroll bar once, and nothing remembers them.
class BarChartControl final : public Control
{
public:
    /// The context's services, the model and the event outlive the control. The event tells that a time range was
    /// chosen elsewhere in the host.
    BarChartControl(ControlContext* controlContext, ViewContext& context, BarChartModel& model,
        Event<double, double>& hostRangeChosen);

    /// Shows a chart of the model, fully zoomed out, with a ceiling of 1.2 times its longest occurrence; or none, for
    /// null, which leaves the ranges as they are.
    void SetBarChart(const BarChart* chart);
    const BarChart* GetBarChart() const { return mBarChart; }

    /// See `BarChartContentsControl`.
    void SelectRange(double startMs, double endMs);

    /// Without a chart these do nothing.
    void ZoomToExtents();
    void Normalize();
    void Average();

    BarChartContentsControl& GetContents() { return *mContents; }

    void Render(Renderer::PrimitiveRenderer& renderer) override;
    void OnLayout() override;

private:
    void ResetRanges();

    Renderer::PrimitiveList mPrimitives{100};
    const BarChart* mBarChart = nullptr;
    // Children.
    ScrollBarControl* mScrollBar;
    ZoomScrollBarControl* mZoomBar;
    VerticalAxisControl* mAxis;
    BarChartContentsControl* mContents;
};

}
