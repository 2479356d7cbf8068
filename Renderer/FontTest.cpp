#include "Renderer/Font.h"
#include "Renderer/SyntheticOutlineSource.h"
#include "Renderer/Utf8Decoder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include <gtest/gtest.h>

namespace Renderer
{
namespace
{
std::vector<std::uint32_t> Decode(std::string_view text)
{
    std::vector<std::uint32_t> codePoints;
    Utf8Decoder decoder{text};
    for (std::uint32_t codePoint = 0; decoder.Next(codePoint);)
    {
        codePoints.push_back(codePoint);
    }
    return codePoints;
}

TEST(Utf8DecoderTest, FaultySequencesGiveOneReplacement)
{
    constexpr std::uint32_t cFault = Utf8Decoder::cReplacement;
    const struct
    {
        std::string_view mText;
        std::vector<std::uint32_t> mCodePoints;
    } rows[] = {
        {"", {}},
        {"a\u00E9\u20AC\U0001F600z", {'a', 0xE9, 0x20AC, 0x1F600, 'z'}},
        {"\x80\x80z", {cFault, cFault, 'z'}},
        {"\xFF\xFEz", {cFault, cFault, 'z'}},
        {"\xC0\x80z", {cFault, 'z'}},
        {"\xC0\x80\x80\x80z", {cFault, 'z'}},
        {"\xE0\x80\x80z", {cFault, 'z'}},
        {"\xED\xA0\x80z", {cFault, 'z'}},
        {"\xF4\x90\x80\x80z", {cFault, 'z'}},
        {"\xF5\x80\x80\x80z", {cFault, 'z'}},
        {"\xE2\x82z", {cFault, 'z'}},
        {"\xE2z\x82", {cFault, 'z', cFault}},
        {"z\xE2\x82", {'z'}},
        {"z\xF0", {'z'}},
        {"\xF4\x8F\xBF\xBF", {0x10FFFF}},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(Decode(row.mText), row.mCodePoints) << testing::PrintToString(row.mText);
    }
}

TEST(GlyphOutlineTest, ContoursBecomeSortedSegmentsAndABox)
{
    // A triangle below the baseline and left of the origin: its box reaches up to both all the same.
    GlyphDescription glyph{
        {SyntheticOutlineSource::sPolygon({{-4.0f, -6.0f}, {-1.0f, -6.0f}, {-2.0f, -2.0f}})}, {}, {}, 5.0f};
    const GlyphOutline outline{glyph};
    const std::vector<LineSegment> expected{
        {{-1.0f, -6.0f}, {-4.0f, -6.0f}}, {{-1.0f, -6.0f}, {-2.0f, -2.0f}}, {{-4.0f, -6.0f}, {-2.0f, -2.0f}}};
    EXPECT_TRUE(std::is_permutation(outline.mSortedOutlines.begin(), outline.mSortedOutlines.end(), expected.begin()));
    EXPECT_EQ(outline.mSize, (OutlinePoint{4.0f, 6.0f}));
    EXPECT_EQ(outline.mTop, 0.0f);
    EXPECT_EQ(outline.mLeft, -4.0f);
}

TEST(GlyphOutlineTest, SplinesAreFlattenedInTenStepsBetweenImpliedPoints)
{
    // Two conics; the point between them lies halfway between the controls.
    const OutlineContour contour{{0.0f, 0.0f}, {{true, {{0.0f, 4.0f}, {4.0f, 4.0f}, {4.0f, 0.0f}}}}};
    const std::vector<OutlinePoint> points = gFlattenContour(contour);
    // The start twice, since a repetition right behind it is kept; nine and an end for each; the start again.
    ASSERT_EQ(points.size(), 2u + 2 * 10 + 1);
    EXPECT_EQ(points[1], points[0]);
    EXPECT_EQ(points[11], (OutlinePoint{2.0f, 4.0f}));
    EXPECT_EQ(points[21], (OutlinePoint{4.0f, 0.0f}));
    EXPECT_EQ(points.back(), contour.mStart);
    EXPECT_NEAR(points[6].mX, 0.5f, 1e-5f);
    EXPECT_NEAR(points[6].mY, 3.0f, 1e-5f);

    const OutlineContour pointless{{1.0f, 1.0f}, {{true, {{5.0f, 5.0f}}}}};
    EXPECT_EQ(gFlattenContour(pointless).size(), 2u);
}

class FontTest : public testing::Test
{
protected:
    FontTest()
    {
        auto source = std::make_unique<SyntheticOutlineSource>();
        mSource = source.get();
        source->AddPolygon('a', {{1.0f, 0.0f}, {9.0f, 0.0f}, {9.0f, 15.0f}, {1.0f, 15.0f}}, 10.0f);
        source->AddPolygon(0x20AC, {{0.0f, 0.0f}, {18.0f, 0.0f}, {9.0f, 20.0f}}, 20.0f);
        source->AddPolygon('.', {{0.0f, 0.0f}, {2.0f, 0.0f}, {2.0f, 2.0f}}, 3.0f);
        source->AddBlank(' ', 5.0f);
        mFont.emplace(FaceRequest{}, std::move(source));
    }

    SyntheticOutlineSource* mSource = nullptr;
    std::optional<Font> mFont;
};

TEST_F(FontTest, AnInstanceKeepsTheScaleAndAddsABorder)
{
    const GlyphInstance& instance = mFont->GetGlyphInstance('a', 20);
    // 8 by 15 units of 2/3 pixel: 5.33 by 10 pixels, and at least one texel on each side in the end.
    EXPECT_EQ(instance.mWidth, 8u);
    EXPECT_EQ(instance.mHeight, 12u);
    const float scale = 20.0f / 30.0f;
    EXPECT_NEAR((8.0f + 2 * instance.mBorderUnits.mX) * scale, 8.0f, 1e-5f);
    EXPECT_NEAR((15.0f + 2 * instance.mBorderUnits.mY) * scale, 12.0f, 1e-5f);
    EXPECT_NEAR(instance.mTopOffset, (24.0f - 15.0f) * scale - 1.0f, 1e-5f);
    EXPECT_NEAR(instance.mLeftOffset, 1.0f * scale - (8.0f - 8.0f * scale) / 2, 1e-5f);
    EXPECT_NEAR(instance.mAdvance, 10.0f * scale, 1e-5f);
    EXPECT_FALSE(instance.IsPlaced());
    // The outline begins in row 1 with its lower edge, which no row from there up needs to look at.
    EXPECT_EQ(instance.mScanlineStartIndices[0], 0);
    EXPECT_EQ(instance.mScanlineStartIndices[2], 1);
}

TEST_F(FontTest, AnOutlineIsReadOnceForAllSizes)
{
    EXPECT_EQ(mFont->FindGlyphInstance('a', 12), nullptr);
    GlyphInstance& small = mFont->GetGlyphInstance('a', 12);
    const GlyphInstance& large = mFont->GetGlyphInstance('a', 24);
    EXPECT_EQ(mFont->FindGlyphInstance('a', 12), &small);
    EXPECT_EQ(&mFont->GetGlyphInstance('a', 12), &small) << "with another size in between";
    EXPECT_EQ(small.mOutline, large.mOutline);
    EXPECT_EQ(mSource->mNumReads, 1);
}

TEST_F(FontTest, WhatHasNoExtentDividesByNothing)
{
    mSource->AddPolygon('-', {{0.0f, 3.0f}, {8.0f, 3.0f}}, 9.0f);
    mSource->mGlyphs['p'] = {{OutlineContour{{0.0f, 0.0f}, {}}}, {}, {}, 4.0f};
    mSource->mGlyphs['0'] = {{}, {}, {}, 4.0f};
    for (const std::uint32_t codePoint : {std::uint32_t{'-'}, std::uint32_t{'p'}, std::uint32_t{'0'}, 0x4E00u})
    {
        for (const std::int32_t size : {-3, 0, 1, 30, std::numeric_limits<std::int32_t>::max()})
        {
            const GlyphInstance& instance = mFont->GetGlyphInstance(codePoint, size);
            EXPECT_TRUE(std::isfinite(instance.mTopOffset) && std::isfinite(instance.mLeftOffset)) << codePoint;
            EXPECT_TRUE(std::isfinite(instance.mBorderUnits.mX) && std::isfinite(instance.mBorderUnits.mY));
            EXPECT_GE(instance.mWidth, 3u);
            EXPECT_GE(instance.mHeight, 3u);
        }
    }
}

TEST_F(FontTest, MeasuresAndWraps)
{
    EXPECT_EQ(mFont->MeasureText("", 30), 0.0f);
    EXPECT_EQ(mFont->MeasureText("a a\u20AC", 30), 45.0f);
    EXPECT_EQ(mFont->MeasureText("a\xE2\x82", 30), 10.0f);

    const struct
    {
        std::string_view mText;
        float mMaxWidth;
        std::string mLines;
    } rows[] = {
        {"", 100.0f, ""},
        {"   ", 100.0f, ""},
        {"aa aa", 100.0f, "aa aa"},
        {"  aa   aa  ", 100.0f, "aa aa"},
        {"aa aa aa", 50.0f, "aa aa \naa"},
        // The word that opens a line does not count.
        {"aa aa aa aa", 30.0f, "aa \naa aa \naa"},
        {"aaaa a", 20.0f, "aaaa a"},
    };
    for (const auto& row : rows)
    {
        std::string text;
        mFont->WrapTextToString(row.mText, 30, row.mMaxWidth, text);
        EXPECT_EQ(text, row.mLines) << row.mText << " in " << row.mMaxWidth;
    }
}

TEST_F(FontTest, ElidesEitherEnd)
{
    constexpr auto cHead = EElisionSide::KeepHead;
    constexpr auto cTail = EElisionSide::KeepTail;
    const struct
    {
        std::string_view mText;
        float mMaxWidth;
        EElisionSide mSide;
        std::string mResult;
        float mWidth;
        std::int32_t mCut;
    } rows[] = {
        {"aaa", 30.1f, cHead, "aaa", 30.0f, -1},
        {"aaa", 30.0f, cHead, "aa...", 29.0f, 2},
        {"aaa", 30.0f, cTail, "...aa", 29.0f, 1},
        {"aaa", 19.0f, cHead, "a...", 19.0f, 1},
        {"aaa", 18.0f, cHead, "", 0.0f, -1},
        {"aaa", 18.0f, cTail, "", 0.0f, -1},
        {"aaa", 8.0f, cHead, "", 0.0f, -1},
        {"a\u20ACa", 39.0f, cTail, "...\u20ACa", 39.0f, 1},
        {"a\u20ACa", 38.0f, cTail, "...a", 19.0f, 4},
        {"a\u20ACa", 39.0f, cHead, "a\u20AC...", 39.0f, 4},
        {"", 0.0f, cHead, "", 0.0f, -1},
    };
    for (const auto& row : rows)
    {
        std::string result = "old";
        float width = -1.0f;
        EXPECT_EQ(mFont->ElideText(row.mText, 30, row.mMaxWidth, row.mSide, result, width), row.mCut)
            << row.mText << " in " << row.mMaxWidth;
        EXPECT_EQ(result, row.mResult);
        EXPECT_EQ(width, row.mWidth) << row.mText << " in " << row.mMaxWidth;
    }
}
}
}
