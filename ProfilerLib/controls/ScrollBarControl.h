#pragma once

#include <functional>

#include "ProfilerLib/controls/ScrollBarControlBase.h"
#include "ProfilerLib/controls/ZoomRange.h"

namespace Profiler
{

/// A bar with one thumb, for one number. Others may read and write the number at any time: it is the truth of what is
/// shown, and the bar draws it anew in each frame.
class ScrollBarControl final : public ScrollBarControlBase
{
public:
    using Callback = std::function<void(ScrollBarControl*)>;
    using ScrollBarControlBase::ScrollBarControlBase;

    /// Lives as long as the control.
    ScrollValue* GetValue() { return &mValue; }

    /// Called when the thumb is pressed, before each change while it is dragged, and when it is let go. None by
    /// default.
    void SetPressCallback(Callback callback) { mOnPress = std::move(callback); }
    void SetDragCallback(Callback callback) { mOnDrag = std::move(callback); }
    void SetReleaseCallback(Callback callback) { mOnRelease = std::move(callback); }

    void Render(Renderer::PrimitiveRenderer& renderer) override;
    /// Any button, and no modifier. Takes the mouse also beside the thumb, where it does nothing with it.
    void OnMousePress(MouseEvent& event) override;
    void OnMouseRelease(MouseEvent& event) override;
    void OnMouseMove(MouseEvent& event) override;

private:
    Renderer::Rectangle GetThumb() const;

    ScrollValue mValue;
    Callback mOnPress;
    Callback mOnDrag;
    Callback mOnRelease;
    Renderer::Vector2 mPressPosition; ///< in the parent's coordinates
    float mValueAtPress = 0.0f;
    bool mDragging = false;
};

}
