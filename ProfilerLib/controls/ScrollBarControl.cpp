#include "ProfilerLib/controls/ScrollBarControl.h"

namespace Profiler
{

void ScrollBarControl::Render(Renderer::PrimitiveRenderer& renderer)
{
    DrawTrough(renderer);
    const Renderer::Rectangle thumb = GetThumb();
    DrawThumb(thumb, mDragging ? cDragged : Contains(thumb, GetMousePosition()) ? cUnderMouse : cAtRest);
}

void ScrollBarControl::OnMousePress(MouseEvent& event)
{
    if (event.modifiers != 0)
        return;
    mDragging = Contains(GetThumb(), event.position);
    mPressPosition = GetParentPosition(event);
    mValueAtPress = mValue.mValue;
    if (mDragging && mOnPress)
        mOnPress(this);
    event.handled = true;
}

void ScrollBarControl::OnMouseMove(MouseEvent& event)
{
    if (mDragging)
    {
        if (mOnDrag)
            mOnDrag(this);
        mValue.SetValue(mValue.mMaximum * GetDraggedPart(event, mPressPosition) + mValueAtPress);
        event.handled = true;
    }
    Control::OnMouseMove(event);
}

void ScrollBarControl::OnMouseRelease(MouseEvent& event)
{
    if (!mDragging)
        return;
    if (mOnRelease)
        mOnRelease(this);
    event.handled = true;
    mDragging = false;
}

Renderer::Rectangle ScrollBarControl::GetThumb() const
{
    return GetThumbRect(mValue.mValue, mValue.mMaximum, 1, false);
}

}
