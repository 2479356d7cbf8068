#pragma once

#include "BarChartPlugin/BarChartGeometry.h"
#include "BarChartPlugin/BarChartLevels.h"
#include "ProfilerLib/controls/AnimatedFloat.h"
#include "ProfilerLib/controls/Control.h"
#include "ProfilerLib/controls/ZoomRange.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/Vectors.h"
#include "Utility/Event.h"

#include <array>
#include <cstdint>
#include <string>

namespace Input
{
class KeyboardState;
}

namespace Profiler
{

class BarChart;
class BarChartModel;
class ScrollBarControl;
class Settings;
class ZoomScrollBarControl;

/// The plot: draws the bars of one chart, and turns the pointer into hover, tooltip, zoom, pan and the message of a
/// picked bar. It has no scale of its own: the window lies in the zoom bar and the ceiling in the vertical scroll bar,
/// so that a drag there and one here move the same numbers. What a frame costs depends on the width alone.
///
/// A picked bar is not selected by that: it is told to the session's listeners, and is drawn as selected once one of
/// them answers (`SelectRange`).
///
/// The GUI thread only.
class BarChartContentsControl final : public Control
{
public:
    /// What a drag does. A key that is held at the press chooses zoom or pan for that drag, and select follows it.
    enum class EMode : int32_t
    {
        Select = 0,
        Zoom = 1,
        Pan = 2,
    };

    /// In seconds.
    using Clock = double (*)();

    /// Everything outlives the control; it takes the drag and release callbacks of the zoom bar.
    BarChartContentsControl(ControlContext* context, const Settings& settings, const Input::KeyboardState& keyboard,
        BarChartModel& model, ZoomScrollBarControl& zoomBar, ScrollBarControl& scrollBar,
        Event<double, double>& hostRangeChosen);

    /// Fired with each change of the mode. A handler must not change it.
    Event<EMode> mModeChanged;

    /// A chart of the model, or null for none. The caller sets the window for it.
    void SetBarChart(const BarChart* chart);
    void SetMode(EMode mode);
    EMode GetMode() const { return mMode; }

    /// Selects the occurrences from the one that starts to the one that ends at exactly these times. Where one of them
    /// is missing nothing is selected, so that -1 and -1 clear the selection.
    void SelectRange(double startMs, double endMs);

    /// The occurrences that are selected, from the first to before the last; -1 and -1 for none.
    std::array<int32_t, 2> GetSelection() const { return {mSelection.mFirst, mSelection.mLast}; }

    /// The occurrences that are on show.
    const ZoomRange& GetWindow() const { return *mZoomRange; }

    /// How many slots for a bar the width has; so many bars are the smallest window.
    float GetSlotCount() const;

    /// After the window was set by others: the animation of the window rests there.
    void SyncWindow();

    /// Brings other occurrences in sight, eased: moved by `pan` windows, then 10 to the power of `zoom` times fewer
    /// around the middle. From where an earlier call leads to, not from where it has come.
    void MoveWindow(double pan, double zoom);
    /// Brings these occurrences in sight, both included: they fill the window when `fits` is set; otherwise it keeps
    /// its length, and stays where it is when they are in sight already.
    void ShowBars(int32_t first, int32_t last, bool fits);

    /// For tests, which stop it.
    void SetClock(Clock clock) { mClock = clock; }

    void Update(double deltaSeconds) override;
    void Render(Renderer::PrimitiveRenderer& renderer) override;
    void OnMousePress(MouseEvent& event) override;
    void OnMouseRelease(MouseEvent& event) override;
    void OnMouseMove(MouseEvent& event) override;
    void OnMouseWheel(WheelEvent& event) override;
    void OnMouseLeave() override;
    std::string GetTooltip(const Renderer::Vector2& position) override;
    void OnLayout() override;

private:
    /// A bar of the chart, or none.
    struct BarIndex
    {
        int32_t mLevel = -1;
        int32_t mBar = -1;

        bool IsSet() const { return mLevel != -1 && mBar != -1; }
    };

    /// Occurrences from the first to before the last, or none.
    struct Selection
    {
        int32_t mFirst = -1;
        int32_t mLast = -1;

        bool IsSet() const { return mFirst != -1 && mLast != -1; }
    };

    BarView GetView() const;
    void DrawMessage(Renderer::PrimitiveRenderer& renderer);
    void DrawBars(const BarView& view, double now);
    void DrawLevel(const BarView& view, const BarChartLOD& lod, float alpha, uint32_t layer, double now);
    void DrawBar(const BarView& view, const BarShape& shape, bool isHovered, float alpha, uint32_t layer, double now);
    void DrawSelection(const BarView& view, double now);

    void Zoom(const Span& window, float amount, int32_t anchor, bool isAnimated);
    void Pan(float pixels);
    void AnimateWindow(const Span& window);
    void ReportBar(const BarIndex& index);
    void EndDrag();
    void ShowModeCursor();

    Renderer::PrimitiveList mPrimitives{10000};
    const Input::KeyboardState* mKeyboard;
    const Settings* mSettings;
    BarChartModel* mModel;
    EventSubscription mHostRangeHandle;
    const ScrollValue* mVerticalRange;
    ZoomRange* mZoomRange;
    Clock mClock;

    BarChartLevels mLevels; ///< of the chart on show
    BarIndex mHoveredBar;   ///< rewritten by each frame
    Selection mSelection;

    // As it was at the press.
    ZoomRange mRangeAtPress;
    Renderer::Vector2 mPressPosition;
    float mAnchorAtPress = 0.0F; ///< in bars
    EMode mModeAtPress = EMode::Select;

    EMode mMode = EMode::Select;
    bool mButtonUp = true;         ///< false from a left press until its release
    bool mInteractiveZoom = false; ///< levels follow the zoom, not the clock
    LevelOpacities mOpacities;
    double mLastRenderTime = 0.0;
    AnimatedFloat mAnimatedStart;
    AnimatedFloat mAnimatedEnd;
};

}
