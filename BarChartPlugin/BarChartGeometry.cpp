#include "BarChartPlugin/BarChartGeometry.h"

#include <algorithm>
#include <cmath>

namespace Profiler
{

namespace
{

/// Pixels between two bars.
constexpr float cGap = 2.0F;

/// More powers of ten than any chart has bars. Settings come from a file and may hold any number.
constexpr float cLargestZoom = 12.0F;

float gGetTop(const BarView& view, double duration)
{
    // All occurrences of a chart may have taken no time.
    const double fraction = view.mCeiling > 0.0 ? duration / view.mCeiling : 0.0;
    const double height = view.mHeight;
    return static_cast<float>(height - fraction * height);
}

}

double gGetCeiling(float maximum, float value)
{
    return std::max(static_cast<double>(maximum) * 0.02, static_cast<double>(maximum - value));
}

BarRun gFindVisibleBars(const BarView& view, const BarChartLOD& lod)
{
    const double group = std::exp2(lod.LODLevel);
    const double length = static_cast<double>(view.mEnd) - view.mStart;
    const auto numBars = static_cast<double>(lod.Bars.size());
    BarRun run;
    run.mBarWidth = static_cast<float>(view.mWidth / (length / group));
    run.mFirst = static_cast<int32_t>(std::clamp(std::trunc(view.mStart / group), 0.0, numBars));
    run.mLast = static_cast<int32_t>(std::clamp(std::trunc(view.mEnd / group + 1.0), -1.0, numBars - 1.0));
    run.mX = static_cast<float>(std::trunc((run.mFirst * group - view.mStart) / length * view.mWidth));
    return run;
}

BarShape gShapeBar(const BarView& view, const BarChartLOD::Bar& bar, double group, float left, float barWidth)
{
    return {left, left + barWidth - cGap, gGetTop(view, bar.Maximum), gGetTop(view, bar.TotalTimeMs / group)};
}

Span gGetSelectionSpan(const BarView& view, int32_t first, int32_t last)
{
    return {view.GetX(static_cast<float>(first)), view.GetX(static_cast<float>(last)) - cGap};
}

Span gZoom(const Span& window, float amount, int32_t anchor)
{
    const float length = window.mEnd - window.mBegin;
    const double power = std::isnan(amount) ? 0.0 : std::clamp(amount, -cLargestZoom, cLargestZoom);
    const auto newLength = static_cast<float>(std::pow(10.0, std::log10(static_cast<double>(length)) - power));
    const double fraction = (anchor - static_cast<double>(window.mBegin)) / length;
    const auto begin = static_cast<float>(anchor - fraction * newLength);
    return {begin, begin + newLength};
}

Span gFitWindow(const Span& wanted, float minimumLength, float total)
{
    const float middle = (wanted.mBegin + wanted.mEnd) * 0.5F;
    const float length = std::max(minimumLength, std::min(total, wanted.mEnd - wanted.mBegin));
    const float begin = std::max(0.0F, std::min(total - length, middle - length * 0.5F));
    return {begin, begin + length};
}

float gGetDragZoom(float pixels, float sensitivity)
{
    return pixels * ((sensitivity * 0.05F + 0.001F) * 0.3F);
}

float gGetWheelZoom(int32_t delta, float sensitivity)
{
    return static_cast<float>(delta) * ((sensitivity * 0.025F + 0.0005F) * 0.3F);
}

}
