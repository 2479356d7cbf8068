#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/AllocationCounter.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <memory>
#include <numeric>

// Without a GL context: a renderer collects just the same, and a flush only empties it.

namespace
{
using namespace Renderer;
using ::testing::ElementsAre;

constexpr Colour gRed{1, 0, 0, 1};

class PrimitiveRendererTest : public ::testing::Test
{
protected:
    PrimitiveRendererTest() { Begin(mList); }

    void Begin(PrimitiveList& list) { mRenderer->BeginList(list, {0, 0, 1000, 1000}, {10, 20}); }

    void FillRects(PrimitiveList& list, std::uint32_t layer, int count)
    {
        for (int i = 0; i < count; ++i)
        {
            list.FillRect({0, 0}, {1, 1}, gRed, layer);
        }
    }

    /// The vertices in each geometry of each batch.
    std::vector<std::vector<std::uint64_t>> CountVertices()
    {
        std::vector<std::vector<std::uint64_t>> counts;
        for (const Batch* batch : mRenderer->GetDrawOrder())
        {
            std::vector<std::uint64_t>& row = counts.emplace_back();
            for (std::size_t i = 0; i <= batch->mCurrent; ++i)
            {
                row.push_back(batch->mBuffers[i].mGeometry->GetVertexCount());
            }
        }
        return counts;
    }

    struct QuietTrace
    {
        QuietTrace()
        {
            Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
        }
        ~QuietTrace() { Utility::gSetTraceSinks(mBefore); }
        const std::vector<Utility::TraceSink> mBefore = Utility::gGetTraceSinks();
    };

    QuietTrace mTrace;
    RenderContext mContext;
    std::unique_ptr<PrimitiveRenderer> mRenderer = std::make_unique<PrimitiveRenderer>(mContext, 1.0f);
    PrimitiveList mList{100};
    PrimitiveList mOther{100};
};

TEST_F(PrimitiveRendererTest, BatchesAreDrawnFromTheHighestLayerAndThenInOrderOfFirstUse)
{
    FillRects(mList, 101, 1);
    FillRects(mList, 104, 2);
    Begin(mOther);
    FillRects(mOther, 104, 3);
    FillRects(mOther, 0, 4);
    Begin(mList);
    FillRects(mList, 101, 5);
    FillRects(mList, 1000, 1);
    mRenderer->FillHatchedRect({0, 0}, {5, 5}, gRed, 104);

    struct Row
    {
        std::int32_t mLayer;
        PrimitiveList* mList;
        std::uint64_t mVertices;
        bool operator==(const Row&) const = default;
    };
    std::vector<Row> rows;
    for (const Batch* batch : mRenderer->GetDrawOrder())
    {
        rows.push_back({batch->mKey.mLayer, batch->mKey.mList, batch->mBuffers.front().mGeometry->GetVertexCount()});
    }
    EXPECT_THAT(rows, ElementsAre(Row{1000, &mList, 4}, Row{104, &mList, 8}, Row{104, &mOther, 12}, Row{104, &mList, 4},
                          Row{101, &mList, 24}, Row{0, &mOther, 16}));
    mRenderer->Flush();
    EXPECT_TRUE(mRenderer->GetDrawOrder().empty());
}

TEST_F(PrimitiveRendererTest, PointsGetTheOriginOfTheirList)
{
    mList.FillRect({1, 2}, {3, 4}, gRed, 7);
    mList.FillTriangle({0, 0}, {0, 5}, {5, 5}, gRed, 7);
    Geometry& geometry = *mRenderer->GetDrawOrder().front()->mBuffers.front().mGeometry;
    const std::vector<float>& data = geometry.FindStream(EVertexKind::Position)->mData;
    EXPECT_THAT(std::vector<float>(data.begin(), data.begin() + 21),
        ElementsAre(7, 11, 22, 7, 13, 22, 7, 11, 24, 7, 13, 24, 7, 10, 20, 7, 10, 25, 7, 15, 25));
    EXPECT_THAT(geometry.GetIndices(), ElementsAre(2, 1, 0, 1, 2, 3, 4, 5, 6));
}

TEST_F(PrimitiveRendererTest, AFullGeometryIsFollowedByAnotherAndBothAreUsedAgain)
{
    // One vertex of the budget of 100 always stays free, so 24 rectangles fit.
    FillRects(mList, 1, 50);
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(96, 96, 8)));
    const Geometry* const third = mRenderer->GetDrawOrder().front()->mBuffers[2].mGeometry;
    mRenderer->Flush();
    Begin(mList);
    FillRects(mList, 1, 10);
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(40)));
    mRenderer->Flush();
    Begin(mList);
    FillRects(mList, 1, 49);
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(96, 96, 4)));
    EXPECT_EQ(mRenderer->GetDrawOrder().front()->mBuffers[2].mGeometry, third);
}

TEST_F(PrimitiveRendererTest, ARequestBeyondTheBudgetGetsRoomInWhateverOrderItComes)
{
    const auto drawPolyline = [this](int pointCount) {
        std::vector<Vector2> points;
        for (int i = 0; i < pointCount; ++i)
        {
            points.push_back({static_cast<float>(i), static_cast<float>(i % 2)});
        }
        mList.DrawPolyline(points, 2, gRed, false, 1);
    };
    drawPolyline(3);
    drawPolyline(500);
    drawPolyline(3);
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(8, 1996, 8)));
    mRenderer->Flush();
    // The large one is now first, and from frame to frame a little larger: geometries grow, and their number does not.
    for (int size = 500; size < 1500; size += 10)
    {
        Begin(mList);
        drawPolyline(size);
        drawPolyline(3);
        const auto vertices = static_cast<std::uint64_t>(size - 1) * 4;
        const std::vector<std::vector<std::uint64_t>> counts = CountVertices();
        EXPECT_EQ(std::accumulate(counts[0].begin(), counts[0].end(), std::uint64_t{0}), vertices + 8);
        EXPECT_LE(mRenderer->GetDrawOrder().front()->mBuffers.size(), 3u);
        mRenderer->Flush();
    }
}

TEST_F(PrimitiveRendererTest, ASteadyFrameAllocatesNothing)
{
    PrimitiveList contents(10000);
    const auto drawFrame = [this, &contents] {
        Begin(contents);
        for (std::uint32_t layer : {103u, 102u})
        {
            for (int bar = 0; bar < 300; ++bar)
            {
                const float x = static_cast<float>(bar) * 3;
                contents.FillRect({x, 100}, {x + 1, 150}, gRed, layer);
                contents.FillRect({x, 150}, {x + 1, 200}, gRed, layer);
            }
        }
        Begin(mList);
        mList.BorderedRect({0, 0}, {900, 200}, 2, gRed, gRed, 101, 101);
        mList.DrawShadowRect({0, 0}, {900, 200}, 8, gRed, 101);
        mList.DrawDashedLine({0, 0}, {900, 200}, 2, 5, 0, gRed, 101);
        mRenderer->FillHatchedRect({0, 0}, {5, 5}, gRed, 100);
        FillRects(mList, 3, 60);
        mRenderer->Flush();
    };
    drawFrame();
    const std::uint64_t before = Tests::gCountAllocations();
    drawFrame();
    EXPECT_EQ(Tests::gCountAllocations(), before);
}

TEST_F(PrimitiveRendererTest, WhatHasNoExtentLeavesNothing)
{
    mList.DrawLine({5, 5}, {5, 5}, 3, gRed, 1);
    mList.DrawShadowLine({5, 5}, {5, 5}, 3, gRed, 1);
    mList.DrawDashedLine({5, 5}, {5, 5}, 3, 4, 0, gRed, 1);
    mList.DrawPolyline({}, 3, gRed, true, 1);
    EXPECT_TRUE(mRenderer->GetDrawOrder().empty());
    // The sides of this frame have no length.
    mList.FrameRect({0, 0}, {10, 4}, 2, gRed, 1);
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(8)));
}

TEST_F(PrimitiveRendererTest, DashesOfOneLengthShareABatch)
{
    for (const float length : {4.0f, 0.0f, 4.0f, -0.0f, std::numeric_limits<float>::quiet_NaN()})
    {
        mList.DrawDashedLine({0, 0}, {10, 0}, 2, length, 3, gRed, 1);
    }
    EXPECT_THAT(CountVertices(), ElementsAre(ElementsAre(8), ElementsAre(12)));
    const std::vector<float>& data =
        mRenderer->GetDrawOrder().front()->mBuffers.front().mGeometry->FindStream(EVertexKind::FirstCoordinates)->mData;
    EXPECT_THAT(std::vector<float>(data.begin(), data.begin() + 8), ElementsAre(0, 3, 1, 3, 0, 13, 1, 13));
}

TEST_F(PrimitiveRendererTest, ListsAndRenderersEndInAnyOrder)
{
    {
        PrimitiveList list(1000);
        Begin(list);
        FillRects(list, 1, 1);
        EXPECT_EQ(CountVertices().size(), 1u);
    }
    EXPECT_TRUE(mRenderer->GetDrawOrder().empty()) << "a list that is gone takes along what it drew";
    mRenderer->Flush();

    // The next list of that budget gets the memory of the one before.
    const std::uint64_t before = Tests::gCountAllocations();
    Geometry& geometry = mContext.CreateGeometry(gColouredVertices, 1000);
    EXPECT_EQ(Tests::gCountAllocations(), before);
    EXPECT_GE(geometry.GetCapacity(), 1000u);
    EXPECT_TRUE(geometry.IsEmpty());

    Begin(mList);
    FillRects(mList, 1, 1);
    PrimitiveRenderer second(mContext, 1.0f);
    second.BeginList(mList, {}, {});
    EXPECT_TRUE(mRenderer->GetDrawOrder().empty()) << "a list belongs to one renderer";
    mRenderer.reset();
    mList.FillRect({0, 0}, {1, 1}, gRed, 1);
    EXPECT_EQ(second.GetDrawOrder().size(), 1u);
}
}
