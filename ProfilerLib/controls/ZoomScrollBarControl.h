#pragma once

#include <functional>

#include "ProfilerLib/controls/ScrollBarControlBase.h"
#include "ProfilerLib/controls/ZoomRange.h"

namespace Profiler
{

/// A bar for a window into something long, with three grips: both ends, and the middle that moves the window as it is.
/// Others may read and write the window at any time: it is the truth of what is shown, and the bar draws it anew in
/// each frame.
class ZoomScrollBarControl final : public ScrollBarControlBase
{
public:
    /// The grip that is dragged.
    enum class EDragMode : uint32_t
    {
        None = 0,
        Start = 1,
        Middle = 2,
        End = 3,
    };

    using Callback = std::function<void(ZoomScrollBarControl*, EDragMode)>;
    using ScrollBarControlBase::ScrollBarControlBase;

    /// Lives as long as the control.
    ZoomRange* GetRange() { return &mRange; }
    EDragMode GetDragMode() const { return mDragMode; }

    /// Called when a grip is pressed, before each change while it is dragged, and when it is let go. None by default.
    void SetPressCallback(Callback callback) { mOnPress = std::move(callback); }
    void SetDragCallback(Callback callback) { mOnDrag = std::move(callback); }
    void SetReleaseCallback(Callback callback) { mOnRelease = std::move(callback); }

    void Render(Renderer::PrimitiveRenderer& renderer) override;
    /// Any button, and no modifier. Takes the mouse also beside the grips, where it does nothing with it.
    void OnMousePress(MouseEvent& event) override;
    void OnMouseRelease(MouseEvent& event) override;
    void OnMouseMove(MouseEvent& event) override;

private:
    struct Grips
    {
        Renderer::Rectangle mStart;
        Renderer::Rectangle mMiddle; ///< reaches over the start handle, and ends where the end handle begins
        Renderer::Rectangle mEnd;
    };

    Grips GetGrips() const;
    static EDragMode sFind(const Grips& grips, const Renderer::Vector2& point);
    void Drag(float shift);

    ZoomRange mRange;
    Callback mOnPress;
    Callback mOnDrag;
    Callback mOnRelease;
    EDragMode mDragMode = EDragMode::None;
    Renderer::Vector2 mPressPosition; ///< in the parent's coordinates
    float mStartAtPress = 0.0f;
    float mEndAtPress = 0.0f;
};

}
