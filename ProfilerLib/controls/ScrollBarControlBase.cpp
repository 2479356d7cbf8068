#include "ProfilerLib/controls/ScrollBarControlBase.h"

#include <cmath>

#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>

#include "ProfilerLib/controls/DpiScale.h"

namespace Profiler
{

using Renderer::Colour;
using Renderer::Rectangle;
using Renderer::Vector2;

namespace
{

Colour GetBorderColour()
{
    // Without an application there is no palette; tests of the numbers need neither.
    if (QCoreApplication::instance() == nullptr)
        return {0.5f, 0.5f, 0.5f, 1.0f};
    const QColor dark = QGuiApplication::palette().color(QPalette::Dark);
    return {static_cast<float>(dark.redF()), static_cast<float>(dark.greenF()), static_cast<float>(dark.blueF()),
        static_cast<float>(dark.alphaF())};
}

}

ScrollBarControlBase::ScrollBarControlBase(
    ControlContext* context, EOrientation orientation, uint32_t backgroundLayer, uint32_t thumbLayer)
    : Control(context),
      mOrientation(orientation),
      mBackgroundLayer(backgroundLayer),
      mThumbLayer(thumbLayer),
      mBorderColour(GetBorderColour())
{}

Rectangle ScrollBarControlBase::GetThumbRect(float value, float total, uint32_t units, bool atEnd) const
{
    const float margin = std::round(DpiScaleX());
    const float thickness = GetThickness();
    const float half = static_cast<float>(units) * 0.5f;
    const float travel = std::trunc(GetLength() - thickness * static_cast<float>(units) - 2.0f * margin);
    const float offset = std::round(travel * (value / total));
    const float centre = std::trunc(offset + std::trunc(thickness * half + margin));
    const float position = atEnd ? centre + (half - 1.0f) * thickness : centre - thickness * half;
    const float across = thickness - 2.0f * margin;
    return mOrientation == EOrientation::Horizontal ? Rectangle{position, margin, thickness, across}
                                                    : Rectangle{margin, position, across, thickness};
}

bool ScrollBarControlBase::Contains(const Rectangle& rect, const Vector2& point)
{
    return point.mX >= rect.mX && point.mX < rect.mX + rect.mWidth && point.mY >= rect.mY &&
           point.mY < rect.mY + rect.mHeight;
}

float ScrollBarControlBase::GetLength() const
{
    return std::trunc(mOrientation == EOrientation::Horizontal ? GetWidth() : GetHeight());
}

float ScrollBarControlBase::GetThickness() const
{
    return std::trunc(mOrientation == EOrientation::Horizontal ? GetHeight() : GetWidth());
}

Vector2 ScrollBarControlBase::GetParentPosition(const MouseEvent& event) const
{
    return event.position + Vector2{GetLocalRect().mX, GetLocalRect().mY};
}

float ScrollBarControlBase::GetDraggedPart(const MouseEvent& event, const Vector2& from) const
{
    const Vector2 delta = GetParentPosition(event) - from;
    return (mOrientation == EOrientation::Horizontal ? delta.mX : delta.mY) / GetLength();
}

void ScrollBarControlBase::DrawTrough(Renderer::PrimitiveRenderer& renderer)
{
    constexpr Colour white{1.0f, 1.0f, 1.0f, 1.0f};
    BeginRender(renderer, mPrimitives);
    mPrimitives.BorderedRect({0.0f, 0.0f}, {GetWidth(), GetHeight()}, ScaledX(1.0f), white, mBorderColour,
        mBackgroundLayer, mBackgroundLayer);
}

void ScrollBarControlBase::DrawThumb(const Rectangle& rect, float grey)
{
    mPrimitives.FillRect(
        {rect.mX, rect.mY}, {rect.mX + rect.mWidth, rect.mY + rect.mHeight}, {grey, grey, grey, 1.0f}, mThumbLayer);
}

}
