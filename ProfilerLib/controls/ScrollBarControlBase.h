#pragma once

#include <cstdint>

#include "ProfilerLib/controls/Control.h"
#include "Renderer/PrimitiveList.h"

namespace Profiler
{

enum class EOrientation : uint32_t
{
    Horizontal = 0,
    Vertical = 1,
};

/// What the bars of a chart share: trough, thumbs and the way from the mouse to a number. In these terms a bar's length
/// is its extent along its orientation and its thickness that across, both in whole pixels.
class ScrollBarControlBase : public Control
{
public:
    /// The layers are those of the trough and of the thumbs. The border takes its colour from the application's
    /// palette as it is now.
    ScrollBarControlBase(
        ControlContext* context, EOrientation orientation, uint32_t backgroundLayer, uint32_t thumbLayer);

    /// A thumb, in the control's coordinates: a block as long as the bar is thick. `units` is for how many such blocks
    /// the travel leaves room; with `atEnd` it is the last one of them, otherwise the first. Without a total the place
    /// is not a number.
    Renderer::Rectangle GetThumbRect(float value, float total, uint32_t units, bool atEnd) const;

protected:
    /// Grey levels of a thumb.
    static constexpr float cAtRest = 0.803f;
    static constexpr float cHandleAtRest = 0.72f;
    static constexpr float cUnderMouse = 0.651f;
    static constexpr float cDragged = 0.404f;

    /// Left and top edges are inside, right and bottom ones outside.
    static bool Contains(const Renderer::Rectangle& rect, const Renderer::Vector2& point);

    float GetLength() const;
    /// Where the mouse is in the parent's coordinates, so that a drag does not depend on where the bar is.
    Renderer::Vector2 GetParentPosition(const MouseEvent& event) const;
    /// How far the mouse is along the bar since `from`, as a part of the length.
    float GetDraggedPart(const MouseEvent& event, const Renderer::Vector2& from) const;

    /// Begins the frame's drawing with the trough.
    void DrawTrough(Renderer::PrimitiveRenderer& renderer);
    void DrawThumb(const Renderer::Rectangle& rect, float grey);

private:
    float GetThickness() const;

    EOrientation mOrientation;
    uint32_t mBackgroundLayer;
    uint32_t mThumbLayer;
    Renderer::Colour mBorderColour;
    Renderer::PrimitiveList mPrimitives{100};
};

}
