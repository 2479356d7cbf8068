#pragma once

#include "Renderer/AtlasPacker.h"
#include "Renderer/ComputeRasteriser.h"
#include "Renderer/GlyphRasteriser.h"
#include "Renderer/Vectors.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

namespace Renderer
{
class Font;
class Geometry;
class GlyphInstance;
class RenderContext;
class Texture;

/// Where the quads of a text go: glyphs lie in several pages of the atlas, and each page is drawn by itself.
class TextTarget
{
public:
    /// A geometry with position, colour and first coordinates that is drawn with that page, and that has room for the
    /// whole text.
    virtual Geometry& GetGeometry(std::uint32_t page) = 0;

protected:
    ~TextTarget() = default;
};

/// What stays of a text between two vertical borders: a glyph that sticks out on either side is left out whole.
struct TextClip
{
    static constexpr float cNoMinimum = -1.0f;
    static constexpr float cNoMaximum = 100000.0f;

    float mMinX = cNoMinimum;
    float mMaxX = cNoMaximum;
};

/// Turns texts into quads over an atlas of coverage masks, which it fills as glyphs are first drawn: on the GPU from
/// OpenGL 4.3 on, otherwise or when a glyph is too large for that on the CPU, with the same masks. An atlas that is
/// full gets another page; when it has all that it may have, new glyphs are not drawn, and a line in the log says so
/// once. With the GL context current.
class FontRenderer
{
public:
    /// Texels of a page in both directions.
    static constexpr std::uint32_t cPageSize = 2048;
    /// 8 MiB each.
    static constexpr std::uint32_t cMaxPages = 16;

    /// Needs no GL context.
    explicit FontRenderer(RenderContext& context);
    ~FontRenderer();

    /// Makes the first page and, where OpenGL has them, the compute program. The context has GL.
    void Initialise();

    /// Draws a line of UTF-8 text with the top of its cell at `position`; `layer` is its depth. The ink of the first
    /// glyph begins exactly at `position.mX`, unless `keepsFirstBearing`. `size` is the height of the line in pixels
    /// of the screen, and all else is in those of the surface, of which each is `pixelRatio` of the former. Returns
    /// where the pen is behind the text.
    float DrawText(Font& font, TextTarget& target, std::string_view text, const Vector2& position, float layer,
        std::int32_t size, const Colour& colour, const TextClip& clip = {}, bool keepsFirstBearing = false,
        float pixelRatio = 1.0f);

    std::uint32_t GetNumPages() const { return static_cast<std::uint32_t>(mPages.size()); }
    const Texture& GetPage(std::uint32_t page) const { return *mPages[page]; }
    bool UsesGPU() const { return mComputeRasteriser != nullptr; }

    /// Gives a glyph its place and its masks, if it has none yet. False when there is no room. Drawing does it by
    /// itself.
    bool Prepare(GlyphInstance& instance);

    /// See RenderContext. Initialise starts again.
    void ReleaseGLObjects(bool areAlive);

private:
    bool Place(GlyphInstance& instance);
    void AddPage();
    void Rasterise(const GlyphInstance& instance);

    RenderContext& mContext;
    AtlasPacker mPacker{cPageSize, cMaxPages};
    /// Kept by the context.
    std::vector<Texture*> mPages;
    /// Null on the CPU path.
    std::unique_ptr<ComputeRasteriser> mComputeRasteriser;
    std::vector<CoverageMask> mMasks;
    bool mIsFullLogged = false;
};
}
