#include "BarChartPlugin/BarChartControl.h"

#include "BarChartPlugin/BarChartContentsControl.h"
#include "BarChartPlugin/ChartCapture.h"
#include "BarChartPlugin/ChartLayout.h"
#include "ProfilerLib/controls/InputRouter.h"
#include "ProfilerLib/controls/RootControl.h"
#include "ProfilerLib/controls/ScrollBarControl.h"
#include "ProfilerLib/controls/ZoomScrollBarControl.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"
#include "tests/support/AllocationCounter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

// The controls of a chart without GL: what they draw is read as plain vertices, and input comes through the router of
// the host widget.

namespace Profiler
{
namespace
{

using EMode = BarChartContentsControl::EMode;
using Renderer::Vector2;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// Axis and scroll bar take 135 pixels of the width, the zoom bar 15 of the height: a plot of 1100 by 300 pixels, which
/// has 100 slots.
constexpr float cWidth = 1235;
constexpr float cHeight = 315;
constexpr float cLeft = 135;

double sNow = 0.0;

/// A rectangle as it was drawn, relative to the plot.
struct Quad
{
    float mLeft;
    float mTop;
    float mRight;
    float mBottom;
    float mAlpha;
};

class BarChartControlTest : public testing::Test, private InputRouter::Host
{
protected:
    BarChartControlTest()
    {
        sNow = 1000.0;
        mCapture.AddOccurrences(
            "Frame", 1, 1000, [](int i) { return 1 + i % 5; }, "a<b>");
        mCapture.AddOccurrences("Rare", 1, 3, [](int i) { return 1 + i; });
        mCapture.AddOccurrences("Instant", 1, 10, [](int) { return 0; });
        mCapture.Finish();
        auto control = std::make_unique<BarChartControl>(
            nullptr, mCapture.mContext, mCapture.GetModel(), mCapture.mViewHost.RangeChosen);
        mControl = control.get();
        mRoot.SetContent(std::move(control));
        mRoot.SetRect({0, 0, cWidth, cHeight});
        mRoot.OnLayout();
        mControl->GetContents().SetClock([] { return sNow; });
    }

    void ShowCursor(ECursor cursor) override { mCursor = cursor; }
    void OnFocusChanged() override {}

    void Show(const std::string& name) { mControl->SetBarChart(&mCapture.GetChart(name, 1)); }
    /// One frame, after some seconds.
    void Draw(double seconds = 1.0)
    {
        sNow += seconds;
        mRoot.Update(seconds);
        mRoot.UpdateVisibleRects({0, 0, cWidth, cHeight});
        mRenderer.Flush();
        mRoot.Render(mRenderer);
    }
    /// What the plot has drawn on a layer, without the lines of frames and texts.
    std::vector<Quad> GetQuads(int32_t layer)
    {
        std::vector<Quad> quads;
        for (const Renderer::Batch* batch : mRenderer.GetDrawOrder())
        {
            if (batch->mKey.mLayer != layer || batch->mKey.mList->GetOrigin() != Vector2{cLeft, 0})
                continue;
            for (std::size_t i = 0; i <= batch->mCurrent; ++i)
                AppendQuads(*batch->mBuffers[i].mGeometry, quads);
        }
        return quads;
    }
    static void AppendQuads(Renderer::Geometry& geometry, std::vector<Quad>& quads)
    {
        if (geometry.GetMask() != Renderer::gColouredVertices)
            return;
        const float* position = geometry.FindStream(Renderer::EVertexKind::Position)->mData.data();
        const float* colour = geometry.FindStream(Renderer::EVertexKind::Colour)->mData.data();
        for (uint64_t i = 0; i < geometry.GetVertexCount(); i += 4, position += 12, colour += 16)
            quads.push_back({position[1] - cLeft, position[2], position[10] - cLeft, position[11], colour[3]});
    }
    /// The two layers of bars have two rectangles for each.
    std::size_t CountBars() { return GetQuads(ChartLayer::cLowerLevel).size() / 2 + CountUpperBars(); }
    std::size_t CountUpperBars() { return GetQuads(ChartLayer::cUpperLevel).size() / 2; }
    /// The yellow rectangle.
    std::vector<Quad> GetSelection()
    {
        std::vector<Quad> quads = GetQuads(ChartLayer::cForeground);
        std::erase_if(quads, [](const Quad& quad) { return quad.mRight - quad.mLeft < 3 || quad.mTop < 2; });
        std::erase_if(quads, [](const Quad& quad) { return quad.mBottom - quad.mTop < 290; });
        return quads;
    }

    template <class T>
    T& FindControl() const
    {
        for (const auto& child : mControl->GetChildren())
        {
            if (auto* found = dynamic_cast<T*>(child.get()))
                return *found;
        }
        throw std::logic_error{"no such control"};
    }
    ZoomRange& GetWindow() const { return *FindControl<ZoomScrollBarControl>().GetRange(); }
    ScrollValue& GetScroll() const { return *FindControl<ScrollBarControl>().GetValue(); }
    void SetWindow(float start, float end)
    {
        GetWindow().SetStart(start);
        GetWindow().SetEnd(end);
        mControl->GetContents().SyncWindow();
    }

    // Points of the plot.
    void Move(float x, float y = 100, uint8_t buttons = 0) { mRouter.Move({cLeft + x, y}, buttons, 0); }
    void Drag(float x, float y = 100) { Move(x, y, MouseButton::cLeft); }
    void Press(float x, float y = 100, uint8_t button = MouseButton::cLeft)
    {
        Move(x, y);
        mRouter.Press({cLeft + x, y}, button, 0);
    }
    void Release(float x, float y = 100, uint8_t button = MouseButton::cLeft)
    {
        mRouter.Release({cLeft + x, y}, button, 0);
    }
    void Click(float x)
    {
        Press(x);
        Draw();
        Release(x);
    }
    bool Wheel(float x, int32_t delta) { return mRouter.Wheel({cLeft + x, 100}, delta, 0); }
    std::string GetTooltip(float x) { return mRouter.GetTooltip({cLeft + x, 100}, {0, 0, cWidth, cHeight}); }
    void HoldKey(Input::EKeyCode key) { mCapture.mKeyboard.Press(1, key); }
    void LetGoOfKey() { mCapture.mKeyboard.Release(1); }

    ChartCapture mCapture;
    BarChartSelectedListener mListener{mCapture};
    Renderer::RenderContext mRenderContext;
    Renderer::PrimitiveRenderer mRenderer{mRenderContext, 1.0F};
    RootControl mRoot{nullptr, {}};
    InputRouter mRouter{mRoot, static_cast<InputRouter::Host&>(*this)};
    BarChartControl* mControl = nullptr;
    ECursor mCursor = ECursor::Default;
};

TEST_F(BarChartControlTest, ChartOpensFullyZoomedOutBelowItsCeiling)
{
    Show("Frame");
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 1000}));
    EXPECT_EQ(GetScroll(), (ScrollValue{6, 0}));
    Draw();
    EXPECT_EQ(CountBars(), 125U) << "level 3 alone, once the other one has faded";

    Show("Rare");
    EXPECT_EQ(GetWindow(), (ZoomRange{100, 100, 0, 100})) << "no fewer than there are slots";
    Draw();
    const std::vector<Quad> quads = GetQuads(ChartLayer::cLowerLevel);
    ASSERT_THAT(quads, SizeIs(6));
    EXPECT_EQ(quads[3].mLeft, 11);
    EXPECT_EQ(quads[3].mRight, 20);
    EXPECT_FLOAT_EQ(quads[3].mTop, 300 - 300 / 1.8F);
    EXPECT_EQ(quads[3].mBottom, 300);

    mControl->SetBarChart(nullptr);
    EXPECT_EQ(GetWindow(), (ZoomRange{100, 100, 0, 100}));
    Draw();
    EXPECT_EQ(CountBars(), 0U);
}

TEST_F(BarChartControlTest, ScaleCommandsMoveTheCeilingOnce)
{
    mControl->Average();
    mControl->ZoomToExtents();
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 1000})) << "no chart";

    Show("Frame");
    mControl->Average();
    EXPECT_FLOAT_EQ(GetScroll().mValue, 6 - 3 * 1.2F);
    mControl->Normalize();
    EXPECT_EQ(GetScroll().mValue, 0);
    SetWindow(200, 400);
    mControl->ZoomToExtents();
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 1000}));

    const BarChart empty{{"None", 1}};
    mControl->SetBarChart(&empty);
    mControl->Average();
    EXPECT_EQ(GetScroll(), (ScrollValue{0, 0}));
    Draw();
    EXPECT_EQ(CountBars(), 0U);
}

TEST_F(BarChartControlTest, OccurrencesThatTookNoTimeHaveNoHeight)
{
    Show("Instant");
    Draw();
    for (const Quad& quad : GetQuads(ChartLayer::cLowerLevel))
        EXPECT_EQ(quad.mTop, 300);
}

TEST_F(BarChartControlTest, HoverTellsOfTheBarUnderThePointer)
{
    Show("Frame");
    SetWindow(0, 100);
    Move(15);
    Draw();
    EXPECT_THAT(GetTooltip(15), HasSubstr("Frame - a&lt;b&gt;<br>"));
    EXPECT_THAT(GetTooltip(15), HasSubstr("<td>2ms </td>"));
    Move(20.5F);
    Draw();
    EXPECT_THAT(GetTooltip(20), IsEmpty()) << "the gap";

    SetWindow(0, 400);
    Move(15);
    Draw();
    EXPECT_THAT(GetTooltip(15), HasSubstr("Multiple bars"));
    mControl->GetContents().SetMode(EMode::Pan);
    EXPECT_THAT(GetTooltip(15), IsEmpty());
    mControl->GetContents().SetMode(EMode::Select);
    mRouter.Leave();
    EXPECT_THAT(GetTooltip(15), IsEmpty());

    Move(15);
    Draw();
    Show("Rare");
    EXPECT_THAT(GetTooltip(15), IsEmpty()) << "of the chart before";
}

TEST_F(BarChartControlTest, ClickTellsTheSessionsListenersOfTheBarUnderTheRelease)
{
    mCapture.GetSession().GetInstrumentationDatabase().AddEvent(77, "FRAME", "");
    Show("Frame");
    SetWindow(0, 100);
    Click(15);
    ASSERT_THAT(mListener.mPicks, SizeIs(1));
    EXPECT_EQ(mListener.mPicks[0].mThreadID, 1);
    EXPECT_EQ(mListener.mPicks[0].mStartTime, 10);
    EXPECT_EQ(mListener.mPicks[0].mEndTime, 12);
    EXPECT_THAT(mListener.mPicks[0].mAddresses,
        testing::UnorderedElementsAre(AddressElement{ChartCapture::sMakeID("Frame"), true}, AddressElement{77, true}));
    Draw();
    EXPECT_THAT(GetSelection(), IsEmpty()) << "not before a listener answers";

    Click(20.5F);
    Press(37, 100, MouseButton::cRight);
    Draw();
    Release(37, 100, MouseButton::cRight);
    Draw();
    Release(37);
    EXPECT_THAT(mListener.mPicks, SizeIs(1)) << "a gap, another button, no press";

    Press(15);
    Drag(37);
    Draw();
    Release(37);
    ASSERT_THAT(mListener.mPicks, SizeIs(2));
    EXPECT_EQ(mListener.mPicks[1].mStartTime, 30);

    SetWindow(0, 400);
    Click(15);
    ASSERT_THAT(mListener.mPicks, SizeIs(3));
    EXPECT_EQ(mListener.mPicks[2].mStartTime, 40);
    EXPECT_EQ(mListener.mPicks[2].mEndTime, 73) << "the whole group";
}

TEST_F(BarChartControlTest, RangeOfExactTimesIsSelected)
{
    Show("Frame");
    SetWindow(0, 100);
    mControl->SelectRange(20, 43);
    Draw();
    EXPECT_THAT(GetSelection(), IsEmpty()) << "4 takes 5 ms";
    mControl->SelectRange(20, 45);
    Draw();
    ASSERT_THAT(GetSelection(), SizeIs(1));
    EXPECT_EQ(GetSelection()[0].mLeft, 22);
    EXPECT_EQ(GetSelection()[0].mRight, 53);
    const float pulsing = GetSelection()[0].mAlpha;
    Draw(0.1);
    EXPECT_NE(GetSelection()[0].mAlpha, pulsing);
    Move(53);
    Draw(0.1);
    EXPECT_FLOAT_EQ(GetSelection()[0].mAlpha, 0.3F) << "at rest under the pointer";

    mControl->SelectRange(-1, -1);
    Draw();
    EXPECT_THAT(GetSelection(), IsEmpty());
    mControl->SelectRange(20, 45);
    mCapture.mViewHost.RangeChosen.Fire(1, 2);
    Draw();
    EXPECT_THAT(GetSelection(), IsEmpty()) << "a range was chosen elsewhere";
}

TEST_F(BarChartControlTest, ZoomDragHoldsTheBarUnderThePress)
{
    Show("Frame");
    mControl->GetContents().SetMode(EMode::Zoom);
    EXPECT_EQ(mControl->GetContents().GetCursor(), ECursor::Zoom);
    Press(550);
    Drag(650);
    const ZoomRange zoomed = GetWindow();
    EXPECT_NEAR(zoomed.GetLength(), 1000 / std::pow(10, 0.2175), 0.01);
    EXPECT_NEAR((500 - zoomed.mStart) / zoomed.GetLength(), 0.5, 0.001);
    Drag(550);
    EXPECT_NEAR(GetWindow().GetLength(), 1000, 0.01) << "back at the press";
    Drag(5000);
    EXPECT_FLOAT_EQ(GetWindow().GetLength(), 100) << "a slot a bar";
    Drag(-5000);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 1000}));
    Release(-5000);
    EXPECT_EQ(mControl->GetContents().GetMode(), EMode::Zoom);
    EXPECT_THAT(mListener.mPicks, IsEmpty());
}

TEST_F(BarChartControlTest, LevelsFollowTheZoomWhileItIsDraggedAndTheClockAfterwards)
{
    Show("Frame");
    mControl->GetContents().SetMode(EMode::Zoom);
    SetWindow(0, 600);
    Draw();
    Press(0);
    Drag(0);
    Draw(0);
    EXPECT_GT(GetQuads(ChartLayer::cLowerLevel).size(), 0U);
    EXPECT_GT(GetQuads(ChartLayer::cUpperLevel).size(), 0U) << "between two levels both are seen";
    Release(0);
    Draw(1);
    EXPECT_EQ(GetQuads(ChartLayer::cLowerLevel).size(), 0U) << "log2(6) is nearer to 3";
    EXPECT_EQ(CountUpperBars(), 77U);
}

TEST_F(BarChartControlTest, PanDragMovesTheContentWithThePointer)
{
    Show("Frame");
    SetWindow(200, 400);
    mControl->GetContents().SetMode(EMode::Pan);
    Press(500);
    Drag(390);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 220, 420}));
    Drag(5000);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 200}));
    Release(5000);
}

TEST_F(BarChartControlTest, HeldKeyChoosesTheModeOfOneDrag)
{
    Show("Frame");
    SetWindow(200, 400);
    BarChartContentsControl& contents = mControl->GetContents();
    std::vector<EMode> modes;
    const EventSubscription handle = contents.mModeChanged.Subscribe([&](EMode mode) { modes.push_back(mode); });

    HoldKey(Input::EKeyCode::Alt);
    Press(500);
    EXPECT_EQ(mCursor, ECursor::Zoom);
    LetGoOfKey();
    Drag(600);
    EXPECT_LT(GetWindow().GetLength(), 200);
    Release(600);
    EXPECT_EQ(mCursor, ECursor::Default);
    EXPECT_THAT(modes, ElementsAre(EMode::Zoom, EMode::Select));
    EXPECT_THAT(mListener.mPicks, IsEmpty());

    contents.SetMode(EMode::Zoom);
    HoldKey(Input::EKeyCode::Control);
    Press(500);
    Release(500);
    EXPECT_THAT(modes, ElementsAre(EMode::Zoom, EMode::Select, EMode::Zoom, EMode::Pan, EMode::Select))
        << "to select, not to the mode before";

    contents.SetMode(EMode::Pan);
    Press(500);
    Release(500);
    EXPECT_EQ(contents.GetMode(), EMode::Pan) << "the same mode lasts";
}

TEST_F(BarChartControlTest, DragWhoseReleaseWasLostEnds)
{
    Show("Frame");
    SetWindow(200, 400);
    mControl->GetContents().SetMode(EMode::Pan);
    Press(500);
    mRouter.Press({cLeft + 500, 100}, MouseButton::cRight, 0);
    Move(300, 100, 0);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 200, 400}));
    Drag(200);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 200, 400}));
}

TEST_F(BarChartControlTest, WheelZoomsWithTheKeyAndTheSameAtAnyFrameRate)
{
    Show("Frame");
    Move(550);
    EXPECT_FALSE(Wheel(550, 120));
    Draw();
    EXPECT_EQ(GetWindow().GetLength(), 1000);

    HoldKey(Input::EKeyCode::Alt);
    std::vector<ZoomRange> windows;
    for (const int frames : {1, 7, 60})
    {
        Show("Frame");
        EXPECT_TRUE(Wheel(550, 120));
        for (int i = 0; i < frames; ++i)
            Draw(0.25 / frames);
        const float before = GetWindow().mStart;
        EXPECT_TRUE(Wheel(550, 120)) << "while the first one still moves";
        Draw(0);
        EXPECT_EQ(GetWindow().mStart, before) << "without a jump";
        for (int i = 0; i < frames; ++i)
            Draw(0.6 / frames);
        windows.push_back(GetWindow());
    }
    for (const ZoomRange& window : windows)
    {
        EXPECT_LT(window.GetLength(), 700);
        EXPECT_NEAR(window.mStart, windows[0].mStart, 0.001);
        EXPECT_NEAR(window.mEnd, windows[0].mEnd, 0.001);
        EXPECT_NEAR((500 - window.mStart) / window.GetLength(), 0.5, 0.01);
    }
    for (int i = 0; i < 50; ++i)
        Wheel(550, -1200);
    Draw(10);
    EXPECT_EQ(GetWindow(), (ZoomRange{1000, 100, 0, 1000})) << "held at the limits";
}

TEST_F(BarChartControlTest, ZoomBarMovesTheSameWindow)
{
    Show("Frame");
    const auto pressBar = [&](float x) {
        mRouter.Press({cLeft + x, 307}, MouseButton::cLeft, 0);
    };
    const auto dragBar = [&](float x) {
        mRouter.Move({cLeft + x, 307}, MouseButton::cLeft, 0);
    };
    Move(5, 307);
    pressBar(5);
    dragBar(555);
    EXPECT_FLOAT_EQ(GetWindow().mStart, 500);
    mRouter.Release({cLeft + 555, 307}, MouseButton::cLeft, 0);
    Draw();
    EXPECT_FLOAT_EQ(GetWindow().mStart, 500) << "the animation rests there too";

    mRouter.Press({127, 8}, MouseButton::cLeft, 0);
    mRouter.Move({127, 158}, MouseButton::cLeft, 0);
    mRouter.Release({127, 158}, MouseButton::cLeft, 0);
    EXPECT_EQ(GetScroll().mValue, 3) << "half of the maximum";
}

TEST_F(BarChartControlTest, CommandsOfTheWindowMoveWhatIsInSight)
{
    Show("Frame");
    BarChartContentsControl& contents = mControl->GetContents();
    SetWindow(0, 200);
    const auto expectWindow = [&](float start, float end) {
        Draw();
        EXPECT_FLOAT_EQ(GetWindow().mStart, start);
        EXPECT_FLOAT_EQ(GetWindow().mEnd, end);
    };
    contents.MoveWindow(0.5, 0.0);
    contents.MoveWindow(0.5, 0.0);
    expectWindow(200, 400);
    contents.MoveWindow(1e12, 0.0);
    expectWindow(800, 1000);
    contents.MoveWindow(-1e12, 0.0);
    expectWindow(0, 200);
    contents.MoveWindow(0.0, -0.2);
    contents.MoveWindow(0.0, 10.0);
    EXPECT_FLOAT_EQ((Draw(), GetWindow().GetLength()), 100) << "no bar is wider than its slot";
    contents.ShowBars(300, 599, true);
    expectWindow(300, 600);
    contents.ShowBars(400, 400, false);
    expectWindow(300, 600);
    contents.ShowBars(999, 999, false);
    expectWindow(700, 1000);
}

TEST_F(BarChartControlTest, SizeAdaptsTheSmallestWindowAndNothingElse)
{
    Show("Frame");
    SetWindow(200, 400);
    for (const float width : {2335.0F, 300.0F, 100.0F, 0.0F})
    {
        mRoot.SetRect({0, 0, width, width > 200 ? cHeight : 5});
        mRoot.OnLayout();
        EXPECT_EQ(GetWindow().mStart, 200);
        EXPECT_EQ(GetWindow().mEnd, 400);
        EXPECT_EQ(GetWindow().mMinimumLength, std::trunc(width - cLeft) / 11) << width;
        Move(10, 2);
        Draw();
    }
}

TEST_F(BarChartControlTest, SteadyFrameAllocatesNothing)
{
    Show("Frame");
    mControl->SelectRange(20, 45);
    SetWindow(0, 600);
    for (int i = 0; i < 3; ++i)
        Draw(0.01);
    const uint64_t before = Tests::gCountAllocations();
    for (int i = 0; i < 100; ++i)
        Draw(0.01);
    EXPECT_EQ(Tests::gCountAllocations(), before);
}

TEST_F(BarChartControlTest, WithoutAChartThereIsNothingToPick)
{
    Draw();
    EXPECT_EQ(CountBars(), 0U);
    mControl->SelectRange(1, 2);
    Click(100);
    EXPECT_THAT(GetTooltip(100), IsEmpty());
    EXPECT_THAT(mListener.mPicks, IsEmpty());
}

}
}
