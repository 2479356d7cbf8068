#pragma once

#include "Renderer/OutlineSource.h"

#include <array>
#include <vector>

namespace Renderer
{
/// Appends the conics that follow a cubic curve within `tolerance`, in the unit of the points: for each its control
/// point and its end. The first begins where the cubic does.
void gAppendConics(
    const std::array<OutlinePoint, 4>& cubic, float tolerance, std::vector<std::array<OutlinePoint, 2>>& conics);
}
