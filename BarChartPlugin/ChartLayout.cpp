#include "BarChartPlugin/ChartLayout.h"

#include <cmath>

namespace Profiler
{

ChartLayout gLayOutChart(float width, float height, float axisWidth, float barThickness)
{
    const float axis = std::trunc(axisWidth);
    const float bar = std::trunc(barThickness);
    const float body = std::trunc(height - bar);
    const float left = axis + bar;
    return {{0.0F, 0.0F, axis, body}, {axis, 0.0F, bar, body}, {left, 0.0F, width - left, body},
        {left, body, width - left, bar}};
}

AxisLayout gLayOutAxis(float width, float height, float margin, float thickness, float tickLength)
{
    const float x = std::trunc(width) - margin;
    const float inset = thickness * 0.5F;
    return {{x, inset}, {x, std::trunc(height) - inset}, thickness, tickLength};
}

}
