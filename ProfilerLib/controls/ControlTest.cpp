#include "ProfilerLib/controls/AnimatedFloat.h"
#include "ProfilerLib/controls/MouseFollowTooltip.h"
#include "ProfilerLib/controls/RootControl.h"

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Renderer/PrimitiveList.h"
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
using testing::IsEmpty;

/// Notes when it is drawn, in white over all of it.
class DrawnControl final : public Control
{
public:
    DrawnControl(std::string name, const Rectangle& rect, std::vector<std::string>& drawn)
        : Control(nullptr),
          mName(std::move(name)),
          mDrawn(drawn)
    {
        SetRect(rect);
    }

    void Render(Renderer::PrimitiveRenderer& renderer) override
    {
        mDrawn.push_back(mName);
        BeginRender(renderer, mPrimitives);
        mPrimitives.FillRect({0, 0}, {GetWidth(), GetHeight()}, {1, 1, 1, 1}, 1);
        Control::Render(renderer);
    }

    Renderer::PrimitiveList mPrimitives{100};

private:
    std::string mName;
    std::vector<std::string>& mDrawn;
};

class ControlTest : public testing::Test
{
protected:
    ControlTest() { mRoot.SetRect({0, 0, 200, 100}); }

    DrawnControl* Add(Control& parent, std::string name, const Rectangle& rect)
    {
        return parent.AddChild(std::make_unique<DrawnControl>(std::move(name), rect, mDrawn));
    }

    std::vector<std::string> mDrawn;
    RootControl mRoot{nullptr, {1000, 500}};
};

TEST_F(ControlTest, RectanglesAreCutToTheLimitsOfEveryAncestor)
{
    DrawnControl* const outer = Add(mRoot, "outer", {10, 20, 100, 50});
    const struct
    {
        const char* mWhat;
        Rectangle mRect;
        Rectangle mClipped;
    } rows[] = {
        {"inside", {5, 5, 20, 10}, {15, 25, 20, 10}},
        // The limit is the parent's right edge in the parent's own frame.
        {"beyond the right", {90, 0, 50, 10}, {100, 20, 20, 10}},
        {"beyond the left and top", {-30, -5, 40, 10}, {10, 20, 10, 5}},
        {"wholly beyond", {150, 0, 10, 10}, {120, 20, 0, 10}},
        {"wholly before", {-50, -50, 10, 10}, {10, 20, 0, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        DrawnControl* const inner = Add(*outer, "inner", row.mRect);
        EXPECT_EQ(inner->GetRect(false, false), row.mClipped);
        const Rectangle& rect = row.mRect;
        EXPECT_EQ(inner->GetRect(true, false), (Rectangle{rect.mX + 10, rect.mY + 20, rect.mWidth, rect.mHeight}));
        EXPECT_EQ(inner->GetRect(true, true), (Rectangle{rect.mX + 1010, rect.mY + 520, rect.mWidth, rect.mHeight}));
        EXPECT_EQ(inner->GetOrigin(), (Vector2{rect.mX + 10, rect.mY + 20}));
    }
    mRoot.SetScreenOrigin({0, 1});
    EXPECT_EQ(mRoot.GetRect(false, true), (Rectangle{0, 1, 200, 100}));
    // Without a root at the top there is no screen to speak of.
    Control alone(nullptr);
    alone.SetRect({1, 2, 3, 4});
    EXPECT_EQ(alone.GetRect(false, true), (Rectangle{1, 2, 3, 4}));
}

TEST_F(ControlTest, OnlyWhatTouchesTheVisiblePartIsDrawnInTheOrderOfChildren)
{
    DrawnControl* const outer = Add(mRoot, "outer", {10, 10, 100, 80});
    Add(*outer, "inside", {0, 0, 10, 10});
    Add(*outer, "touches", {100, 0, 10, 10});
    Add(*outer, "beyond", {101, 0, 10, 10});
    Add(*outer, "above", {0, -11, 10, 10});
    Add(*outer, "hidden", {20, 0, 10, 10})->SetVisible(false);
    DrawnControl* const last = Add(*outer, "last", {50, 70, 100, 100});

    Renderer::RenderContext context;
    const LogCapture log;
    Renderer::PrimitiveRenderer renderer(context, 1.0f);
    mRoot.UpdateVisibleRects({0, 0, 200, 100});
    mRoot.Render(renderer);
    EXPECT_THAT(mDrawn, ElementsAre("outer", "inside", "touches", "last"));
    EXPECT_EQ(last->GetVisibleRect(), (Rectangle{60, 80, 60, 20}));
    EXPECT_EQ(last->mPrimitives.GetClipRect(), last->GetVisibleRect());
    EXPECT_EQ(last->mPrimitives.GetOrigin(), (Vector2{60, 80}));

    // A viewport elsewhere leaves an empty rectangle, which may well be less than nothing.
    mDrawn.clear();
    mRoot.UpdateVisibleRects({500, 0, 10, 10});
    EXPECT_LT(last->GetVisibleRect().mWidth, 0);
    mRoot.Render(renderer);
    EXPECT_THAT(mDrawn, IsEmpty());
    mRoot.UpdateVisibleRects({0, 0, 200, 100});
    mRoot.SetVisible(false);
    mRoot.Render(renderer);
    EXPECT_THAT(mDrawn, IsEmpty());
}

TEST_F(ControlTest, TheFirstChildIsHitAndEdgesBelongToTheLeftAndTop)
{
    DrawnControl* const outer = Add(mRoot, "outer", {10, 10, 100, 80});
    DrawnControl* const first = Add(*outer, "first", {20, 20, 30, 30});
    DrawnControl* const second = Add(*outer, "second", {40, 20, 30, 30});
    Add(*outer, "gone", {200, 200, 10, 10});
    const struct
    {
        int mX;
        int mY;
        Control* mHit;
    } rows[] = {{30, 30, first}, {59, 59, first}, {60, 30, second}, {79, 59, second}, {80, 30, outer}, {30, 60, outer},
        {29, 30, outer}, {10, 10, outer}, {9, 10, nullptr}, {110, 50, nullptr}, {10, 90, nullptr}, {-1, -1, nullptr},
        // Where "gone" would be without its parent's limits; the root itself is never hit.
        {215, 215, nullptr}, {150, 50, nullptr}};
    for (const auto& row : rows)
        EXPECT_EQ(mRoot.HitTest(row.mX, row.mY), row.mHit) << row.mX << ", " << row.mY;

    first->SetInteractive(false);
    EXPECT_EQ(mRoot.HitTest(30, 30), outer);
    EXPECT_EQ(mRoot.HitTest(55, 30), second);
    outer->SetVisible(false);
    EXPECT_EQ(mRoot.HitTest(30, 30), nullptr);
}

TEST_F(ControlTest, TheContentFillsTheRoot)
{
    RootControl root{nullptr, {}};
    root.OnLayout();
    root.SetContent(std::make_unique<Control>(nullptr));
    root.SetRect({0, 0, 30, 40});
    root.OnLayout();
    EXPECT_EQ(root.GetContent()->GetLocalRect(), (Rectangle{0, 0, 30, 40}));
    EXPECT_EQ(root.GetContent()->GetParent(), &root);
}

TEST(AnimatedFloatTest, EasesOutAndLandsOnItsTarget)
{
    using enum AnimatedFloat::EStep;
    AnimatedFloat value(10.0f, 0.5);
    EXPECT_EQ(value.Advance(100.0), AtRest);
    value.MoveTo(20.0f);
    EXPECT_EQ(value.Advance(0.125), Moving);
    EXPECT_FLOAT_EQ(value.GetValue(), 10.0f + 10.0f * static_cast<float>(1.0 - std::pow(0.75, 3)));
    EXPECT_EQ(value.Advance(0.125), Moving);
    EXPECT_FLOAT_EQ(value.GetValue(), 18.75f);

    // Redirected from where it stands, with the whole way ahead; a target that the sum would miss by rounding.
    value.MoveTo(-1e-30f);
    EXPECT_EQ(value.Advance(0.25), Moving);
    EXPECT_EQ(value.Advance(7.0), Arrived);
    EXPECT_EQ(value.GetValue(), -1e-30f);
    EXPECT_EQ(value.Advance(-1.0), AtRest);

    value.MoveTo(-1e-30f);
    EXPECT_TRUE(value.IsAtRest());
    value.MoveTo(5.0f);
    value.JumpTo(6.0f);
    EXPECT_EQ(value.Advance(1.0), AtRest);
    EXPECT_EQ(value.GetValue(), 6.0f);
    AnimatedFloat instant(1.0f, 0.0);
    instant.MoveTo(2.0f);
    EXPECT_EQ(instant.Advance(0.0), Arrived);
    EXPECT_EQ(instant.GetValue(), 2.0f);
}

TEST(TooltipPlaceTest, ItIsBesideThePointerAndOnTheScreen)
{
    const QRect screen(100, 50, 1000, 800);
    const struct
    {
        const char* mWhat;
        QPoint mPointer;
        QSize mSize;
        QPoint mPlace;
    } rows[] = {
        {"beside", {300, 300}, {200, 50}, {304, 316}},
        {"just fits", {896, 784}, {200, 50}, {900, 800}},
        {"right edge", {897, 300}, {200, 50}, {697, 316}},
        {"bottom edge", {300, 785}, {200, 50}, {304, 727}},
        {"corner", {1090, 840}, {200, 50}, {890, 782}},
        {"wider than the screen", {300, 300}, {1200, 50}, {100, 316}},
        {"higher than the screen", {300, 300}, {200, 900}, {304, -50}},
        {"left of the screen", {0, 300}, {200, 50}, {100, 316}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(gPlaceTooltip(row.mPointer, row.mSize, screen), row.mPlace) << row.mWhat;
}

}
}
