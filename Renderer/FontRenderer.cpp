#include "Renderer/FontRenderer.h"

#include "Renderer/Font.h"
#include "Renderer/Geometry.h"
#include "Renderer/RenderContext.h"
#include "Renderer/Texture.h"
#include "Renderer/Utf8Decoder.h"

#include "Utility/Trace.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <span>

namespace Renderer
{
namespace
{
/// Texel positions become texture coordinates by this.
constexpr float cLastTexel = static_cast<float>(FontRenderer::cPageSize - 1);

/// The lowest row of a glyph comes first in the atlas, so the top of the quad takes the high end.
void AppendGlyph(Geometry& geometry, const GlyphInstance& glyph, Vector2 topLeft, Vector2 bottomRight, float layer,
    const Colour& colour)
{
    const auto first = static_cast<std::uint32_t>(geometry.GetVertexCount());
    const float width = static_cast<float>(glyph.mWidth);
    const float height = static_cast<float>(glyph.mHeight);
    const std::array positions{layer, topLeft.mX, topLeft.mY, layer, bottomRight.mX, topLeft.mY, layer, topLeft.mX,
        bottomRight.mY, layer, bottomRight.mX, bottomRight.mY};
    std::ranges::copy(positions, geometry.Extend(EVertexKind::Position, 4));

    const float left = glyph.mTextureX / cLastTexel;
    const float right = (glyph.mTextureX + width) / cLastTexel;
    const float low = glyph.mTextureY / cLastTexel;
    const float high = (glyph.mTextureY + height) / cLastTexel;
    const std::array coordinates{left, high, right, high, left, low, right, low};
    std::ranges::copy(coordinates, geometry.Extend(EVertexKind::FirstCoordinates, 4));

    float* colours = geometry.Extend(EVertexKind::Colour, 4);
    for (int i = 0; i < 4; ++i)
    {
        *colours++ = colour.mRed;
        *colours++ = colour.mGreen;
        *colours++ = colour.mBlue;
        *colours++ = colour.mAlpha;
    }
    const std::array indices{first + 2, first + 1, first, first + 3, first + 1, first + 2};
    std::ranges::copy(indices, geometry.ExtendIndices(indices.size()));
}
}

FontRenderer::FontRenderer(RenderContext& context) : mContext{context} {}

FontRenderer::~FontRenderer() = default;

void FontRenderer::Initialise()
{
    assert(mContext.HasGL() && mPages.empty());
    AddPage();
    if (mContext.IsVersionAtLeast(4, 3))
    {
        mComputeRasteriser = ComputeRasteriser::sCreate(mContext);
    }
    else
    {
        Utility::gTrace("OpenGL version not high enough to use GPU font rendering; falling back to CPU rendering");
    }
}

float FontRenderer::DrawText(Font& font, TextTarget& target, std::string_view text, const Vector2& position,
    float layer, std::int32_t size, const Colour& colour, const TextClip& clip, bool keepsFirstBearing,
    float pixelRatio)
{
    float pen = position.mX;
    bool isFirst = !keepsFirstBearing;
    Geometry* geometry = nullptr;
    std::uint32_t page = 0;
    Utf8Decoder decoder{text};
    for (std::uint32_t codePoint = 0; decoder.Next(codePoint);)
    {
        GlyphInstance& glyph = font.GetGlyphInstance(codePoint, size);
        const bool isThere = Prepare(glyph);
        if (isFirst)
        {
            pen = position.mX - glyph.mLeftOffset / pixelRatio;
            isFirst = false;
        }
        const Vector2 topLeft{pen + glyph.mLeftOffset / pixelRatio, position.mY + glyph.mTopOffset / pixelRatio};
        const Vector2 bottomRight{topLeft.mX + static_cast<float>(glyph.mWidth) / pixelRatio,
            topLeft.mY + static_cast<float>(glyph.mHeight) / pixelRatio};
        pen += glyph.mAdvance / pixelRatio;
        // A position that is no number is inside nothing.
        const bool isInside = topLeft.mX >= clip.mMinX && clip.mMaxX >= bottomRight.mX;
        if (!isThere || !isInside)
        {
            continue;
        }
        if (geometry == nullptr || page != glyph.mPage)
        {
            page = glyph.mPage;
            geometry = &target.GetGeometry(page);
        }
        AppendGlyph(*geometry, glyph, topLeft, bottomRight, layer, colour);
    }
    return pen;
}

bool FontRenderer::Prepare(GlyphInstance& instance)
{
    if (instance.IsPlaced()) [[likely]]
    {
        return true;
    }
    if (!Place(instance))
    {
        return false;
    }
    Rasterise(instance);
    return true;
}

bool FontRenderer::Place(GlyphInstance& instance)
{
    if (mPages.empty())
    {
        return false;
    }
    const std::optional<AtlasPacker::Place> place = mPacker.Add(instance.mWidth, instance.mHeight);
    if (!place)
    {
        if (!mIsFullLogged)
        {
            mIsFullLogged = true;
            Utility::gTrace(
                "The glyph atlas has no room for a glyph of %u x %u texels", instance.mWidth, instance.mHeight);
        }
        return false;
    }
    if (place->mPage == mPages.size())
    {
        AddPage();
    }
    instance.mPage = place->mPage;
    instance.mTextureX = static_cast<float>(place->mX);
    instance.mTextureY = static_cast<float>(place->mY);
    return true;
}

void FontRenderer::AddPage()
{
    Texture& page = mContext.CreateTexture(cPageSize, cPageSize, ETextureFormat::R16UI);
    // What no glyph covers is fetched at the borders of quads, so it has to be empty.
    const std::vector<CoverageMask> empty(std::size_t{cPageSize} * cPageSize);
    page.SetImage(std::as_bytes(std::span{empty}));
    mPages.push_back(&page);
}

void FontRenderer::Rasterise(const GlyphInstance& instance)
{
    Texture& page = *mPages[instance.mPage];
    if (mComputeRasteriser != nullptr && ComputeRasteriser::sFits(instance))
    {
        mComputeRasteriser->Rasterise(instance, page);
        return;
    }
    gRasteriseGlyph(instance, mMasks);
    page.SetSubImage(std::as_bytes(std::span{mMasks}), static_cast<std::int32_t>(instance.mTextureX),
        static_cast<std::int32_t>(instance.mTextureY), static_cast<std::int32_t>(instance.mWidth),
        static_cast<std::int32_t>(instance.mHeight));
}

void FontRenderer::ReleaseGLObjects(bool areAlive)
{
    if (mComputeRasteriser != nullptr)
    {
        mComputeRasteriser->ReleaseGLObjects(areAlive);
        mComputeRasteriser.reset();
    }
    mPages.clear();
    mPacker = AtlasPacker{cPageSize, cMaxPages};
}
}
