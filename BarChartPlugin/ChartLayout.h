#pragma once

#include "Renderer/Vectors.h"

#include <cstdint>

namespace Profiler
{

/// Layers of the chart, from back to front.
namespace ChartLayer
{
inline constexpr uint32_t cFrame = 105;
inline constexpr uint32_t cBackground = 104;
inline constexpr uint32_t cLowerLevel = 103;
inline constexpr uint32_t cUpperLevel = 102;
inline constexpr uint32_t cForeground = 101; ///< selection, ticks and labels, thumbs, messages
inline constexpr uint32_t cAxis = 0;
}

/// Where the four parts of a chart stand in a control of some size, in pixels.
struct ChartLayout
{
    Renderer::Rectangle mAxis;
    Renderer::Rectangle mScrollBar; ///< right of the axis
    Renderer::Rectangle mContents;  ///< right of the scroll bar, with all the width that is left
    Renderer::Rectangle mZoomBar;   ///< under the contents
};

/// In a control with less height than a bar is thick the parts above the zoom bar have a negative one.
[[nodiscard]] ChartLayout gLayOutChart(float width, float height, float axisWidth, float barThickness);

/// The parts of the vertical axis: a line with a tick at either end, and the label of the upper one.
struct AxisLayout
{
    Renderer::Vector2 mTop;
    Renderer::Vector2 mBottom;
    float mThickness;  ///< of all lines
    float mTickLength; ///< to the left of the line

    Renderer::Vector2 GetTickEnd(const Renderer::Vector2& point) const { return {point.mX - mTickLength, point.mY}; }
    /// The upper left corner of a label of that width.
    Renderer::Vector2 GetLabelPosition(float labelWidth) const
    {
        return {mTop.mX - (2.0F * mTickLength + labelWidth), mTop.mY};
    }
};

/// In a control of that size; `margin` is right of the line.
[[nodiscard]] AxisLayout gLayOutAxis(float width, float height, float margin, float thickness, float tickLength);

}
