#include "Renderer/Scissor.h"

#include <algorithm>
#include <cmath>

namespace Renderer
{
namespace
{
/// Towards zero. What lies beyond any surface is cut there, since GL and the conversion need whole numbers of 32 bits.
std::int32_t Truncate(float value)
{
    constexpr float limit = 1 << 24;
    return std::isnan(value) ? 0 : static_cast<std::int32_t>(std::clamp(value, -limit, limit));
}
}

std::optional<ScissorBox> gGetScissor(const Rectangle& clip, std::int32_t surfaceHeight, float pixelRatio)
{
    const Rectangle grown{clip.mX, clip.mY, clip.mWidth + 1.0f, clip.mHeight + 1.0f};
    if (grown == Rectangle{})
    {
        return std::nullopt;
    }
    const float low = static_cast<float>(surfaceHeight) - (grown.mY + grown.mHeight);
    return ScissorBox{Truncate(grown.mX * pixelRatio), Truncate(low * pixelRatio),
        std::max(Truncate(grown.mWidth * pixelRatio), 0), std::max(Truncate(grown.mHeight * pixelRatio), 0)};
}
}
