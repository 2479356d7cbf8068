#include "BarChartPlugin/BarChartContentsControl.h"

#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartSelectedMessage.h"
#include "BarChartPlugin/BarChartTooltip.h"
#include "BarChartPlugin/ChartLayout.h"
#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/ScrollBarControl.h"
#include "ProfilerLib/controls/ZoomScrollBarControl.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/settings/KeyboardState.h"
#include "ProfilerLib/settings/Settings.h"
#include "Renderer/DesktopFont.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Utility/Clock.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace Profiler
{

using Renderer::Colour;

namespace
{

constexpr double cWindowAnimationSeconds = 0.5;
constexpr float cSlotWidth = 11.0F;
constexpr float cLineWidth = 2.0F;

constexpr Colour cBackgroundColour{1.0F, 1.0F, 1.0F, 1.0F};
constexpr Colour cMessageColour{0.7F, 0.7F, 0.7F, 1.0F};
constexpr Colour cUpperColour{0.697F, 0.731F, 0.85F, 0.85F};
constexpr Colour cLowerColour{0.82F, 0.86F, 1.0F, 1.0F};
constexpr Colour cSelectionColour{1.0F, 1.0F, 0.6F, 1.0F};
constexpr Colour cSelectionBorderColour{0.0F, 0.0F, 0.0F, 1.0F};

Colour gFade(const Colour& colour, float alpha)
{
    return {colour.mRed, colour.mGreen, colour.mBlue, colour.mAlpha * alpha};
}

Colour gScale(const Colour& colour, float factor)
{
    return {colour.mRed * factor, colour.mGreen * factor, colour.mBlue * factor, colour.mAlpha * factor};
}

}

BarChartContentsControl::BarChartContentsControl(ControlContext* context, const Settings& settings,
    const Input::KeyboardState& keyboard, BarChartModel& model, ZoomScrollBarControl& zoomBar,
    ScrollBarControl& scrollBar, Event<double, double>& hostRangeChosen)
    : Control{context},
      mKeyboard{&keyboard},
      mSettings{&settings},
      mModel{&model},
      mHostRangeHandle{hostRangeChosen.Subscribe([this](double, double) { mSelection = {}; })},
      mVerticalRange{scrollBar.GetValue()},
      mZoomRange{zoomBar.GetRange()},
      mClock{&Utility::gGetTimeSeconds},
      mAnimatedStart{0.0F, cWindowAnimationSeconds},
      mAnimatedEnd{0.0F, cWindowAnimationSeconds}
{
    using EDragMode = ZoomScrollBarControl::EDragMode;
    zoomBar.SetDragCallback([this](ZoomScrollBarControl*, EDragMode mode) {
        if (mode != EDragMode::Middle)
            mInteractiveZoom = true;
    });
    zoomBar.SetReleaseCallback([this](ZoomScrollBarControl*, EDragMode mode) {
        if (mode != EDragMode::Middle)
            mInteractiveZoom = false;
        SyncWindow();
    });
}

void BarChartContentsControl::SetBarChart(const BarChart* chart)
{
    mLevels.SetChart(chart);
    // The bars of another chart.
    mHoveredBar = {};
}

void BarChartContentsControl::SetMode(EMode mode)
{
    if (mode == mMode)
        return;
    mMode = mode;
    mModeChanged.Fire(mode);
    ShowModeCursor();
}

void BarChartContentsControl::ShowModeCursor()
{
    switch (mMode)
    {
    case EMode::Select:
        SetCursor(ECursor::Default);
        break;
    case EMode::Zoom:
        SetCursor(ECursor::Zoom);
        break;
    case EMode::Pan:
        SetCursor(ECursor::Pan);
        break;
    }
}

void BarChartContentsControl::SelectRange(double startMs, double endMs)
{
    if (mLevels.GetChart() == nullptr)
        return;
    const BarChartLOD& occurrences = mLevels.GetLevel(0);
    const int32_t first = occurrences.FindBarByStartTime(startMs);
    const int32_t last = occurrences.FindBarByEndTime(endMs);
    mSelection = first >= 0 && last >= 0 ? Selection{first, last + 1} : Selection{};
}

float BarChartContentsControl::GetSlotCount() const
{
    return std::trunc(GetWidth()) / ScaledX(cSlotWidth);
}

void BarChartContentsControl::SyncWindow()
{
    mAnimatedStart.JumpTo(mZoomRange->mStart);
    mAnimatedEnd.JumpTo(mZoomRange->mEnd);
}

void BarChartContentsControl::OnLayout()
{
    mZoomRange->mMinimumLength = GetSlotCount();
    SyncWindow();
}

void BarChartContentsControl::Update(double deltaSeconds)
{
    const AnimatedFloat::EStep start = mAnimatedStart.Advance(deltaSeconds);
    const AnimatedFloat::EStep end = mAnimatedEnd.Advance(deltaSeconds);
    if (start == AnimatedFloat::EStep::AtRest && end == AnimatedFloat::EStep::AtRest)
        return;
    mZoomRange->SetStart(mAnimatedStart.GetValue());
    mZoomRange->SetEnd(mAnimatedEnd.GetValue());
    // A window that has jumped beyond its old end was held there.
    mZoomRange->SetStart(mAnimatedStart.GetValue());
}

void BarChartContentsControl::AnimateWindow(const Span& window)
{
    const Span fitted = gFitWindow(window, mZoomRange->mMinimumLength, mZoomRange->mTotal);
    mAnimatedStart.MoveTo(fitted.mBegin);
    mAnimatedEnd.MoveTo(fitted.mEnd);
}

void BarChartContentsControl::MoveWindow(double pan, double zoom)
{
    const double length = mAnimatedEnd.GetTarget() - mAnimatedStart.GetTarget();
    // Far away a number has no digits left for the length.
    const double middle =
        std::clamp(mAnimatedStart.GetTarget() + length * (0.5 + pan), 0.0, static_cast<double>(mZoomRange->mTotal));
    const double newLength = length * std::pow(10.0, -zoom);
    AnimateWindow({static_cast<float>(middle - newLength * 0.5), static_cast<float>(middle + newLength * 0.5)});
}

void BarChartContentsControl::ShowBars(int32_t first, int32_t last, bool fits)
{
    const auto begin = static_cast<float>(first);
    const float end = static_cast<float>(last) + 1.0F;
    const Span window{mAnimatedStart.GetTarget(), mAnimatedEnd.GetTarget()};
    if (fits)
        AnimateWindow({begin, end});
    else if (begin < window.mBegin || end > window.mEnd)
    {
        const float half = (window.mEnd - window.mBegin) * 0.5F;
        const float middle = (begin + end) * 0.5F;
        AnimateWindow({middle - half, middle + half});
    }
}

BarView BarChartContentsControl::GetView() const
{
    return {mZoomRange->mStart, mZoomRange->mEnd, std::trunc(GetWidth()), std::trunc(GetHeight()),
        gGetCeiling(mVerticalRange->mMaximum, mVerticalRange->mValue)};
}

void BarChartContentsControl::Render(Renderer::PrimitiveRenderer& renderer)
{
    BeginRender(renderer, mPrimitives);
    const BarView view = GetView();
    mPrimitives.FillRect({0.0F, 0.0F}, {view.mWidth, view.mHeight}, cBackgroundColour, ChartLayer::cBackground);
    if (mLevels.GetChart() == nullptr)
    {
        DrawMessage(renderer);
        return;
    }
    const double now = mClock();
    if (view.IsVisible())
    {
        DrawBars(view, now);
        DrawSelection(view, now);
    }
    mLastRenderTime = now;
}

void BarChartContentsControl::DrawMessage(Renderer::PrimitiveRenderer& renderer)
{
    const char* message = mModel->GetAllBarCharts().empty() ? "No instrumentation events"
                                                            : "Select an event to view instrumentation timings";
    const float size = std::trunc(Renderer::GetDefaultFontSize() * 1.4F);
    const float width = std::trunc(renderer.MeasureText(message, size));
    const Renderer::Vector2 position{(std::trunc(GetWidth()) - width) * 0.5F, (std::trunc(GetHeight()) - size) * 0.5F};
    mPrimitives.DrawText(position, size, cMessageColour, message, ChartLayer::cForeground);
}

void BarChartContentsControl::DrawBars(const BarView& view, double now)
{
    const LODPair levels = gFindLODs((view.mEnd - view.mStart) / GetSlotCount(), mLevels.GetNumLevels());
    if (mInteractiveZoom)
        mOpacities.FollowZoom(levels.mBlend);
    else
        mOpacities.Fade(levels.mBlend, now - mLastRenderTime);
    if (mOpacities.mLower > 0.0F)
        DrawLevel(view, mLevels.GetLevel(levels.mLower), mOpacities.mLower, ChartLayer::cLowerLevel, now);
    if (mOpacities.mUpper > 0.0F)
        DrawLevel(view, mLevels.GetLevel(levels.mUpper), mOpacities.mUpper, ChartLayer::cUpperLevel, now);
}

void BarChartContentsControl::DrawLevel(
    const BarView& view, const BarChartLOD& lod, float alpha, uint32_t layer, double now)
{
    if (lod.Bars.empty())
        return;
    // So the level that is drawn last decides.
    mHoveredBar = {};
    const bool canHover = mMode == EMode::Select && IsMouseInside();
    const double group = std::exp2(lod.LODLevel);
    const BarRun run = gFindVisibleBars(view, lod);
    float x = run.mX;
    for (int32_t i = run.mFirst; i <= run.mLast; ++i, x += run.mBarWidth)
    {
        const BarShape shape = gShapeBar(view, lod.Bars[static_cast<std::size_t>(i)], group, x, run.mBarWidth);
        const bool isHovered = canHover && shape.IsUnder(GetMousePosition().mX);
        if (isHovered)
            mHoveredBar = {lod.LODLevel, i};
        DrawBar(view, shape, isHovered, alpha, layer, now);
    }
}

void BarChartContentsControl::DrawBar(
    const BarView& view, const BarShape& shape, bool isHovered, float alpha, uint32_t layer, double now)
{
    Colour upper = gFade(cUpperColour, alpha);
    Colour lower = gFade(cLowerColour, alpha);
    if (isHovered)
    {
        const auto pulse = static_cast<float>((std::sin(now * 10.0) + 0.5) * 0.25 + 1.0);
        upper = gScale(upper, pulse);
        lower = gScale(lower, pulse);
        const float t = ScaledX(cLineWidth);
        mPrimitives.FrameRect({shape.mLeft - t, shape.mMaximumTop - t}, {shape.mRight + t, view.mHeight + t}, t,
            gScale(upper, 0.5F), layer - 1);
    }
    mPrimitives.FillRect({shape.mLeft, shape.mMaximumTop}, {shape.mRight, shape.mAverageTop}, upper, layer);
    mPrimitives.FillRect({shape.mLeft, shape.mAverageTop}, {shape.mRight, view.mHeight}, lower, layer);
}

void BarChartContentsControl::DrawSelection(const BarView& view, double now)
{
    if (!mSelection.IsSet())
        return;
    const Span span = gGetSelectionSpan(view, mSelection.mFirst, mSelection.mLast);
    const float pointer = GetMousePosition().mX;
    float fillAlpha = 0.3F;
    float borderAlpha = 0.15F;
    if (!(span.mBegin <= pointer && pointer <= span.mEnd))
    {
        constexpr float pulsesPerSecond = 1.5F;
        const float phase = 2.0F * std::numbers::pi_v<float> * pulsesPerSecond * static_cast<float>(now);
        const float wave = (std::sin(phase) + 1.0F) * 0.5F * 0.2F;
        fillAlpha = 0.3F + wave;
        borderAlpha = 0.45F + wave;
    }
    const float t = ScaledX(cLineWidth);
    mPrimitives.BorderedRect({span.mBegin - t, 0.0F}, {span.mEnd + t, view.mHeight}, t,
        gFade(cSelectionColour, fillAlpha), gFade(cSelectionBorderColour, borderAlpha), ChartLayer::cForeground,
        ChartLayer::cForeground);
}

void BarChartContentsControl::Zoom(const Span& window, float amount, int32_t anchor, bool isAnimated)
{
    const Span zoomed = gZoom(window, amount, anchor);
    if (isAnimated)
    {
        mAnimatedStart.MoveTo(zoomed.mBegin);
        mAnimatedEnd.MoveTo(zoomed.mEnd);
        return;
    }
    mZoomRange->SetStart(zoomed.mBegin);
    mZoomRange->SetEnd(zoomed.mEnd);
    SyncWindow();
}

void BarChartContentsControl::Pan(float pixels)
{
    mZoomRange->Move(mRangeAtPress.mStart - pixels / GetWidth() * mRangeAtPress.GetLength());
    SyncWindow();
}

void BarChartContentsControl::OnMousePress(MouseEvent& event)
{
    if (event.buttons != MouseButton::cLeft)
        return;
    mModeAtPress = mMode;
    mRangeAtPress = *mZoomRange;
    mPressPosition = event.position;
    mAnchorAtPress = GetView().GetBarPosition(event.position.mX);
    const InputSettings& input = mSettings->GetInputSettings();
    if (mKeyboard->IsKeyDown(input.GetKey(EAction::Zoom)))
        SetMode(EMode::Zoom);
    else if (mKeyboard->IsKeyDown(input.GetKey(EAction::Pan)))
        SetMode(EMode::Pan);
    mButtonUp = false;
    event.handled = true;
}

void BarChartContentsControl::OnMouseMove(MouseEvent& event)
{
    // The release can get lost to another window, or to a second button.
    if (!mButtonUp && (event.buttons & MouseButton::cLeft) == 0)
        EndDrag();
    if (!mButtonUp)
    {
        const float pixels = event.position.mX - mPressPosition.mX;
        if (mMode == EMode::Zoom)
        {
            const float sensitivity = mSettings->GetInputSettings().GetMouseMoveSensitivity(true);
            Zoom({mRangeAtPress.mStart, mRangeAtPress.mEnd}, gGetDragZoom(pixels, sensitivity),
                static_cast<int32_t>(mAnchorAtPress), false);
            mInteractiveZoom = true;
        }
        else if (mMode == EMode::Pan)
            Pan(pixels);
    }
    Control::OnMouseMove(event);
}

void BarChartContentsControl::OnMouseRelease(MouseEvent& event)
{
    if (mButtonUp)
        return;
    if (mMode == EMode::Select && mHoveredBar.IsSet() && mLevels.GetChart() != nullptr)
        ReportBar(mHoveredBar);
    EndDrag();
    event.handled = true;
}

void BarChartContentsControl::EndDrag()
{
    mInteractiveZoom = false;
    if (mMode != mModeAtPress)
        SetMode(EMode::Select);
    mButtonUp = true;
    ShowModeCursor();
}

void BarChartContentsControl::ReportBar(const BarIndex& index)
{
    const BarChartDescription& description = mLevels.GetChart()->GetDescription();
    // A copy: a listener may put another chart in place of this one.
    const BarChartLOD::Bar bar = mLevels.GetLevel(index.mLevel).Bars[static_cast<std::size_t>(index.mBar)];
    const Session& session = *mModel->GetSession();
    std::vector<InstrumentationSearchResult> events;
    session.GetInstrumentationDatabase().FindEventsByName(description.Name, events);
    std::vector<AddressElement> addresses;
    addresses.reserve(events.size());
    for (const InstrumentationSearchResult& event : events)
        addresses.push_back({event.mID, event.mIsInstrumentation});
    gSendBarChartSelected(*mModel->GetPlugin()->GetMessageBus(), gGetMessageScope(session), description.ThreadID,
        bar.StartTimeMs, bar.EndTimeMs, addresses);
}

void BarChartContentsControl::OnMouseWheel(WheelEvent& event)
{
    const InputSettings& input = mSettings->GetInputSettings();
    if (!mKeyboard->IsKeyDown(input.GetKey(EAction::Zoom)))
        return;
    const BarView view = GetView();
    Zoom({view.mStart, view.mEnd}, gGetWheelZoom(event.delta, input.GetMouseWheelSensitivity(true)),
        static_cast<int32_t>(view.GetBarPosition(event.position.mX)), true);
    event.handled = true;
}

void BarChartContentsControl::OnMouseLeave()
{
    mHoveredBar = {};
    mInteractiveZoom = false;
    ShowModeCursor();
    Control::OnMouseLeave();
}

std::string BarChartContentsControl::GetTooltip(const Renderer::Vector2&)
{
    if (mMode != EMode::Select || !mHoveredBar.IsSet() || mLevels.GetChart() == nullptr)
        return {};
    return gMakeBarTooltip(*mLevels.GetChart(), mLevels.GetLevel(mHoveredBar.mLevel), mHoveredBar.mBar);
}

}
