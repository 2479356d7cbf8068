#include "ProfilerLib/controls/InputRouter.h"

#include <cmath>

#include "ProfilerLib/controls/RootControl.h"

namespace Profiler
{

using Renderer::Rectangle;
using Renderer::Vector2;

namespace
{

/// Takes the event up from its target. Returns the control that set `handled`, or null.
template <class Event>
Control* Route(Control* target, const Vector2& point, Event& event, void (Control::*handler)(Event&))
{
    Control* handledBy = nullptr;
    for (Control* control = target; control != nullptr; control = control->GetParent())
    {
        const bool isMeant =
            control == target ? control->IsBubbleTarget() || !event.handled : control->IsBubbleTarget();
        if (!isMeant || !control->IsInteractive())
            continue;
        const Rectangle rect = control->GetRect(false, false);
        event.position = point - Vector2{rect.mX, rect.mY};
        (control->*handler)(event);
        if (event.handled && handledBy == nullptr)
            handledBy = control;
    }
    return handledBy;
}

int GetDepth(const Control* control)
{
    int depth = 0;
    for (; control != nullptr; control = control->GetParent())
        ++depth;
    return depth;
}

const Control* FindCommonAncestor(const Control* a, const Control* b)
{
    int depthOfA = GetDepth(a);
    int depthOfB = GetDepth(b);
    while (a != b)
    {
        if (depthOfA >= depthOfB)
        {
            a = a->GetParent();
            --depthOfA;
        }
        else
        {
            b = b->GetParent();
            --depthOfB;
        }
    }
    return a;
}

/// Calls an operation for the control and all above it, the outermost first, up to and without `end`.
void CallDownTo(Control* control, const Control* end, void (Control::*operation)())
{
    if (control == end)
        return;
    CallDownTo(control->GetParent(), end, operation);
    (control->*operation)();
}

bool Touches(const Rectangle& a, const Rectangle& b)
{
    return a.mX <= b.mX + b.mWidth && b.mX <= a.mX + a.mWidth && a.mY <= b.mY + b.mHeight && b.mY <= a.mY + a.mHeight;
}

}

void InputRouter::Press(const Vector2& point, uint8_t button, uint16_t modifiers)
{
    mCaptured = nullptr;
    Control* const hit = Find(point);
    SetFocus(hit);
    MouseEvent event{.buttons = button, .modifiers = modifiers};
    mCaptured = Route(hit, point, event, &Control::OnMousePress);
    SetHover(hit);
    ShowCursorOf(hit);
}

void InputRouter::Release(const Vector2& point, uint8_t button, uint16_t modifiers)
{
    MouseEvent event{.buttons = button, .modifiers = modifiers};
    Route(mCaptured != nullptr ? mCaptured : Find(point), point, event, &Control::OnMouseRelease);
    mCaptured = nullptr;
    Control* const hit = Find(point);
    ShowCursorOf(hit);
    SetHover(hit);
}

void InputRouter::Move(const Vector2& point, uint8_t buttons, uint16_t modifiers)
{
    Control* const target = mCaptured != nullptr ? mCaptured : Find(point);
    MouseEvent event{.buttons = buttons, .modifiers = modifiers};
    Route(target, point, event, &Control::OnMouseMove);
    SetHover(target);
    ShowCursorOf(target);
}

void InputRouter::DoubleClick(const Vector2& point, uint8_t button, uint16_t modifiers)
{
    MouseEvent event{.buttons = button, .modifiers = modifiers};
    Route(Find(point), point, event, &Control::OnMouseDoubleClick);
}

bool InputRouter::Wheel(const Vector2& point, int32_t delta, uint16_t modifiers)
{
    WheelEvent event{.delta = delta, .modifiers = modifiers};
    Route(Find(point), point, event, &Control::OnMouseWheel);
    return event.handled;
}

bool InputRouter::PressKey(KeyEvent& event)
{
    return RouteKey(event, &Control::OnKeyPress);
}

bool InputRouter::ReleaseKey(KeyEvent& event)
{
    return RouteKey(event, &Control::OnKeyRelease);
}

bool InputRouter::RouteKey(KeyEvent& event, void (Control::*handler)(KeyEvent&))
{
    for (Control* control = mFocused; control != nullptr; control = control->GetParent())
    {
        (control->*handler)(event);
        if (event.handled)
            return true;
    }
    // Which cursor is right can depend on the keys that are held.
    ShowCursorOf(mFocused);
    return false;
}

void InputRouter::Leave()
{
    SetHover(nullptr);
}

void InputRouter::SetFocus(Control* control)
{
    while (control != nullptr && !control->IsInteractive())
        control = control->GetParent();
    if (control == mFocused)
        return;
    Control* const before = mFocused;
    mFocused = control;
    if (before != nullptr)
        before->OnFocusLost();
    if (control != nullptr)
        control->OnFocusGained();
    mHost.OnFocusChanged();
}

bool InputRouter::DropFocus()
{
    Control* const before = mFocused;
    if (before == nullptr)
        return false;
    mFocused = nullptr;
    before->OnFocusLost();
    return true;
}

std::string InputRouter::GetTooltip(const Vector2& point, const Rectangle& visible)
{
    if (mCaptured != nullptr)
        return {};
    for (Control* control = Find(point); control != nullptr; control = control->GetParent())
    {
        if (!control->IsVisible() || !Touches(control->GetRect(true, false), visible))
            continue;
        const Rectangle rect = control->GetRect(false, false);
        if (std::string text = control->GetTooltip(point - Vector2{rect.mX, rect.mY}); !text.empty())
            return text;
    }
    return {};
}

Control* InputRouter::Find(const Vector2& point) const
{
    return mRoot.HitTest(static_cast<int32_t>(point.mX), static_cast<int32_t>(point.mY));
}

void InputRouter::SetHover(Control* control)
{
    if (control == mHovered)
        return;
    const Control* const common = FindCommonAncestor(mHovered, control);
    CallDownTo(mHovered, common, &Control::OnMouseLeave);
    CallDownTo(control, common, &Control::OnMouseEnter);
    mHovered = control;
}

void InputRouter::ShowCursorOf(const Control* control)
{
    while (control != nullptr && control->GetCursor() == ECursor::Default)
        control = control->GetParent();
    mHost.ShowCursor(control != nullptr ? control->GetCursor() : ECursor::Default);
}

}
