#include "ProfilerLib/controls/Control.h"

#include <algorithm>

#include "Renderer/PrimitiveRenderer.h"

namespace Profiler
{

using Renderer::Rectangle;
using Renderer::Vector2;

namespace
{

float Limit(float value, float limit)
{
    return std::max(0.0f, std::min(value, limit));
}

bool IsApart(const Rectangle& visible, const Rectangle& child)
{
    return visible.mX > child.mX + child.mWidth || child.mX > visible.mX + visible.mWidth ||
           visible.mY > child.mY + child.mHeight || child.mY > visible.mY + visible.mHeight;
}

Rectangle Intersect(const Rectangle& a, const Rectangle& b)
{
    const float left = std::max(a.mX, b.mX);
    const float top = std::max(a.mY, b.mY);
    const float right = std::min(a.mX + a.mWidth, b.mX + b.mWidth);
    const float bottom = std::min(a.mY + a.mHeight, b.mY + b.mHeight);
    return {left, top, right - left, bottom - top};
}

}

void Control::Update(double deltaSeconds)
{
    for (const auto& child : mChildren)
        child->Update(deltaSeconds);
}

void Control::Render(Renderer::PrimitiveRenderer& renderer)
{
    if (!mVisible)
        return;
    const Vector2 origin = GetOrigin();
    for (const auto& child : mChildren)
    {
        const Rectangle& rect = child->mRect;
        if (child->mVisible &&
            !IsApart(mVisibleRect, {origin.mX + rect.mX, origin.mY + rect.mY, rect.mWidth, rect.mHeight}))
            child->Render(renderer);
    }
}

void Control::OnMouseMove(MouseEvent& event)
{
    mMousePosition = event.position;
}

void Control::OnMouseLeave()
{
    mMousePosition = cNoPosition;
}

std::string Control::GetTooltip(const Vector2&)
{
    return {};
}

Rectangle Control::GetRect(bool unclipped, bool onScreen) const
{
    Rectangle rect = mRect;
    for (const Control* ancestor = mParent; ancestor != nullptr; ancestor = ancestor->mParent)
    {
        const Rectangle& outer = ancestor->mRect;
        if (!unclipped)
        {
            const float right = outer.mX + outer.mWidth;
            const float bottom = outer.mY + outer.mHeight;
            const Vector2 p0{Limit(rect.mX, right), Limit(rect.mY, bottom)};
            const Vector2 p1{Limit(rect.mX + rect.mWidth, right), Limit(rect.mY + rect.mHeight, bottom)};
            rect = {p0.mX, p0.mY, p1.mX - p0.mX, p1.mY - p0.mY};
        }
        rect.mX += outer.mX;
        rect.mY += outer.mY;
    }
    if (onScreen)
    {
        const Vector2 origin = GetScreenOrigin();
        rect.mX += origin.mX;
        rect.mY += origin.mY;
    }
    return rect;
}

Vector2 Control::GetOrigin() const
{
    Vector2 origin{mRect.mX, mRect.mY};
    for (const Control* ancestor = mParent; ancestor != nullptr; ancestor = ancestor->mParent)
        origin = origin + Vector2{ancestor->mRect.mX, ancestor->mRect.mY};
    return origin;
}

void Control::UpdateVisibleRects(const Rectangle& viewport)
{
    mVisibleRect = Intersect(GetRect(false, false), viewport);
    for (const auto& child : mChildren)
        child->UpdateVisibleRects(viewport);
}

void Control::BeginRender(Renderer::PrimitiveRenderer& renderer, Renderer::PrimitiveList& list) const
{
    renderer.BeginList(list, mVisibleRect, GetOrigin());
}

Control* Control::HitTest(int32_t x, int32_t y)
{
    if (!mVisible)
        return nullptr;
    const Rectangle rect = GetRect(false, false);
    const Vector2 point{static_cast<float>(x), static_cast<float>(y)};
    if (!(point.mX >= rect.mX && point.mX < rect.mX + rect.mWidth && point.mY >= rect.mY &&
            point.mY < rect.mY + rect.mHeight))
        return nullptr;
    for (const auto& child : mChildren)
    {
        if (Control* const hit = child->HitTest(x, y))
            return hit;
    }
    return mInteractive ? this : nullptr;
}

Vector2 Control::GetScreenOrigin() const
{
    return mParent != nullptr ? mParent->GetScreenOrigin() : Vector2{};
}

}
