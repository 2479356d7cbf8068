#pragma once

#include "Renderer/OutlineSource.h"

#include <map>

namespace Renderer
{
/// A typeface made by a test: what a code point looks like is what the test says.
class SyntheticOutlineSource final : public OutlineSource
{
public:
    float GetAscent() const override { return 24.0f; }
    float GetDescent() const override { return 6.0f; }

    bool ReadGlyph(std::uint32_t codePoint, GlyphDescription& glyph) override
    {
        ++mNumReads;
        const auto found = mGlyphs.find(codePoint);
        if (found == mGlyphs.end())
        {
            return false;
        }
        glyph = found->second;
        return true;
    }

    /// A polygon with these corners.
    static OutlineContour sPolygon(std::vector<OutlinePoint> corners)
    {
        OutlineContour contour{corners.front(), {}};
        contour.mRuns.push_back({false, {corners.begin() + 1, corners.end()}});
        return contour;
    }

    void AddPolygon(std::uint32_t codePoint, std::vector<OutlinePoint> corners, float advance)
    {
        mGlyphs[codePoint] = {{sPolygon(std::move(corners))}, {}, {}, advance};
    }
    void AddBlank(std::uint32_t codePoint, float advance)
    {
        mGlyphs[codePoint] = {{}, {0.0f, 0.0f}, {1.0f, 1.0f}, advance};
    }

    std::map<std::uint32_t, GlyphDescription> mGlyphs;
    int mNumReads = 0;
};
}
