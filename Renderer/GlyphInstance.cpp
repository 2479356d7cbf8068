#include "Renderer/GlyphInstance.h"

#include "Renderer/GlyphOutline.h"

#include <cmath>
#include <cstddef>

namespace Renderer
{
GlyphInstance::GlyphInstance(const GlyphOutline& outline, float ascent, float descent, std::int32_t size)
    : mOutline{&outline}
{
    const float cell = ascent + descent;
    const float pixels = static_cast<float>(size);
    const OutlinePoint extent = outline.mSize;

    const float height = extent.mY / cell * pixels;
    const float width = extent.mX / extent.mY * height;
    mHeight = static_cast<std::uint32_t>(std::ceil(height)) + 2;
    mWidth = static_cast<std::uint32_t>(std::ceil(width)) + 2;
    // The outline keeps its scale exactly: what the whole texels have more becomes its border.
    mBorderUnits.mX = (extent.mX * (static_cast<float>(mWidth) / width) - extent.mX) * 0.5f;
    mBorderUnits.mY = (extent.mY * (static_cast<float>(mHeight) / height) - extent.mY) * 0.5f;

    const float scale = pixels / cell;
    mTopOffset = (ascent - (outline.mTop + mBorderUnits.mY)) * scale;
    mLeftOffset = (outline.mLeft - mBorderUnits.mX) * scale;
    mAdvance = scale * outline.mAdvance;
    FillScanlines();
}

void GlyphInstance::FillScanlines()
{
    const std::vector<LineSegment>& segments = mOutline->mSortedOutlines;
    const float bottom = mOutline->mMinimum.mY - mBorderUnits.mY;
    const float extent = mOutline->mSize.mY + 2.0f * mBorderUnits.mY;

    mScanlineStartIndices.reserve(mHeight);
    std::size_t index = 0;
    for (std::uint32_t row = 0; row < mHeight; ++row)
    {
        const float rowBottom = static_cast<float>(row) / static_cast<float>(mHeight);
        while (index < segments.size() && (segments[index].mP2.mY - bottom) / extent < rowBottom)
        {
            ++index;
        }
        mScanlineStartIndices.push_back(index < segments.size() ? static_cast<std::int32_t>(index) : cNoSegment);
    }
}
}
