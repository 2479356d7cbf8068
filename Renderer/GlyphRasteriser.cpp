#include "Renderer/GlyphRasteriser.h"

#include "Renderer/GlyphInstance.h"
#include "Renderer/GlyphOutline.h"

#include <cstddef>
#include <span>

namespace Renderer
{
namespace
{
constexpr float cFine = 1.0f / 16.0f;
constexpr float cHalfFine = 1.0f / 32.0f;
constexpr float cCoarse = 0.25f;

/// Font units to the instance's box, which becomes 0 to 1 in both directions.
class Normaliser
{
public:
    explicit Normaliser(const GlyphInstance& instance)
        : mOrigin{instance.mOutline->mMinimum.mX - instance.mBorderUnits.mX,
              instance.mOutline->mMinimum.mY - instance.mBorderUnits.mY},
          mExtent{instance.mOutline->mSize.mX + 2.0f * instance.mBorderUnits.mX,
              instance.mOutline->mSize.mY + 2.0f * instance.mBorderUnits.mY}
    {}

    OutlinePoint operator()(OutlinePoint point) const
    {
        return {(point.mX - mOrigin.mX) / mExtent.mX, (point.mY - mOrigin.mY) / mExtent.mY};
    }

private:
    OutlinePoint mOrigin;
    OutlinePoint mExtent;
};

/// Flips the samples of a row that lie to the right of a segment.
void FlipRow(OutlinePoint p1, OutlinePoint p2, float row, float height, std::span<CoverageMask> masks)
{
    const float rowUnits = row / height;
    const float dx = p2.mX - p1.mX;
    const float dy = p2.mY - p1.mY;
    if (dy == 0.0f)
    {
        return;
    }
    const float width = static_cast<float>(masks.size());
    for (int subY = 0; subY < 4; ++subY)
    {
        for (int subX = 0; subX < 4; ++subX)
        {
            const float sampleY =
                rowUnits +
                (static_cast<float>(3 - subX) * cFine + cHalfFine + static_cast<float>(subY) * cCoarse) / height;
            if (sampleY < p1.mY || sampleY > p2.mY)
            {
                continue;
            }
            const float lineX = p1.mX + (sampleY - p1.mY) * dx / dy;
            const auto bit = static_cast<CoverageMask>(1u << ((3 - subX) + subY * 4));
            const float offset = static_cast<float>(subY) * cFine + cHalfFine + static_cast<float>(subX) * cCoarse;
            for (std::size_t column = 0; column < masks.size(); ++column)
            {
                if ((static_cast<float>(column) + offset) / width > lineX)
                {
                    masks[column] ^= bit;
                }
            }
        }
    }
}
}

void gRasteriseGlyph(const GlyphInstance& instance, std::vector<CoverageMask>& masks)
{
    masks.assign(std::size_t{instance.mWidth} * instance.mHeight, 0);
    const std::vector<LineSegment>& segments = instance.mOutline->mSortedOutlines;
    const Normaliser normalise{instance};
    const float height = static_cast<float>(instance.mHeight);
    for (std::uint32_t y = 0; y < instance.mHeight; ++y)
    {
        const std::int32_t start = instance.mScanlineStartIndices[y];
        if (start == GlyphInstance::cNoSegment)
        {
            continue;
        }
        const float row = static_cast<float>(y);
        const float nextRowUnits = (row + 1.0f) / height;
        const std::span<CoverageMask> rowMasks{masks.data() + std::size_t{y} * instance.mWidth, instance.mWidth};
        for (std::size_t i = static_cast<std::size_t>(start); i < segments.size(); ++i)
        {
            const OutlinePoint p1 = normalise(segments[i].mP1);
            if (p1.mY >= nextRowUnits)
            {
                break;
            }
            FlipRow(p1, normalise(segments[i].mP2), row, height, rowMasks);
        }
    }
}
}
