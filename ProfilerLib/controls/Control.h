#pragma once

#include <cfloat>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/controls/Cursor.h"
#include "ProfilerLib/controls/InputEvents.h"
#include "Renderer/Vectors.h"

namespace Renderer
{
class PrimitiveList;
class PrimitiveRenderer;
}

namespace Profiler
{

/// What all controls of one host have in common; the host owns it.
struct ControlContext
{
    Renderer::PrimitiveRenderer* mRenderer = nullptr;
};

/// A rectangle that draws itself and hears of the mouse and the keyboard: the base of all that is in a chart. Controls
/// form a tree that its host builds once and keeps; they hold state and no geometry, and draw everything anew in each
/// frame. The GUI thread only. The order of children is that of drawing and of hit testing, so the first child is the
/// one that is hit, though it is drawn first; what covers what is decided by layers.
///
/// The routing rules are in `InputRouter`, and the frame in `ControlHostWidget`.
class Control
{
public:
    /// Does not look at the context, only keeps it.
    explicit Control(ControlContext* context) : mContext(context) {}
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;
    virtual ~Control() = default;

    /// Once a frame, before drawing; an override calls this one for the children.
    virtual void Update(double deltaSeconds);
    /// Once a frame; draws the children that can be seen. A control that draws calls BeginRender first, and this one
    /// when it has children.
    virtual void Render(Renderer::PrimitiveRenderer& renderer);
    virtual void OnFocusLost() {}
    virtual void OnFocusGained() {}
    virtual void OnKeyPress(KeyEvent&) {}
    virtual void OnKeyRelease(KeyEvent&) {}
    virtual void OnMousePress(MouseEvent&) {}
    virtual void OnMouseRelease(MouseEvent&) {}
    /// Keeps the position; an override ends with it.
    virtual void OnMouseMove(MouseEvent& event);
    virtual void OnMouseDoubleClick(MouseEvent&) {}
    virtual void OnMouseWheel(WheelEvent&) {}
    virtual void OnMouseEnter() {}
    /// Forgets the position; an override ends with it.
    virtual void OnMouseLeave();
    /// UTF-8, rich text where it looks like it, for a point in the control's coordinates; empty for none.
    virtual std::string GetTooltip(const Renderer::Vector2& position);
    /// After the rectangle was set; places the children.
    virtual void OnLayout() {}

    template <class T>
    T* AddChild(std::unique_ptr<T> child)
    {
        T* const added = child.get();
        added->mParent = this;
        mChildren.push_back(std::move(child));
        return added;
    }
    Control* GetParent() const { return mParent; }
    const std::vector<std::unique_ptr<Control>>& GetChildren() const { return mChildren; }

    /// Pixels, relative to the parent's upper left corner. Setting it moves nothing else: OnLayout follows.
    const Renderer::Rectangle& GetLocalRect() const { return mRect; }
    void SetRect(const Renderer::Rectangle& rect) { mRect = rect; }
    float GetWidth() const { return mRect.mWidth; }
    float GetHeight() const { return mRect.mHeight; }

    /// The control's rectangle on the surface, cut to those of its ancestors unless `unclipped`; on the screen instead
    /// when `onScreen`.
    Renderer::Rectangle GetRect(bool unclipped, bool onScreen) const;
    /// Of the control's upper left corner on the surface.
    Renderer::Vector2 GetOrigin() const;

    /// The part of the surface that the control may draw on. A width or height below zero is an empty one.
    const Renderer::Rectangle& GetVisibleRect() const { return mVisibleRect; }
    /// Once a frame, for the control and all below it; the viewport is a rectangle of the surface.
    void UpdateVisibleRects(const Renderer::Rectangle& viewport);

    /// Makes the control's list current for this frame: points are relative to the control from then on.
    void BeginRender(Renderer::PrimitiveRenderer& renderer, Renderer::PrimitiveList& list) const;

    /// The control that is hit at a pixel of the surface: itself, one below it or none.
    Control* HitTest(int32_t x, int32_t y);

    /// An invisible control is not drawn, hit or asked for a tooltip, and nothing below it is.
    bool IsVisible() const { return mVisible; }
    void SetVisible(bool visible) { mVisible = visible; }
    /// Whether it can be hit, has the focus and receives the mouse.
    bool IsInteractive() const { return mInteractive; }
    void SetInteractive(bool interactive) { mInteractive = interactive; }
    /// Whether it also hears of the mouse when a control below it is the target, even of what was handled there.
    bool IsBubbleTarget() const { return mBubbleTarget; }
    void SetBubbleTarget(bool bubbleTarget) { mBubbleTarget = bubbleTarget; }
    ECursor GetCursor() const { return mCursor; }
    void SetCursor(ECursor cursor) { mCursor = cursor; }

    /// Where the mouse is, in the control's coordinates; FLT_MAX in both while it is not over the control.
    const Renderer::Vector2& GetMousePosition() const { return mMousePosition; }
    bool IsMouseInside() const { return mMousePosition != cNoPosition; }

    ControlContext* GetContext() const { return mContext; }

protected:
    static constexpr Renderer::Vector2 cNoPosition{FLT_MAX, FLT_MAX};

private:
    /// Of the surface, on the screen; the root knows it.
    virtual Renderer::Vector2 GetScreenOrigin() const;

    Control* mParent = nullptr;
    std::vector<std::unique_ptr<Control>> mChildren;
    Renderer::Rectangle mRect;
    Renderer::Rectangle mVisibleRect;
    bool mVisible = true;
    bool mBubbleTarget = false;
    bool mInteractive = true;
    ControlContext* mContext;
    Renderer::Vector2 mMousePosition = cNoPosition;
    ECursor mCursor = ECursor::Default;
};

}
