#include "Renderer/Font.h"
#include "Renderer/GlyphRasteriser.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <gtest/gtest.h>

namespace Renderer
{
namespace
{
constexpr const char* cFace = "DejaVu Sans";

TEST(OutlineSourceLinuxTest, ALineOfTextIsThirtyUnitsHigh)
{
    for (const char* const name : {cFace, "no such typeface", ""})
    {
        const std::unique_ptr<OutlineSource> source = gOpenFace({name, FaceRequest::cRegular, false});
        EXPECT_FLOAT_EQ(source->GetAscent() + source->GetDescent(), OutlineSource::cReferenceHeight) << name;
        GlyphDescription glyph;
        EXPECT_TRUE(source->ReadGlyph('g', glyph)) << name;
        EXPECT_EQ(glyph.mContours.size(), 2u) << name;
        EXPECT_GT(glyph.mAdvance, 10.0f);
        GlyphDescription blank;
        EXPECT_TRUE(source->ReadGlyph(' ', blank));
        EXPECT_TRUE(blank.mContours.empty());
        EXPECT_GT(blank.mAdvance, 5.0f);
    }
}

TEST(OutlineSourceLinuxTest, AMissingCodePointDrawsTheBoxOfTheFace)
{
    const std::unique_ptr<OutlineSource> source = gOpenFace({cFace, FaceRequest::cRegular, false});
    GlyphDescription missing;
    EXPECT_TRUE(source->ReadGlyph(0x10FFFF, missing));
    EXPECT_FALSE(missing.mContours.empty());
}

/// The same outline drawn in 256 greys by another rasteriser.
class GreyRasteriser
{
public:
    GreyRasteriser()
    {
        FT_Init_FreeType(&mLibrary);
        FcPattern* const pattern = FcNameParse(reinterpret_cast<const FcChar8*>(cFace));
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result{};
        FcPattern* const match = FcFontMatch(nullptr, pattern, &result);
        FcChar8* path = nullptr;
        FcPatternGetString(match, FC_FILE, 0, &path);
        FT_New_Face(mLibrary, reinterpret_cast<const char*>(path), 0, &mFace);
        FcPatternDestroy(match);
        FcPatternDestroy(pattern);
    }
    ~GreyRasteriser()
    {
        FT_Done_Face(mFace);
        FT_Done_FreeType(mLibrary);
    }

    /// Row by row from the lowest.
    std::vector<unsigned char> Draw(std::uint32_t codePoint, const GlyphInstance& instance)
    {
        FT_Load_Glyph(mFace, FT_Get_Char_Index(mFace, codePoint), FT_LOAD_NO_SCALE);
        FT_Outline& outline = mFace->glyph->outline;
        const double unit = 30.0 / (mFace->ascender - mFace->descender);
        const GlyphOutline& from = *instance.mOutline;
        for (int i = 0; i < outline.n_points; ++i)
        {
            FT_Vector& point = outline.points[i];
            const auto toTexels = [](double value, double minimum, double size, double border, double texels) {
                return std::lround((value - (minimum - border)) / (size + 2 * border) * texels * 64.0);
            };
            point.x = toTexels(static_cast<double>(point.x) * unit, from.mMinimum.mX, from.mSize.mX,
                instance.mBorderUnits.mX, instance.mWidth);
            point.y = toTexels(static_cast<double>(point.y) * unit, from.mMinimum.mY, from.mSize.mY,
                instance.mBorderUnits.mY, instance.mHeight);
        }
        outline.flags |= FT_OUTLINE_EVEN_ODD_FILL;
        std::vector<unsigned char> grey(std::size_t{instance.mWidth} * instance.mHeight);
        FT_Bitmap bitmap{};
        bitmap.width = instance.mWidth;
        bitmap.rows = instance.mHeight;
        // A negative pitch: the first byte belongs to the lowest row.
        bitmap.pitch = -static_cast<int>(instance.mWidth);
        bitmap.buffer = grey.data();
        bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
        bitmap.num_grays = 256;
        FT_Outline_Get_Bitmap(mLibrary, &outline, &bitmap);
        return grey;
    }

private:
    FT_Library mLibrary = nullptr;
    FT_Face mFace = nullptr;
};

TEST(OutlineSourceLinuxTest, CoverageAgreesWithAnotherRasteriser)
{
    GreyRasteriser other;
    Font font{{cFace, FaceRequest::cRegular, false}, gOpenFace({cFace, FaceRequest::cRegular, false})};
    double sum = 0.0;
    double worst = 0.0;
    std::size_t numEdgeTexels = 0;
    std::vector<CoverageMask> masks;
    for (std::uint32_t codePoint = '!'; codePoint <= '~'; ++codePoint)
    {
        for (const std::int32_t size : {9, 12, 16, 24, 64})
        {
            const GlyphInstance& instance = font.GetGlyphInstance(codePoint, size);
            gRasteriseGlyph(instance, masks);
            const std::vector<unsigned char> grey = other.Draw(codePoint, instance);
            for (std::size_t i = 0; i < masks.size(); ++i)
            {
                const double difference = std::abs(std::popcount(masks[i]) / 16.0 - grey[i] / 255.0);
                worst = std::max(worst, difference);
                // Texels wholly inside or outside say little.
                if (grey[i] != 0 && grey[i] != 255)
                {
                    sum += difference;
                    ++numEdgeTexels;
                }
            }
        }
    }
    ASSERT_GT(numEdgeTexels, 0u);
    EXPECT_LE(sum / static_cast<double>(numEdgeTexels), 0.03);
    EXPECT_LE(worst, 0.3) << "sixteen samples miss a slope that runs along their own grid by a quarter";
}
}
}
