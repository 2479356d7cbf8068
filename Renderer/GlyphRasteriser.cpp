#include "Renderer/GlyphRasteriser.h"

#include "Renderer/GlyphInstance.h"
#include "Renderer/GlyphOutline.h"

#include <array>
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

/// The sixteen heights at which a row of texels is sampled, by bit of the mask, which is also from the lowest.
std::array<float, 16> GetSampleHeights(float row, float height)
{
    std::array<float, 16> heights{};
    for (int bit = 0; bit < 16; ++bit)
    {
        const float offset = static_cast<float>(bit % 4) * cFine + cHalfFine + static_cast<float>(bit / 4) * cCoarse;
        heights[static_cast<std::size_t>(bit)] = row / height + offset / height;
    }
    return heights;
}

/// The first column whose sample lies to the right of `lineX`, or `count`. `offset` is that of the sample in its texel.
std::size_t FindColumn(float lineX, float offset, std::size_t count)
{
    const float width = static_cast<float>(count);
    const auto isRight = [=](std::size_t column) {
        return (static_cast<float>(column) + offset) / width > lineX;
    };
    // The comparison decides, since it is the rule for both rasterisers; the guess is seldom off, and then by one.
    const float guess = lineX * width - offset;
    std::size_t column = !(guess > 0.0f) ? 0 : guess < width ? static_cast<std::size_t>(guess) : count;
    while (column > 0 && isRight(column - 1))
    {
        --column;
    }
    while (column < count && !isRight(column))
    {
        ++column;
    }
    return column;
}

/// Marks where the samples of a row begin to lie to the right of a segment.
void MarkRow(const LineSegment& segment, const std::array<float, 16>& heights, std::span<CoverageMask> marks)
{
    const auto& [p1, p2] = segment;
    const float dx = p2.mX - p1.mX;
    const float dy = p2.mY - p1.mY;
    if (dy == 0.0f)
    {
        return;
    }
    for (int bit = 0; bit < 16; ++bit)
    {
        const float sampleY = heights[static_cast<std::size_t>(bit)];
        if (sampleY > p2.mY)
        {
            return;
        }
        if (sampleY < p1.mY)
        {
            continue;
        }
        const float lineX = p1.mX + (sampleY - p1.mY) * dx / dy;
        const float offset =
            static_cast<float>(bit / 4) * cFine + cHalfFine + static_cast<float>(3 - bit % 4) * cCoarse;
        const std::size_t column = FindColumn(lineX, offset, marks.size());
        if (column < marks.size())
        {
            marks[column] ^= static_cast<CoverageMask>(1u << bit);
        }
    }
}
}

void gRasteriseGlyph(const GlyphInstance& instance, std::vector<CoverageMask>& masks)
{
    masks.assign(std::size_t{instance.mWidth} * instance.mHeight, 0);
    const Normaliser normalise{instance};
    std::vector<LineSegment> segments;
    segments.reserve(instance.mOutline->mSortedOutlines.size());
    for (const LineSegment& segment : instance.mOutline->mSortedOutlines)
    {
        segments.push_back({normalise(segment.mP1), normalise(segment.mP2)});
    }

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
        const std::array<float, 16> heights = GetSampleHeights(row, height);
        const std::span<CoverageMask> rowMasks{masks.data() + std::size_t{y} * instance.mWidth, instance.mWidth};
        for (std::size_t i = static_cast<std::size_t>(start); i < segments.size(); ++i)
        {
            if (segments[i].mP1.mY >= nextRowUnits)
            {
                break;
            }
            MarkRow(segments[i], heights, rowMasks);
        }
        // All samples behind a mark are flipped.
        for (std::size_t column = 1; column < rowMasks.size(); ++column)
        {
            rowMasks[column] ^= rowMasks[column - 1];
        }
    }
}
}
