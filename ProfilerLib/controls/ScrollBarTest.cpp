#include "ProfilerLib/controls/RootControl.h"
#include "ProfilerLib/controls/ScrollBarControl.h"
#include "ProfilerLib/controls/ZoomScrollBarControl.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"
#include "Utility/LogCapture.h"

namespace Profiler
{
namespace
{

using Renderer::Rectangle;
using Renderer::Vector2;
using testing::ElementsAre;
using testing::FloatEq;
using testing::IsEmpty;

constexpr float cNaN = std::numeric_limits<float>::quiet_NaN();

TEST(ZoomRangeTest, SettersKeepTheWindowInside)
{
    const struct
    {
        const char* mWhat;
        ZoomRange mBefore;
        void (ZoomRange::*mSetter)(float);
        float mValue;
        float mStart;
        float mEnd;
    } rows[] = {
        {"start", {1000, 10, 0, 500}, &ZoomRange::SetStart, 100, 100, 500},
        {"start below 0", {1000, 10, 50, 500}, &ZoomRange::SetStart, -5, 0, 500},
        {"start above the end", {1000, 10, 0, 500}, &ZoomRange::SetStart, 700, 490, 500},
        {"start is no number", {1000, 10, 50, 500}, &ZoomRange::SetStart, cNaN, 0, 500},
        {"end", {1000, 10, 0, 500}, &ZoomRange::SetEnd, 600, 0, 600},
        {"end beyond the total", {1000, 10, 0, 500}, &ZoomRange::SetEnd, 1200, 0, 1000},
        {"end below the start", {1000, 10, 100, 500}, &ZoomRange::SetEnd, 50, 100, 110},
        {"end with a total that is too small", {50, 127, 0, 50}, &ZoomRange::SetEnd, 50, 0, 127},
        {"end is no number", {1000, 10, 100, 500}, &ZoomRange::SetEnd, cNaN, 100, 1000},
        {"move", {1000, 10, 100, 300}, &ZoomRange::Move, 250, 250, 450},
        {"move past 0", {1000, 10, 100, 300}, &ZoomRange::Move, -50, 0, 200},
        {"move past the total", {1000, 10, 100, 300}, &ZoomRange::Move, 900, 800, 1000},
        {"move to no number", {1000, 10, 100, 300}, &ZoomRange::Move, cNaN, 0, 200},
        {"total below the end", {1000, 10, 100, 300}, &ZoomRange::SetTotal, 200, 100, 200},
        {"total above the end", {1000, 10, 100, 300}, &ZoomRange::SetTotal, 2000, 100, 300},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        ZoomRange range = row.mBefore;
        (range.*row.mSetter)(row.mValue);
        EXPECT_EQ(range.mStart, row.mStart);
        EXPECT_EQ(range.mEnd, row.mEnd);
    }
}

TEST(ScrollValueTest, StaysBetweenZeroAndItsMaximum)
{
    ScrollValue value;
    value.SetValue(120);
    EXPECT_EQ(value.mValue, 100);
    value.SetMaximum(40);
    EXPECT_EQ(value, (ScrollValue{40, 40}));
    value.SetValue(-1);
    EXPECT_EQ(value.mValue, 0);
    value.SetMaximum(-10);
    EXPECT_EQ(value, (ScrollValue{-10, 0}));
}

/// A bar inside a root, at a place of its own, and a mouse for it in the bar's coordinates.
template <class Bar>
class BarTest : public testing::Test
{
protected:
    explicit BarTest(EOrientation orientation, const Rectangle& rect)
    {
        mRoot.SetRect({0, 0, 1000, 1000});
        mBar = mRoot.AddChild(std::make_unique<Bar>(nullptr, orientation, 104, 101));
        mBar->SetRect(rect);
        mRoot.UpdateVisibleRects({0, 0, 1000, 1000});
    }

    bool Press(const Vector2& position, uint16_t modifiers = 0)
    {
        MouseEvent event{.position = position, .buttons = MouseButton::cRight, .modifiers = modifiers};
        mBar->OnMousePress(event);
        return event.handled;
    }
    bool Move(const Vector2& position)
    {
        MouseEvent event{.position = position};
        mBar->OnMouseMove(event);
        return event.handled;
    }
    bool Release()
    {
        MouseEvent event;
        mBar->OnMouseRelease(event);
        return event.handled;
    }

    /// The grey of each thumb in the order in which they are drawn.
    std::vector<float> GetGreys()
    {
        mRoot.Render(mRenderer);
        std::vector<float> greys;
        for (const Renderer::Batch* batch : mRenderer.GetDrawOrder())
        {
            if (batch->mKey.mLayer != 101)
                continue;
            Renderer::Geometry& geometry = *batch->mBuffers.front().mGeometry;
            const Renderer::VertexStream& colours = *geometry.FindStream(Renderer::EVertexKind::Colour);
            for (std::uint64_t vertex = 0; vertex < colours.mCount; vertex += 4)
                greys.push_back(colours.mData[vertex * colours.mComponents]);
        }
        mRenderer.Flush();
        return greys;
    }

    LogCapture mLog;
    Renderer::RenderContext mContext;
    Renderer::PrimitiveRenderer mRenderer{mContext, 1.0f};
    RootControl mRoot{nullptr, {}};
    Bar* mBar;
};

class ScrollBarTest : public BarTest<ScrollBarControl>
{
protected:
    ScrollBarTest() : BarTest(EOrientation::Vertical, {120, 40, 15, 217}) {}
};

TEST_F(ScrollBarTest, TheThumbStandsForTheValue)
{
    // 217 less one block of 15 and two margins of 1 leave 200 to travel.
    EXPECT_EQ(mBar->GetThumbRect(0, 100, 1, false), (Rectangle{1, 0.5f, 13, 15}));
    EXPECT_EQ(mBar->GetThumbRect(50, 100, 1, false), (Rectangle{1, 100.5f, 13, 15}));
    EXPECT_EQ(mBar->GetThumbRect(100, 100, 1, false), (Rectangle{1, 200.5f, 13, 15}));
    EXPECT_TRUE(std::isnan(mBar->GetThumbRect(0, 0, 1, false).mY));
    mBar->SetRect({0, 0, 15.9f, 10.9f});
    // Shorter than its block: the travel is negative and the thumb runs backwards.
    EXPECT_EQ(mBar->GetThumbRect(100, 100, 1, false), (Rectangle{1, -6.5f, 13, 15}));
}

TEST_F(ScrollBarTest, ADragMovesTheValueByThePartOfTheLength)
{
    std::vector<std::string> calls;
    mBar->SetPressCallback([&](ScrollBarControl*) { calls.push_back("press"); });
    mBar->SetDragCallback(
        [&](ScrollBarControl* bar) { calls.push_back("drag " + std::to_string(bar->GetValue()->mValue)); });
    mBar->SetReleaseCallback([&](ScrollBarControl*) { calls.push_back("release"); });
    EXPECT_THAT(GetGreys(), ElementsAre(FloatEq(0.803f)));
    EXPECT_FALSE(Move({5, 5}));
    EXPECT_THAT(GetGreys(), ElementsAre(FloatEq(0.651f)));
    EXPECT_TRUE(Press({5, 5}));
    EXPECT_THAT(GetGreys(), ElementsAre(FloatEq(0.404f)));
    EXPECT_TRUE(Move({500, 5 + 217.0f / 4}));
    EXPECT_FLOAT_EQ(mBar->GetValue()->mValue, 25);
    EXPECT_TRUE(Move({5, 5000}));
    EXPECT_EQ(mBar->GetValue()->mValue, 100);
    EXPECT_TRUE(Move({5, -5000}));
    EXPECT_EQ(mBar->GetValue()->mValue, 0);
    EXPECT_TRUE(Release());
    EXPECT_FALSE(Release());
    EXPECT_THAT(calls, ElementsAre("press", "drag 0.000000", "drag 25.000000", "drag 100.000000", "release"));
}

TEST_F(ScrollBarTest, APressBesideTheThumbTakesTheMouseAndDoesNothing)
{
    EXPECT_TRUE(Press({5, 100}));
    EXPECT_FALSE(Move({5, 180}));
    EXPECT_EQ(mBar->GetValue()->mValue, 0);
    EXPECT_FALSE(Release());
    EXPECT_FALSE(Press({5, 5}, Modifier::cShift));
    EXPECT_FALSE(Move({5, 100}));
    EXPECT_EQ(mBar->GetValue()->mValue, 0);
}

class ZoomScrollBarTest : public BarTest<ZoomScrollBarControl>
{
protected:
    // 447 less three blocks of 15 and two margins of 1 leave 400 to travel.
    ZoomScrollBarTest() : BarTest(EOrientation::Horizontal, {135, 900, 447, 15}) {}

    void SetRange(float start, float end) { *mBar->GetRange() = {1000, 10, start, end}; }
};

TEST_F(ZoomScrollBarTest, TheHandlesLeaveOneBlockBetweenThem)
{
    EXPECT_EQ(mBar->GetThumbRect(0, 1000, 3, false), (Rectangle{0.5f, 1, 15, 13}));
    EXPECT_EQ(mBar->GetThumbRect(500, 1000, 3, false), (Rectangle{200.5f, 1, 15, 13}));
    EXPECT_EQ(mBar->GetThumbRect(500, 1000, 3, true), (Rectangle{230.5f, 1, 15, 13}));
    EXPECT_EQ(mBar->GetThumbRect(1000, 1000, 3, true), (Rectangle{430.5f, 1, 15, 13}));
}

TEST_F(ZoomScrollBarTest, EachGripMovesItsPart)
{
    using enum ZoomScrollBarControl::EDragMode;
    const float quarter = 447.0f / 4;
    const struct
    {
        const char* mWhat;
        float mPress;
        float mMove; ///< from there
        ZoomScrollBarControl::EDragMode mMode;
        float mStart;
        float mEnd;
    } rows[] = {
        // The window 250 to 750 has its handles at 100.5 and 330.5.
        {"start handle, left edge", 100.5f, quarter, Start, 500, 750},
        {"start handle to the left", 110, -2 * quarter, Start, 0, 750},
        {"start handle beyond the end", 110, 3 * quarter, Start, 740, 750},
        {"middle behind the start handle", 115.5f, quarter, Middle, 500, 1000},
        {"middle to the far left", 200, -1000, Middle, 0, 500},
        {"middle to the far right", 200, 1000, Middle, 500, 1000},
        {"end handle", 330.5f, -quarter, End, 250, 500},
        {"end handle to the right", 340, 2 * quarter, End, 250, 1000},
        {"end handle before the start", 340, -1000, End, 250, 260},
        {"trough", 20, quarter, None, 250, 750},
        {"right edge of the end handle", 345.5f, quarter, None, 250, 750},
    };
    std::vector<ZoomScrollBarControl::EDragMode> modes;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        SetRange(250, 750);
        modes.clear();
        const auto note = [&](ZoomScrollBarControl*, ZoomScrollBarControl::EDragMode mode) {
            modes.push_back(mode);
        };
        mBar->SetPressCallback(note);
        // Comes before the change.
        mBar->SetDragCallback([&](ZoomScrollBarControl* bar, ZoomScrollBarControl::EDragMode mode) {
            EXPECT_EQ(*bar->GetRange(), (ZoomRange{1000, 10, 250, 750}));
            modes.push_back(mode);
        });
        mBar->SetReleaseCallback(note);
        EXPECT_TRUE(Press({row.mPress, 7}));
        EXPECT_EQ(Move({row.mPress + row.mMove, -300}), row.mMode != None);
        EXPECT_EQ(mBar->GetRange()->mStart, row.mStart);
        EXPECT_EQ(mBar->GetRange()->mEnd, row.mEnd);
        EXPECT_EQ(Release(), row.mMode != None);
        if (row.mMode == None)
            EXPECT_THAT(modes, IsEmpty());
        else
            EXPECT_THAT(modes, ElementsAre(row.mMode, row.mMode, row.mMode));
    }
    // Measured from the press: back at it, the window is what it was; and wherever the bar has gone meanwhile.
    SetRange(250, 750);
    mBar->SetDragCallback({});
    Press({110, 7});
    Move({300, 7});
    mBar->SetRect({235, 900, 447, 15});
    Move({10, 7});
    EXPECT_EQ(*mBar->GetRange(), (ZoomRange{1000, 10, 250, 750}));
    EXPECT_FALSE((Release(), Press({110, 7}, Modifier::cKeypad)));
    EXPECT_EQ(mBar->GetDragMode(), ZoomScrollBarControl::EDragMode::None);
}

TEST_F(ZoomScrollBarTest, TheGripUnderTheMouseStandsOutAndTheDraggedOneMore)
{
    SetRange(250, 750);
    const auto greys = [this] {
        std::vector<int> thousandths;
        for (const float grey : GetGreys())
            thousandths.push_back(static_cast<int>(std::lround(grey * 1000)));
        return thousandths;
    };
    // Start handle, end handle, middle.
    EXPECT_THAT(greys(), ElementsAre(720, 720, 803));
    Move({110, 7});
    EXPECT_THAT(greys(), ElementsAre(651, 720, 803));
    Move({200, 7});
    EXPECT_THAT(greys(), ElementsAre(720, 720, 651));
    Move({340, 7});
    EXPECT_THAT(greys(), ElementsAre(720, 651, 803));
    Press({200, 7});
    Move({340, 7});
    EXPECT_THAT(greys(), ElementsAre(720, 720, 404));
    Release();
    mBar->OnMouseLeave();
    EXPECT_THAT(greys(), ElementsAre(720, 720, 803));
    // Without a total there is no usable thumb, and nothing fails.
    *mBar->GetRange() = {0, 0, 0, 0};
    EXPECT_TRUE(Press({110, 7}));
    EXPECT_THAT(greys(), ElementsAre(720, 720, 803));
}

}
}
