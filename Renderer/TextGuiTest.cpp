#include "Renderer/FontManager.h"
#include "Renderer/Geometry.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"
#include "Renderer/SyntheticOutlineSource.h"

#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <array>
#include <bit>
#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>

namespace Renderer
{
namespace
{
/// The masks of a page of the atlas, as the GPU has them.
std::vector<CoverageMask> ReadPage(const FontRenderer& renderer, std::uint32_t page)
{
    std::vector<CoverageMask> masks(std::size_t{FontRenderer::cPageSize} * FontRenderer::cPageSize);
    renderer.GetPage(page).GetImage(std::as_writable_bytes(std::span{masks}));
    return masks;
}

/// Takes the quads of a text.
class QuadCollector final : public TextTarget
{
public:
    Geometry& GetGeometry(std::uint32_t page) override
    {
        mPages.push_back(page);
        return mGeometry;
    }

    /// Of the quad's upper left corner.
    Vector2 GetCorner(std::size_t quad)
    {
        const float* const position = &mGeometry.FindStream(EVertexKind::Position)->mData[quad * 12];
        return {position[1], position[2]};
    }
    std::size_t GetNumQuads() const { return mGeometry.GetVertexCount() / 4; }

    Geometry mGeometry{gTexturedVertices, 1000};
    std::vector<std::uint32_t> mPages;
};

class TextGuiTest : public testing::Test
{
protected:
    TextGuiTest()
    {
        Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
    }
    ~TextGuiTest() override { Utility::gSetTraceSinks(mSinksBefore); }

    void SetUp() override { ASSERT_TRUE(mGL->MakeCurrent() && mContext.Initialise()); }

    FontRenderer& GetRenderer() { return mContext.GetFonts().GetRenderer(); }

    std::unique_ptr<Tests::OffscreenGL> mGL = std::make_unique<Tests::OffscreenGL>(64, 64);
    RenderContext mContext;
    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
};

TEST_F(TextGuiTest, BothRasterisersMakeTheSameMasks)
{
    Font& font = mContext.GetFonts().GetFont("DejaVu Sans", 0);
    EXPECT_EQ(GetRenderer().UsesGPU(), mContext.IsVersionAtLeast(4, 3));
    std::vector<const GlyphInstance*> glyphs;
    for (std::int32_t size = 9; size <= 64; ++size)
    {
        for (std::uint32_t codePoint = ' '; codePoint <= '~'; ++codePoint)
        {
            GlyphInstance& glyph = font.GetGlyphInstance(codePoint, size);
            ASSERT_TRUE(GetRenderer().Prepare(glyph));
            glyphs.push_back(&glyph);
        }
    }

    std::size_t numDifferences = 0;
    std::size_t numSamples = 0;
    std::vector<CoverageMask> expected;
    for (std::uint32_t page = 0; page < GetRenderer().GetNumPages(); ++page)
    {
        const std::vector<CoverageMask> masks = ReadPage(GetRenderer(), page);
        for (const GlyphInstance* const glyph : glyphs)
        {
            if (glyph->mPage != page)
            {
                continue;
            }
            gRasteriseGlyph(*glyph, expected);
            for (std::size_t i = 0; i < expected.size(); ++i)
            {
                const std::size_t x = static_cast<std::size_t>(glyph->mTextureX) + i % glyph->mWidth;
                const std::size_t y = static_cast<std::size_t>(glyph->mTextureY) + i / glyph->mWidth;
                const unsigned difference = expected[i] ^ masks[y * FontRenderer::cPageSize + x];
                numDifferences += static_cast<std::size_t>(std::popcount(difference));
                numSamples += 16;
            }
        }
    }
    RecordProperty("Samples", std::to_string(numSamples));
    RecordProperty("Differences", std::to_string(numDifferences));
    // Samples within float rounding of an edge may fall on either side of it.
    EXPECT_LE(numDifferences, GetRenderer().UsesGPU() ? numSamples / 100'000 : 0) << "of " << numSamples;
}

TEST_F(TextGuiTest, QuadsStandWhereThePenIs)
{
    auto source = std::make_unique<SyntheticOutlineSource>();
    source->AddPolygon('a', {{3.0f, 0.0f}, {9.0f, 0.0f}, {9.0f, 15.0f}, {3.0f, 15.0f}}, 12.0f);
    source->AddPolygon('i', {{1.0f, 0.0f}, {2.0f, 0.0f}, {2.0f, 15.0f}, {1.0f, 15.0f}}, 3.0f);
    Font font{FaceRequest{}, std::move(source)};
    const float leftOffset = font.GetGlyphInstance('a', 30).mLeftOffset;
    ASSERT_GT(leftOffset, 1.0f);

    const struct
    {
        const char* mTitle;
        std::string_view mText;
        bool mKeepsFirstBearing;
        TextClip mClip;
        std::vector<float> mLefts;
        float mPen;
    } rows[] = {
        {"the first ink at the position", "aa", false, {}, {10.25f, 22.25f}, 34.25f - leftOffset},
        {"the pen at the position", "aa", true, {}, {10.25f + leftOffset, 22.25f + leftOffset}, 34.25f},
        {"nothing", "", false, {}, {}, 10.25f},
        {"glyphs that stick out on the right left out", "aai", false, {-1.0f, 29.9f}, {10.25f}, 37.25f - leftOffset},
        {"a glyph left out on the left", "aa", false, {10.5f, 100.0f}, {22.25f}, 34.25f - leftOffset},
        {"a byte that is no character has no outline here", "a\xFF", false, {}, {10.25f}, 22.25f - leftOffset},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mTitle);
        QuadCollector quads;
        EXPECT_FLOAT_EQ(GetRenderer().DrawText(font, quads, row.mText, {10.25f, 5.5f}, 7.0f, 30, {0, 0, 0, 1},
                            row.mClip, row.mKeepsFirstBearing),
            row.mPen);
        const std::size_t numInk = std::min(quads.GetNumQuads(), row.mLefts.size());
        EXPECT_GE(quads.GetNumQuads(), row.mLefts.size());
        for (std::size_t i = 0; i < numInk; ++i)
        {
            EXPECT_FLOAT_EQ(quads.GetCorner(i).mX, row.mLefts[i]);
        }
    }
}

TEST_F(TextGuiTest, WhatIsTooLargeForTheGPUOrTheAtlasIsDrawnOtherwiseOrNotAtAll)
{
    Font& font = mContext.GetFonts().GetFont("DejaVu Sans", StyleFlags::cBold);
    GlyphInstance& tall = font.GetGlyphInstance('W', 300);
    EXPECT_FALSE(ComputeRasteriser::sFits(tall));
    ASSERT_TRUE(GetRenderer().Prepare(tall));
    const std::vector<CoverageMask> page = ReadPage(GetRenderer(), tall.mPage);
    std::vector<CoverageMask> expected;
    gRasteriseGlyph(tall, expected);
    const std::size_t middle = tall.mHeight / 2;
    for (std::size_t x = 0; x < tall.mWidth; ++x)
    {
        const std::size_t y = static_cast<std::size_t>(tall.mTextureY) + middle;
        ASSERT_EQ(page[y * FontRenderer::cPageSize + static_cast<std::size_t>(tall.mTextureX) + x],
            expected[middle * tall.mWidth + x]);
    }

    QuadCollector quads;
    const float pen =
        GetRenderer().DrawText(font, quads, "W", {0, 0}, 7.0f, Font::cLargestSize, {0, 0, 0, 1}, {}, true);
    EXPECT_EQ(quads.GetNumQuads(), 0u);
    EXPECT_FLOAT_EQ(pen, font.MeasureText("W", Font::cLargestSize));
}

TEST_F(TextGuiTest, AScaledSurfaceHasTheTextOfTheScreensPixels)
{
    const auto draw = [this](float ratio) {
        PrimitiveRenderer renderer{mContext, 1.0f, &mContext.GetFonts().GetFont("DejaVu Sans", 0)};
        const auto side = static_cast<std::int32_t>(64 / ratio);
        renderer.SetViewportSize(side, side, ratio);
        PrimitiveList list{100};
        mContext.BeginFrame();
        mContext.Clear({1, 1, 1, 1});
        // The last letter reaches behind the border of the clip rectangle.
        renderer.BeginList(list, {0, 0, 47 / ratio, 64 / ratio}, {4 / ratio, 4 / ratio});
        const float pen = list.DrawText({0, 0}, 24 / ratio, {0, 0, 0, 1}, "aWg", 5);
        const float bearing = renderer.GetFont().GetGlyphInstance('a', 24).mLeftOffset;
        EXPECT_FLOAT_EQ(pen * ratio, renderer.MeasureText("aWg", 24 / ratio) * ratio - bearing);
        renderer.Flush();
        mContext.EndFrame();
        return mGL->Read();
    };
    const QImage plain = draw(1.0f);
    const QImage doubled = draw(2.0f);
    EXPECT_EQ(doubled.copy(0, 0, 48, 64), plain.copy(0, 0, 48, 64));
    EXPECT_EQ(doubled.pixelColor(60, 20), QColor(255, 255, 255));
}

TEST_F(TextGuiTest, TextIsDrawnAgainWhenAllContextsWereLost)
{
    const auto draw = [this] {
        PrimitiveRenderer renderer{mContext, 1.0f, &mContext.GetFonts().GetFont("DejaVu Sans", 0)};
        renderer.SetViewportSize(64, 64);
        PrimitiveList list{100};
        mContext.BeginFrame();
        mContext.Clear({1, 1, 1, 1});
        renderer.BeginList(list, {0, 0, 64, 64}, {0, 0});
        list.DrawText({4, 4}, 40, {0, 0, 0, 1}, "HH", 5);
        renderer.Flush();
        mContext.EndFrame();
        return mGL->Read();
    };
    const QImage before = draw();
    EXPECT_EQ(before.pixelColor(6, 30), QColor(0, 0, 0)) << "the stem of the first letter";

    mGL.reset();
    mGL = std::make_unique<Tests::OffscreenGL>(64, 64);
    ASSERT_TRUE(mGL->MakeCurrent() && mContext.Initialise());
    EXPECT_EQ(draw(), before);
}
}
}
