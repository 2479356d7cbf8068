#pragma once

#include <cstdint>
#include <string>

#include "ProfilerLib/controls/Control.h"

namespace Profiler
{

class RootControl;

/// Brings the input of one host to the controls of its tree, and keeps which of them has the mouse (the capture), is
/// under it (the hover) and has the keyboard (the focus). Owned by the host widget, which turns the window system's
/// events into calls; knows neither Qt nor GL. The GUI thread only. The tree must not lose a control while it lives.
///
/// Points are those of the surface, in pixels. A press, release, move, double click or wheel goes to a target and from
/// there to those of its ancestors that are bubble targets:
///
///     press         what is hit; it gets the focus, and the first control that handles it becomes the capture
///     move, release the capture, or what is hit while there is none; a release ends the capture
///     double click  what is hit
///     wheel         what is hit
///
/// A key goes to the focused control and all its ancestors until one handles it.
class InputRouter
{
public:
    /// What the routing asks of the widget.
    class Host
    {
    public:
        virtual void ShowCursor(ECursor cursor) = 0;
        /// The focus has moved inside the tree: the widget takes the keyboard if it lacks it, and paints again.
        virtual void OnFocusChanged() = 0;

    protected:
        ~Host() = default;
    };

    InputRouter(RootControl& root, Host& host) : mRoot(root), mHost(host) {}
    InputRouter(const InputRouter&) = delete;
    InputRouter& operator=(const InputRouter&) = delete;

    void Press(const Renderer::Vector2& point, uint8_t button, uint16_t modifiers);
    void Release(const Renderer::Vector2& point, uint8_t button, uint16_t modifiers);
    void Move(const Renderer::Vector2& point, uint8_t buttons, uint16_t modifiers);
    void DoubleClick(const Renderer::Vector2& point, uint8_t button, uint16_t modifiers);
    /// True when a control has handled it.
    bool Wheel(const Renderer::Vector2& point, int32_t delta, uint16_t modifiers);
    /// True when a control has handled it.
    bool PressKey(KeyEvent& event);
    bool ReleaseKey(KeyEvent& event);
    /// The mouse has left the widget.
    void Leave();

    /// Gives the focus to the control, or to the next interactive one above it; to none for null.
    void SetFocus(Control* control);
    /// The widget has lost the keyboard to something else. True when a control had the focus.
    bool DropFocus();

    /// The text for a point: the first that a control gives on the way up from what is hit there; controls that lie
    /// outside the visible rectangle are not asked. Empty while there is a capture.
    std::string GetTooltip(const Renderer::Vector2& point, const Renderer::Rectangle& visible);

    Control* GetCaptured() const { return mCaptured; }
    Control* GetHovered() const { return mHovered; }
    Control* GetFocused() const { return mFocused; }

private:
    Control* Find(const Renderer::Vector2& point) const;
    void SetHover(Control* control);
    void ShowCursorOf(const Control* control);
    bool RouteKey(KeyEvent& event, void (Control::*handler)(KeyEvent&));

    RootControl& mRoot;
    Host& mHost;
    Control* mCaptured = nullptr;
    Control* mHovered = nullptr;
    Control* mFocused = nullptr;
};

}
