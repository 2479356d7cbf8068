#include "BarChartPlugin/BarChartControl.h"

#include "BarChartPlugin/BarChart.h"
#include "BarChartPlugin/BarChartContentsControl.h"
#include "BarChartPlugin/ChartLayout.h"
#include "BarChartPlugin/VerticalAxisControl.h"
#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/ScrollBarControl.h"
#include "ProfilerLib/controls/ZoomScrollBarControl.h"
#include "ProfilerLib/plugin/View.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Profiler
{

namespace
{

constexpr Renderer::Colour cFrameColour{0.94F, 0.94F, 0.94F, 1.0F};

/// The room above the longest, or the mean, occurrence.
constexpr double cHeadroom = 1.2;

void gPlace(Control& control, const Renderer::Rectangle& rect)
{
    control.SetRect(rect);
    control.OnLayout();
}

}

BarChartControl::BarChartControl(
    ControlContext* controlContext, ViewContext& context, BarChartModel& model, Event<double, double>& hostRangeChosen)
    : Control{controlContext},
      mScrollBar{AddChild(std::make_unique<ScrollBarControl>(
          controlContext, EOrientation::Vertical, ChartLayer::cBackground, ChartLayer::cForeground))},
      mZoomBar{AddChild(std::make_unique<ZoomScrollBarControl>(
          controlContext, EOrientation::Horizontal, ChartLayer::cBackground, ChartLayer::cForeground))},
      mAxis{AddChild(std::make_unique<VerticalAxisControl>(controlContext, mScrollBar->GetValue()))},
      mContents{AddChild(std::make_unique<BarChartContentsControl>(
          controlContext, *context.Settings, *context.KeyboardState, model, *mZoomBar, *mScrollBar, hostRangeChosen))}
{}

void BarChartControl::SetBarChart(const BarChart* chart)
{
    mBarChart = chart;
    mContents->SetBarChart(chart);
    if (chart != nullptr)
        ResetRanges();
}

void BarChartControl::ResetRanges()
{
    // Fewer bars than slots keep the width of a slot.
    const float slots = std::ceil(mContents->GetSlotCount());
    const float total = std::max({static_cast<float>(mBarChart->GetNumEvents()), slots, 1.0F});
    ZoomRange& window = *mZoomBar->GetRange();
    window.SetTotal(total);
    window.SetStart(0.0F);
    window.SetEnd(total);
    mScrollBar->GetValue()->SetMaximum(static_cast<float>(mBarChart->GetLargestTime() * cHeadroom));
    Normalize();
    mContents->SyncWindow();
}

void BarChartControl::SelectRange(double startMs, double endMs)
{
    mContents->SelectRange(startMs, endMs);
}

void BarChartControl::ZoomToExtents()
{
    if (mBarChart == nullptr)
        return;
    ZoomRange& window = *mZoomBar->GetRange();
    window.SetStart(0.0F);
    window.SetEnd(static_cast<float>(mBarChart->GetNumEvents()));
    mContents->SyncWindow();
}

void BarChartControl::Normalize()
{
    if (mBarChart != nullptr)
        mScrollBar->GetValue()->SetValue(0.0F);
}

void BarChartControl::Average()
{
    if (mBarChart == nullptr)
        return;
    // Without occurrences the mean is not a number, and the scroll bar takes that for its maximum.
    const double mean = mBarChart->GetTotalTime() / mBarChart->GetNumEvents();
    const double longest = mBarChart->GetLargestTime();
    mScrollBar->GetValue()->SetValue(static_cast<float>(longest * cHeadroom - mean * cHeadroom));
}

void BarChartControl::Render(Renderer::PrimitiveRenderer& renderer)
{
    Control::Render(renderer);
    BeginRender(renderer, mPrimitives);
    mPrimitives.FillRect(
        {0.0F, 0.0F}, {std::trunc(GetWidth()), std::trunc(GetHeight())}, cFrameColour, ChartLayer::cFrame);
}

void BarChartControl::OnLayout()
{
    const ChartLayout layout = gLayOutChart(GetWidth(), GetHeight(), ScaledX(120.0F), ScaledX(15.0F));
    gPlace(*mAxis, layout.mAxis);
    gPlace(*mScrollBar, layout.mScrollBar);
    gPlace(*mContents, layout.mContents);
    gPlace(*mZoomBar, layout.mZoomBar);
}

}
