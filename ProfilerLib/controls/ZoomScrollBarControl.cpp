#include "ProfilerLib/controls/ZoomScrollBarControl.h"

#include <algorithm>

namespace Profiler
{

using Renderer::Rectangle;
using Renderer::Vector2;

void ZoomScrollBarControl::Render(Renderer::PrimitiveRenderer& renderer)
{
    DrawTrough(renderer);
    const Grips grips = GetGrips();
    const EDragMode underMouse = mDragMode == EDragMode::None ? sFind(grips, GetMousePosition()) : EDragMode::None;
    const auto getGrey = [&](EDragMode grip, float atRest) {
        return mDragMode == grip ? cDragged : underMouse == grip ? cUnderMouse : atRest;
    };
    // The middle last: on one layer what comes first stays on top, and the start handle is to.
    DrawThumb(grips.mStart, getGrey(EDragMode::Start, cHandleAtRest));
    DrawThumb(grips.mEnd, getGrey(EDragMode::End, cHandleAtRest));
    DrawThumb(grips.mMiddle, getGrey(EDragMode::Middle, cAtRest));
}

void ZoomScrollBarControl::OnMousePress(MouseEvent& event)
{
    if (event.modifiers != 0)
        return;
    mDragMode = sFind(GetGrips(), event.position);
    mPressPosition = GetParentPosition(event);
    mStartAtPress = mRange.mStart;
    mEndAtPress = mRange.mEnd;
    if (mDragMode != EDragMode::None && mOnPress)
        mOnPress(this, mDragMode);
    event.handled = true;
}

void ZoomScrollBarControl::OnMouseMove(MouseEvent& event)
{
    if (mDragMode != EDragMode::None)
    {
        if (mOnDrag)
            mOnDrag(this, mDragMode);
        Drag(mRange.mTotal * GetDraggedPart(event, mPressPosition));
        event.handled = true;
    }
    Control::OnMouseMove(event);
}

void ZoomScrollBarControl::OnMouseRelease(MouseEvent& event)
{
    if (mDragMode != EDragMode::None)
    {
        event.handled = true;
        if (mOnRelease)
            mOnRelease(this, mDragMode);
    }
    mDragMode = EDragMode::None;
}

void ZoomScrollBarControl::Drag(float shift)
{
    if (mDragMode == EDragMode::Start)
        mRange.SetStart(std::min(mRange.mTotal, mStartAtPress + shift));
    else if (mDragMode == EDragMode::End)
        mRange.SetEnd(std::max(0.0f, mEndAtPress + shift));
    else
        mRange.Move(mStartAtPress + shift);
}

ZoomScrollBarControl::Grips ZoomScrollBarControl::GetGrips() const
{
    constexpr uint32_t cBlocks = 3;
    const Rectangle start = GetThumbRect(mRange.mStart, mRange.mTotal, cBlocks, false);
    const Rectangle end = GetThumbRect(mRange.mEnd, mRange.mTotal, cBlocks, true);
    return {start, {start.mX, start.mY, end.mX - start.mX, end.mY + end.mHeight - start.mY}, end};
}

ZoomScrollBarControl::EDragMode ZoomScrollBarControl::sFind(const Grips& grips, const Vector2& point)
{
    if (Contains(grips.mStart, point))
        return EDragMode::Start;
    if (Contains(grips.mMiddle, point))
        return EDragMode::Middle;
    return Contains(grips.mEnd, point) ? EDragMode::End : EDragMode::None;
}

}
