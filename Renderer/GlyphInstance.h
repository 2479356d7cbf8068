#pragma once

#include "Renderer/OutlineSource.h"

#include <cstdint>
#include <vector>

namespace Renderer
{
class GlyphOutline;

/// A glyph at one pixel size: where it lies in its line of text, and what its rasterisation needs. It has a place in
/// the atlas from the first time that it is drawn.
class GlyphInstance
{
public:
    static constexpr float cNotPlaced = -1.0f;

    /// `ascent` and `descent` of the font in font units; `size` is the height in pixels that both together take on the
    /// screen, from 1 up. The outline must outlive the instance.
    GlyphInstance(const GlyphOutline& outline, float ascent, float descent, std::int32_t size);

    bool IsPlaced() const { return mTextureX >= 0.0f; }

    /// The first texel of the lowest row in the atlas; `cNotPlaced` in both before it has a place.
    float mTextureX = cNotPlaced;
    float mTextureY = cNotPlaced;
    std::uint32_t mPage = 0;  ///< of the atlas, once it has a place
    std::uint32_t mWidth = 0; ///< texels
    std::uint32_t mHeight = 0;
    float mTopOffset = 0.0f;  ///< pixels from the top of the line of text down to the instance's
    float mLeftOffset = 0.0f; ///< pixels from the pen to the left edge
    float mAdvance = 0.0f;    ///< of the pen in pixels, not rounded
    /// What is added to the outline on each side so that it fills whole texels, with an empty one around it.
    OutlinePoint mBorderUnits;
    /// For each row of texels, counted upwards, the first segment of the sorted outline that can touch it or a row
    /// above; `cNoSegment` when there is none.
    std::vector<std::int32_t> mScanlineStartIndices;
    const GlyphOutline* mOutline;

    static constexpr std::int32_t cNoSegment = -1;

private:
    void FillScanlines();
};
}
