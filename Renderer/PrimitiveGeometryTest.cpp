#include "Renderer/PrimitiveGeometry.h"
#include "Renderer/Scissor.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace
{
using namespace Renderer;
using ::testing::ElementsAre;

constexpr float gNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float gInfinity = std::numeric_limits<float>::infinity();

std::vector<float> GetStream(Geometry& geometry, EVertexKind kind)
{
    const VertexStream* const stream = geometry.FindStream(kind);
    return {stream->mData.begin(),
        stream->mData.begin() + static_cast<std::ptrdiff_t>(stream->mCount * stream->mComponents)};
}

std::vector<Vector2> GetPoints(Geometry& geometry)
{
    const std::vector<float> values = GetStream(geometry, EVertexKind::Position);
    std::vector<Vector2> points;
    for (std::size_t i = 0; i < values.size(); i += 3)
    {
        points.push_back({values[i + 1], values[i + 2]});
    }
    return points;
}

/// Twice the area of each triangle; above zero when its corners run counter-clockwise as they are seen, y down.
std::vector<float> GetAreas(Geometry& geometry)
{
    const std::vector<Vector2> points = GetPoints(geometry);
    const std::span<const std::uint32_t> indices = geometry.GetIndices();
    std::vector<float> areas;
    for (std::size_t i = 0; i < indices.size(); i += 3)
    {
        const Vector2 a = points.at(indices[i + 1]) - points.at(indices[i]);
        const Vector2 b = points.at(indices[i + 2]) - points.at(indices[i]);
        areas.push_back(a.mY * b.mX - a.mX * b.mY);
    }
    return areas;
}

void ExpectNear(const Vector2& actual, const Vector2& expected)
{
    EXPECT_NEAR(actual.mX, expected.mX, 1e-4f);
    EXPECT_NEAR(actual.mY, expected.mY, 1e-4f);
}

TEST(GeometryTest, StreamsFollowTheMaskAndKeepTheirContentWhenTheyGrow)
{
    Geometry geometry(gDoublyTexturedVertices, 10);
    std::vector<EVertexKind> kinds;
    for (const VertexStream& stream : geometry.GetStreams())
    {
        kinds.push_back(stream.mKind);
    }
    EXPECT_THAT(kinds, ElementsAre(EVertexKind::Position, EVertexKind::FirstCoordinates, EVertexKind::SecondCoordinates,
                           EVertexKind::Colour));
    EXPECT_EQ(geometry.FindStream(EVertexKind::Normal), nullptr);

    gAppendShadowQuad(geometry, 7, gMakeRectangle({1, 2}, {3, 4}), 5, {1, 0, 0, 1});
    EXPECT_TRUE(geometry.HasRoom(5));
    EXPECT_FALSE(geometry.HasRoom(6)) << "one vertex always stays free";
    const std::vector<float> positions = GetStream(geometry, EVertexKind::Position);
    geometry.Grow(100);
    EXPECT_TRUE(geometry.HasRoom(95));
    EXPECT_EQ(GetStream(geometry, EVertexKind::Position), positions);
    geometry.Clear();
    EXPECT_TRUE(geometry.IsEmpty());
}

TEST(PrimitiveGeometryTest, AQuadIsFourVerticesAndTwoTrianglesThatFaceTheViewer)
{
    Geometry geometry(gTexturedVertices, 100);
    gAppendQuad(geometry, 103, gMakeRectangle({10, 20}, {30, 50}), {0.1f, 0.2f, 0.3f, 0.4f});
    geometry.FindStream(EVertexKind::FirstCoordinates)->mCount = 4;
    gAppendQuad(geometry, 5, gMakeRectangle({0, 0}, {1, 1}), {{{1, 2}, {3, 4}, {5, 6}, {7, 8}}}, {1, 1, 1, 1});
    EXPECT_THAT(GetStream(geometry, EVertexKind::Position),
        ElementsAre(103, 10, 20, 103, 30, 20, 103, 10, 50, 103, 30, 50, 5, 0, 0, 5, 1, 0, 5, 0, 1, 5, 1, 1));
    EXPECT_THAT(geometry.GetIndices(), ElementsAre(2, 1, 0, 1, 2, 3, 6, 5, 4, 5, 6, 7));
    EXPECT_THAT(GetAreas(geometry), ElementsAre(600, 600, 1, 1));
    const std::vector<float> colours = GetStream(geometry, EVertexKind::Colour);
    ASSERT_EQ(colours.size(), 32u);
    EXPECT_THAT(std::vector<float>(colours.begin() + 12, colours.begin() + 20),
        ElementsAre(0.1f, 0.2f, 0.3f, 0.4f, 1, 1, 1, 1));
    const std::vector<float> coordinates = GetStream(geometry, EVertexKind::FirstCoordinates);
    EXPECT_THAT(std::vector<float>(coordinates.begin() + 8, coordinates.end()), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

TEST(PrimitiveGeometryTest, ALineHasItsThicknessOnBothSidesAndFacesTheViewerInEveryDirection)
{
    for (const Vector2& end : {Vector2{1, 0}, Vector2{1, 1}, Vector2{0, 1}, Vector2{-1, 1}, Vector2{-1, 0},
             Vector2{-1, -1}, Vector2{0, -1}, Vector2{1, -1}})
    {
        const Vector2 start{100, 100};
        const std::optional<Quad> corners = gMakeLine(start, start + end * 20.0f, 6);
        ASSERT_TRUE(corners);
        ExpectNear(((*corners)[0] + (*corners)[1]) * 0.5f, start);
        ExpectNear(((*corners)[2] + (*corners)[3]) * 0.5f, start + end * 20.0f);
        EXPECT_NEAR(gLength((*corners)[0] - (*corners)[1]), 6, 1e-4f);
        EXPECT_NEAR(gLength((*corners)[0] - (*corners)[2]), gLength(end) * 20, 1e-4f);
        Geometry geometry(gColouredVertices, 10);
        gAppendQuad(geometry, 0, *corners, {});
        EXPECT_THAT(GetAreas(geometry), ::testing::Each(::testing::Gt(0.0f)));
    }
}

TEST(PrimitiveGeometryTest, ALineWithoutADirectionLeavesNothing)
{
    for (const Vector2& end : {Vector2{3, 4}, Vector2{gNaN, 4}, Vector2{3, gInfinity}, Vector2{-gInfinity, 0}})
    {
        EXPECT_EQ(gMakeLine({3, 4}, end, 2), std::nullopt);
    }
}

TEST(PrimitiveGeometryTest, TheFourLinesOfAFrameCoverItOnce)
{
    // Every pixel of a 20 x 12 rectangle is counted by the lines over its centre.
    const std::array<Line, 4> lines = gMakeFrame({0, 0}, {20, 12}, 3);
    for (int y = -1; y <= 12; ++y)
    {
        for (int x = -1; x <= 20; ++x)
        {
            int covered = 0;
            for (const Line& line : lines)
            {
                const Quad quad = *gMakeLine(line.mP0, line.mP1, 3);
                const auto [left, right] = std::minmax({quad[0].mX, quad[1].mX, quad[2].mX, quad[3].mX});
                const auto [top, bottom] = std::minmax({quad[0].mY, quad[1].mY, quad[2].mY, quad[3].mY});
                const float centreX = static_cast<float>(x) + 0.5f;
                const float centreY = static_cast<float>(y) + 0.5f;
                covered += left < centreX && centreX < right && top < centreY && centreY < bottom;
            }
            const bool isInside = x >= 0 && x < 20 && y >= 0 && y < 12;
            const bool isInHole = x >= 3 && x < 17 && y >= 3 && y < 9;
            EXPECT_EQ(covered, isInside && !isInHole ? 1 : 0) << x << ", " << y;
        }
    }
}

TEST(PrimitiveGeometryTest, MitersMeetWhereTheSidesCross)
{
    struct Row
    {
        const char* mName;
        Vector2 mBefore;
        Vector2 mAfter;
        Vector2 mMiter;
    };
    for (const Row& row : {Row{"straight", {-5, 0}, {9, 0}, {0, 2}}, Row{"straight up", {0, 5}, {0, -9}, {2, 0}},
             Row{"turn down", {-5, 0}, {0, 7}, {-2, 2}}, Row{"turn up", {-5, 0}, {0, -7}, {2, 2}},
             Row{"fold", {-5, 0}, {-9, 0}, {-200, 0}}, Row{"no direction", {0, 0}, {0, 0}, {0, 0}}})
    {
        SCOPED_TRACE(row.mName);
        ExpectNear(gGetMiter(row.mBefore, {0, 0}, row.mAfter, 4), row.mMiter);
    }
}

TEST(PrimitiveGeometryTest, APolylineJoinsItsSegmentsAndFacesTheViewer)
{
    struct Row
    {
        const char* mName;
        std::vector<Vector2> mPoints;
        bool mIsClosed;
        std::size_t mQuads;
    };
    const std::vector<Vector2> hook{{0, 0}, {50, 0}, {50, 40}, {0, 40}};
    const std::vector<Vector2> hookBack{{0, 40}, {50, 40}, {50, 0}, {0, 0}};
    for (const Row& row :
        {Row{"open", hook, false, 3}, Row{"closed", hook, true, 4}, Row{"closed back", hookBack, true, 4},
            Row{"repeated points", {{0, 0}, {0, 0}, {50, 0}, {50, 0}, {50, 40}, {50, 40}}, false, 2},
            Row{"closed by hand", {{0, 0}, {50, 0}, {50, 40}, {0, 0}, {0, 0}}, true, 3},
            Row{"two points, closed", {{0, 0}, {50, 0}}, true, 1}, Row{"one place", {{4, 4}, {4, 4}}, true, 0},
            Row{"one point", {{4, 4}}, false, 0}, Row{"no points", {}, true, 0}})
    {
        SCOPED_TRACE(row.mName);
        Geometry geometry(gDoublyTexturedVertices, 100);
        gAppendPolyline(geometry, 0, row.mPoints, {100, 200}, 4, row.mIsClosed, {});
        ASSERT_EQ(geometry.GetVertexCount(), row.mQuads * 4);
        for (const VertexStream& stream : geometry.GetStreams())
        {
            EXPECT_EQ(stream.mCount, row.mQuads * 4);
        }
        EXPECT_THAT(GetAreas(geometry), ::testing::Each(::testing::Gt(0.0f)));
        const std::vector<Vector2> corners = GetPoints(geometry);
        for (std::size_t quad = 0; quad < row.mQuads; ++quad)
        {
            const bool isLast = quad + 1 == row.mQuads;
            if (!isLast || (row.mIsClosed && row.mQuads > 1))
            {
                const std::size_t next = isLast ? 0 : (quad + 1) * 4;
                ExpectNear(corners[quad * 4 + 2], corners[next]);
                ExpectNear(corners[quad * 4 + 3], corners[next + 1]);
            }
        }
    }

    Geometry geometry(gDoublyTexturedVertices, 100);
    gAppendPolyline(geometry, 0, hook, {0, 0}, 4, false, {});
    // Square ends, and a corner whose outer side is as far from both segments as the line is wide.
    const std::vector<Vector2> corners = GetPoints(geometry);
    ExpectNear(corners[0], {0, 2});
    ExpectNear(corners[1], {0, -2});
    ExpectNear(corners[2], {48, 2});
    ExpectNear(corners[3], {52, -2});
    EXPECT_THAT(std::vector<float>(GetStream(geometry, EVertexKind::FirstCoordinates)),
        ElementsAre(0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 0));
}

TEST(ScissorTest, ClipRectanglesBecomePixelsFromTheLowerLeftCorner)
{
    struct Row
    {
        const char* mName;
        Rectangle mClip;
        std::optional<ScissorBox> mBox;
    };
    for (const Row& row : {Row{"whole surface", {0, 0, 640, 480}, ScissorBox{0, -1, 641, 481}},
             Row{"inside", {10, 20, 30, 40}, ScissorBox{10, 419, 31, 41}},
             Row{"fractions are cut off", {10.9f, 20.5f, 30.7f, 40.2f}, ScissorBox{10, 418, 31, 41}},
             Row{"left of the surface", {-10.9f, 0, 5, 5}, ScissorBox{-10, 474, 6, 6}},
             Row{"without a size, one pixel", {5, 5, 0, 0}, ScissorBox{5, 474, 1, 1}},
             Row{"all zero is a pixel, too", {}, ScissorBox{0, 479, 1, 1}},
             Row{"below zero, nothing", {5, 5, -9, 12}, ScissorBox{5, 462, 0, 13}},
             Row{"no clip", {0, 0, -1, -1}, std::nullopt},
             Row{"beyond any surface", {-1e30f, gNaN, gInfinity, 1e30f}, ScissorBox{-(1 << 24), 0, 1 << 24, 1 << 24}}})
    {
        SCOPED_TRACE(row.mName);
        const std::optional<ScissorBox> box = gGetScissor(row.mClip, 480);
        ASSERT_EQ(box.has_value(), row.mBox.has_value());
        if (box)
        {
            EXPECT_EQ(box->mX, row.mBox->mX);
            EXPECT_EQ(box->mY, row.mBox->mY);
            EXPECT_EQ(box->mWidth, row.mBox->mWidth);
            EXPECT_EQ(box->mHeight, row.mBox->mHeight);
        }
    }
    EXPECT_TRUE(gGetScissor({5, 5, -9, 12}, 480)->IsEmpty());
    EXPECT_EQ(gGetScissor({10, 20, 30, 40}, 480, 1.5f), (ScissorBox{15, 628, 46, 61}));
    EXPECT_EQ(gGetScissor({0, 0, -1, -1}, 480, 1.5f), std::nullopt);
}
}
