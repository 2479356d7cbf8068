#pragma once

#include "BarChartPlugin/BarChartLOD.h"

#include <cstdint>

namespace Profiler
{

// Where the parts of a chart stand, as plain numbers. The horizontal axis counts bars of level 0, all equally wide; the
// vertical one is duration in milliseconds, from 0 at the bottom. Pixels are those of the control, y down.

/// The part of a chart that a control of that size shows.
struct BarView
{
    float mStart = 0.0F;   ///< in bars of level 0, at the left edge
    float mEnd = 0.0F;     ///< at the right edge
    float mWidth = 0.0F;   ///< in whole pixels
    float mHeight = 0.0F;  ///< in whole pixels
    double mCeiling = 0.0; ///< the duration that reaches the top edge

    /// False when there is nothing to be seen of any chart.
    bool IsVisible() const { return mWidth >= 1.0F && mHeight >= 1.0F && mEnd > mStart; }
    /// The bar position under a pixel.
    float GetBarPosition(float x) const { return x / mWidth * (mEnd - mStart) + mStart; }
    /// The pixel of a bar position.
    float GetX(float bars) const { return (bars - mStart) / (mEnd - mStart) * mWidth; }
};

/// The duration at the top edge for a vertical scroll bar at `value` of `maximum`, which is never less than 2 % of it.
[[nodiscard]] double gGetCeiling(float maximum, float value);

/// The bars of one level that a view shows.
struct BarRun
{
    int32_t mFirst;  ///< index in the level
    int32_t mLast;   ///< the last one, included; below `mFirst` when there is none
    float mX;        ///< left edge of the first one in pixels
    float mBarWidth; ///< from one left edge to the next
};

[[nodiscard]] BarRun gFindVisibleBars(const BarView& view, const BarChartLOD& lod);

/// The parts of one bar: its maximum as the cap, its average as the body.
struct BarShape
{
    float mLeft;
    float mRight;
    float mMaximumTop;
    float mAverageTop;

    /// The gap between two bars belongs to neither, and the pointer's height plays no part.
    bool IsUnder(float x) const { return mLeft < x && x < mRight; }
};

/// `group` is the number of occurrences that a full bar of the level covers.
[[nodiscard]] BarShape gShapeBar(
    const BarView& view, const BarChartLOD::Bar& bar, double group, float left, float barWidth);

/// A range from one horizontal position to another: of pixels, or of bars.
struct Span
{
    float mBegin;
    float mEnd;
};

/// The pixels of the bars from `first` to before `last`, without the gap behind them.
[[nodiscard]] Span gGetSelectionSpan(const BarView& view, int32_t first, int32_t last);

/// The window of bars that remains of `window` after zooming in by `amount` powers of ten around the bar `anchor`,
/// which stays where it is.
[[nodiscard]] Span gZoom(const Span& window, float amount, int32_t anchor);

/// The window nearest to the wanted one that begins at 0 or later, ends at `total` or earlier, and is no shorter than
/// the least length; that goes before the total. Keeps the length where it can, and the middle where the length
/// changes.
[[nodiscard]] Span gFitWindow(const Span& wanted, float minimumLength, float total);

/// How many powers of ten a drag of so many pixels, or a turn of the wheel by `delta` (120 a notch), zooms in. The
/// sensitivities are the cubed ones.
[[nodiscard]] float gGetDragZoom(float pixels, float sensitivity);
[[nodiscard]] float gGetWheelZoom(int32_t delta, float sensitivity);

}
