#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Renderer
{
/// In font units, y up, the baseline at y = 0. A font unit is a thirtieth of the height of a line of text: every
/// typeface is scaled so that its ascent and descent together are 30.
struct OutlinePoint
{
    float mX = 0.0f;
    float mY = 0.0f;

    bool operator==(const OutlinePoint&) const = default;
};

/// A closed curve: from the start through all runs, and back to the start by a straight line.
struct OutlineContour
{
    struct Run
    {
        /// Either corners of straight lines, or a chain of conics: all points but the last are then control points, and
        /// the ends of the conics lie halfway between neighbouring control points.
        bool mIsSpline = false;
        std::vector<OutlinePoint> mPoints;
    };

    OutlinePoint mStart;
    std::vector<Run> mRuns;
};

/// What a typeface has for one code point.
struct GlyphDescription
{
    /// Empty for a blank.
    std::vector<OutlineContour> mContours;
    /// The box of a blank: its lower left corner and its size.
    OutlinePoint mBlankOrigin;
    OutlinePoint mBlankSize;
    /// From this glyph's pen position to the next one's; whole font units.
    float mAdvance = 0.0f;
};

/// Outlines and metrics of one typeface, the only thing that text needs of the platform. One thread at a time.
class OutlineSource
{
public:
    static constexpr float cReferenceHeight = 30.0f;

    virtual ~OutlineSource() = default;

    /// From the baseline up to the top of a line of text, and down to its bottom, in whole font units; both positive.
    virtual float GetAscent() const = 0;
    virtual float GetDescent() const = 0;

    /// The unhinted outline. A code point that the typeface lacks gives its "missing" box. False when there is nothing
    /// to draw with, not even that.
    [[nodiscard]] virtual bool ReadGlyph(std::uint32_t codePoint, GlyphDescription& glyph) = 0;
};

/// A face as the user asks for it.
struct FaceRequest
{
    static constexpr std::int32_t cRegular = 400;
    static constexpr std::int32_t cBold = 700;

    std::string mName; ///< UTF-8
    std::int32_t mWeight = cRegular;
    bool mIsItalic = false;
};

/// The installed typeface that comes nearest; never null. When none can be opened at all, a line in the log says so and
/// every glyph is missing.
std::unique_ptr<OutlineSource> gOpenFace(const FaceRequest& request);
}
