#pragma once

#include "ProfilerLib/controls/Control.h"
#include "Renderer/PrimitiveList.h"

namespace Profiler
{

struct ScrollValue;

/// The duration axis at the left of a chart. Its one label is that of the upper end, which is the whole scale: the
/// lower end is zero.
class VerticalAxisControl final : public Control
{
public:
    /// The value is that of the vertical scroll bar, and outlives the control.
    VerticalAxisControl(ControlContext* context, const ScrollValue* verticalRange);

    void Render(Renderer::PrimitiveRenderer& renderer) override;

private:
    void DrawLabel(Renderer::PrimitiveRenderer& renderer, const struct AxisLayout& layout);

    Renderer::PrimitiveList mPrimitives{100};
    const ScrollValue* mVerticalRange;
};

}
