#include "Renderer/GlyphRasteriser.h"
#include "Renderer/AtlasPacker.h"
#include "Renderer/CubicToConics.h"
#include "Renderer/Font.h"
#include "Renderer/SyntheticOutlineSource.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace Renderer
{
namespace
{
/// The rule as it is told, sample by sample, with all segments and in doubles.
bool IsCovered(const GlyphInstance& instance, double x, double y)
{
    const GlyphOutline& outline = *instance.mOutline;
    const auto toTexels = [](float value, float minimum, float size, float border, std::uint32_t texels) {
        return (double{value} - (double{minimum} - border)) / (double{size} + 2.0 * border) * texels;
    };
    int crossings = 0;
    for (const LineSegment& segment : outline.mSortedOutlines)
    {
        const auto at = [&](OutlinePoint p) {
            return std::pair{
                toTexels(p.mX, outline.mMinimum.mX, outline.mSize.mX, instance.mBorderUnits.mX, instance.mWidth),
                toTexels(p.mY, outline.mMinimum.mY, outline.mSize.mY, instance.mBorderUnits.mY, instance.mHeight)};
        };
        const auto [x1, y1] = at(segment.mP1);
        const auto [x2, y2] = at(segment.mP2);
        if (y1 != y2 && y1 <= y && y <= y2 && x > x1 + (y - y1) * (x2 - x1) / (y2 - y1))
        {
            ++crossings;
        }
    }
    return crossings % 2 == 1;
}

/// Samples of a glyph that differ from the rule.
int CountDifferences(const GlyphInstance& instance)
{
    std::vector<CoverageMask> masks;
    gRasteriseGlyph(instance, masks);
    int differences = 0;
    for (std::uint32_t y = 0; y < instance.mHeight; ++y)
    {
        for (std::uint32_t x = 0; x < instance.mWidth; ++x)
        {
            for (int bit = 0; bit < 16; ++bit)
            {
                const int subX = 3 - bit % 4;
                const int subY = bit / 4;
                const double sampleX = x + subX / 4.0 + subY / 16.0 + 1 / 32.0;
                const double sampleY = y + subY / 4.0 + (3 - subX) / 16.0 + 1 / 32.0;
                const bool isSet = (masks[y * instance.mWidth + x] >> bit & 1) != 0;
                differences += isSet != IsCovered(instance, sampleX, sampleY) ? 1 : 0;
            }
        }
    }
    return differences;
}

TEST(GlyphRasteriserTest, RandomPolygonsAreSampledAsTheRuleSays)
{
    std::mt19937 random{7};
    std::uniform_real_distribution<float> coordinate{-3.0f, 23.0f};
    auto source = std::make_unique<SyntheticOutlineSource>();
    constexpr std::uint32_t cPolygons = 60;
    for (std::uint32_t i = 0; i < cPolygons; ++i)
    {
        std::vector<OutlinePoint> corners(3 + i % 6);
        std::generate(corners.begin(), corners.end(), [&] {
            return OutlinePoint{coordinate(random), coordinate(random)};
        });
        source->AddPolygon(i, corners, 10.0f);
    }
    Font font{FaceRequest{}, std::move(source)};
    int differences = 0;
    for (std::uint32_t i = 0; i < cPolygons; ++i)
    {
        for (const std::int32_t size : {1, 9, 16, 37})
        {
            differences += CountDifferences(font.GetGlyphInstance(i, size));
        }
    }
    // Of more than half a million samples, those that lie within float rounding of an edge.
    EXPECT_LE(differences, 4);
}

TEST(GlyphRasteriserTest, ABoxFillsItsTexelsAndNoOthers)
{
    auto source = std::make_unique<SyntheticOutlineSource>();
    source->AddPolygon('a', {{0.0f, 0.0f}, {8.0f, 0.0f}, {8.0f, 4.0f}, {0.0f, 4.0f}}, 10.0f);
    source->AddBlank(' ', 5.0f);
    Font font{FaceRequest{}, std::move(source)};
    std::vector<CoverageMask> masks;
    const GlyphInstance& box = font.GetGlyphInstance('a', 30);
    gRasteriseGlyph(box, masks);
    ASSERT_EQ(box.mWidth, 10u);
    ASSERT_EQ(box.mHeight, 6u);
    for (std::uint32_t y = 0; y < 6; ++y)
    {
        for (std::uint32_t x = 0; x < 10; ++x)
        {
            const bool isInside = x >= 1 && x < 9 && y >= 1 && y < 5;
            EXPECT_EQ(masks[y * 10 + x], isInside ? 0xFFFF : 0) << x << ", " << y;
        }
    }
    gRasteriseGlyph(font.GetGlyphInstance(' ', 30), masks);
    EXPECT_TRUE(std::all_of(masks.begin(), masks.end(), [](CoverageMask mask) { return mask == 0; }));
}

TEST(CubicToConicsTest, ConicsFollowTheCubicWithinTheTolerance)
{
    const std::array<OutlinePoint, 4> curves[] = {
        {{{0.0f, 0.0f}, {0.0f, 16.0f}, {16.0f, 16.0f}, {16.0f, 0.0f}}},
        {{{0.0f, 0.0f}, {30.0f, 30.0f}, {-14.0f, 30.0f}, {16.0f, 0.0f}}},
        {{{0.0f, 0.0f}, {1.0f, 1.0f}, {2.0f, 2.0f}, {3.0f, 3.0f}}},
        {{{5.0f, 5.0f}, {5.0f, 5.0f}, {5.0f, 5.0f}, {5.0f, 5.0f}}},
    };
    constexpr float cTolerance = 1.0f / 64.0f;
    for (const auto& cubic : curves)
    {
        std::vector<std::array<OutlinePoint, 2>> conics;
        gAppendConics(cubic, cTolerance, conics);
        ASSERT_FALSE(conics.empty());
        EXPECT_EQ(conics.back()[1], cubic[3]);
        OutlinePoint start = cubic[0];
        for (std::size_t i = 0; i < conics.size(); ++i)
        {
            for (double t = 0.0; t <= 1.0; t += 1.0 / 32)
            {
                const auto conic = [t](double a, double c, double e) {
                    return a * (1 - t) * (1 - t) + 2 * c * t * (1 - t) + e * t * t;
                };
                const double u = (static_cast<double>(i) + t) / static_cast<double>(conics.size());
                const auto exact = [u](double a, double b, double c, double d) {
                    const double v = 1 - u;
                    return a * v * v * v + 3 * b * v * v * u + 3 * c * v * u * u + d * u * u * u;
                };
                const double x = conic(start.mX, conics[i][0].mX, conics[i][1].mX) -
                                 exact(cubic[0].mX, cubic[1].mX, cubic[2].mX, cubic[3].mX);
                const double y = conic(start.mY, conics[i][0].mY, conics[i][1].mY) -
                                 exact(cubic[0].mY, cubic[1].mY, cubic[2].mY, cubic[3].mY);
                EXPECT_LE(std::hypot(x, y), cTolerance * 1.01);
            }
            start = conics[i][1];
        }
    }
}

TEST(AtlasPackerTest, ShelvesThenPagesThenNothing)
{
    AtlasPacker packer{16, 2};
    using Place = AtlasPacker::Place;
    EXPECT_EQ(packer.Add(16, 1), std::nullopt) << "the last column stays free";
    EXPECT_EQ(packer.Add(1, 17), std::nullopt);
    EXPECT_EQ(packer.Add(6, 4), (Place{0, 0, 0}));
    EXPECT_EQ(packer.Add(6, 6), (Place{0, 6, 0}));
    EXPECT_EQ(packer.Add(4, 3), (Place{0, 0, 7})) << "ends just at the width: a new shelf, one empty row above the old";
    EXPECT_EQ(packer.Add(10, 9), (Place{0, 4, 7})) << "reaches the top exactly";
    EXPECT_EQ(packer.Add(10, 9), (Place{1, 0, 0}));
    EXPECT_EQ(packer.Add(10, 9), std::nullopt) << "no third page";
    EXPECT_EQ(packer.Add(5, 9), (Place{1, 10, 0})) << "what still fits goes on";
}

TEST(AtlasPackerTest, PlacesNeverOverlapNorLeaveThePage)
{
    std::mt19937 random{11};
    constexpr std::uint32_t cSize = 64;
    AtlasPacker packer{cSize, 3};
    std::vector<bool> taken(std::size_t{3} * cSize * cSize);
    for (int i = 0; i < 500; ++i)
    {
        const std::uint32_t width = 1 + random() % 20;
        const std::uint32_t height = 1 + random() % 20;
        const std::optional<AtlasPacker::Place> place = packer.Add(width, height);
        if (!place)
        {
            continue;
        }
        ASSERT_TRUE(place->mPage < 3 && place->mX + width < cSize && place->mY + height <= cSize);
        for (std::uint32_t y = 0; y < height; ++y)
        {
            for (std::uint32_t x = 0; x < width; ++x)
            {
                const std::size_t texel = (std::size_t{place->mPage} * cSize + place->mY + y) * cSize + place->mX + x;
                ASSERT_FALSE(taken[texel]);
                taken[texel] = true;
            }
        }
    }
}
}
}
