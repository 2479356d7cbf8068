#pragma once

#include "Renderer/Vectors.h"

#include <cstdint>
#include <optional>

namespace Renderer
{
/// Whole pixels, counted from the lower left corner as GL does.
struct ScissorBox
{
    std::int32_t mX = 0;
    std::int32_t mY = 0;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;

    bool IsEmpty() const { return mWidth == 0 || mHeight == 0; }
    bool operator==(const ScissorBox&) const = default;
};

/// The pixels that a clip rectangle, counted from the upper left corner, leaves on a surface of that height. Its width
/// and height are made larger by 1, so that one without a size still has a pixel; smaller ones have none. Nothing
/// stands for no clipping, which a rectangle at 0, 0 with a width and height of -1 asks for. `pixelRatio` is how many
/// pixels of the screen, which the result is in, make one of the surface, which all else is in.
[[nodiscard]] std::optional<ScissorBox> gGetScissor(
    const Rectangle& clip, std::int32_t surfaceHeight, float pixelRatio = 1.0f);
}
