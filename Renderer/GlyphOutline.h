#pragma once

#include "Renderer/OutlineSource.h"

#include <vector>

namespace Renderer
{
/// A straight piece of an outline; `mP1` is never above `mP2`.
struct LineSegment
{
    OutlinePoint mP1;
    OutlinePoint mP2;

    bool operator==(const LineSegment&) const = default;
};

/// A glyph's contours as straight lines, the same for every size. Immutable once made.
class GlyphOutline
{
public:
    /// Nothing that can be drawn, and no advance.
    GlyphOutline() = default;
    explicit GlyphOutline(const GlyphDescription& glyph);

    /// Of the bounding box, which reaches at least to the origin on the right and above. Never zero.
    OutlinePoint mSize{1.0f, 1.0f};
    float mLeft = 0.0f;
    float mAdvance = 0.0f;
    float mTop = 1.0f;
    OutlinePoint mMinimum;
    /// Of all contours, by `mP1.mY` ascending. Horizontal ones are among them.
    std::vector<LineSegment> mSortedOutlines;
};

/// The corners of a contour with its curves flattened, from its start to its start. A conic becomes ten lines.
std::vector<OutlinePoint> gFlattenContour(const OutlineContour& contour);
}
