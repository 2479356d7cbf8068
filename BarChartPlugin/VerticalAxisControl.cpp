#include "BarChartPlugin/VerticalAxisControl.h"

#include "BarChartPlugin/BarChartGeometry.h"
#include "BarChartPlugin/ChartLayout.h"
#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/ZoomRange.h"
#include "Renderer/DesktopFont.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Utility/TimeFormat.h"

#include <cmath>
#include <string>

namespace Profiler
{

using Renderer::Colour;
using Renderer::Vector2;

namespace
{

constexpr Colour cLineColour{0.7F, 0.7F, 0.7F, 1.0F};
constexpr Colour cLabelColour{0.35F, 0.35F, 0.35F, 1.0F};

}

VerticalAxisControl::VerticalAxisControl(ControlContext* context, const ScrollValue* verticalRange)
    : Control{context},
      mVerticalRange{verticalRange}
{}

void VerticalAxisControl::Render(Renderer::PrimitiveRenderer& renderer)
{
    BeginRender(renderer, mPrimitives);
    const AxisLayout axis = gLayOutAxis(GetWidth(), GetHeight(), ScaledX(6.0F), ScaledX(2.0F), ScaledX(10.0F));
    mPrimitives.DrawLine(axis.mTop, axis.mBottom, axis.mThickness, cLineColour, ChartLayer::cAxis);
    for (const Vector2& end : {axis.mTop, axis.mBottom})
        mPrimitives.DrawLine(end, axis.GetTickEnd(end), axis.mThickness, cLineColour, ChartLayer::cForeground);
    DrawLabel(renderer, axis);
}

void VerticalAxisControl::DrawLabel(Renderer::PrimitiveRenderer& renderer, const AxisLayout& axis)
{
    const float size = Renderer::GetDefaultFontSize();
    // What is 4.8 ms but for the rounding of a float must not read as 4 ms 799.
    constexpr double halfMicrosecond = 0.0005;
    const std::string label =
        Utility::gFormatDuration(gGetCeiling(mVerticalRange->mMaximum, mVerticalRange->mValue) + halfMicrosecond);
    const float width = renderer.MeasureText(label, std::trunc(size));
    mPrimitives.DrawText(axis.GetLabelPosition(width), size, cLabelColour, label, ChartLayer::cForeground);
}

}
