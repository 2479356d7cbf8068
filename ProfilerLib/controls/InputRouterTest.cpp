#include "ProfilerLib/controls/InputRouter.h"
#include "ProfilerLib/controls/ListeningControl.h"
#include "ProfilerLib/controls/RootControl.h"

#include <cfloat>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Profiler
{
namespace
{

using Renderer::Vector2;
using testing::ElementsAre;
using testing::IsEmpty;

/// A root of 200 by 100 with a content that fills it, and in that two panels beside each other; in the left one lies a
/// button.
class InputRouterTest : public testing::Test, private InputRouter::Host
{
protected:
    InputRouterTest()
    {
        mRoot.SetRect({0, 0, 200, 100});
        mRoot.SetContent(std::make_unique<ListeningControl>("content", Renderer::Rectangle{}, mLog));
        mRoot.OnLayout();
        mContent = static_cast<ListeningControl*>(mRoot.GetContent());
        mLeft = Add(*mContent, "left", {0, 10, 100, 90});
        mRight = Add(*mContent, "right", {100, 10, 100, 90});
        mButton = Add(*mLeft, "button", {10, 20, 30, 30});
    }

    ListeningControl* Add(Control& parent, std::string name, const Renderer::Rectangle& rect)
    {
        return parent.AddChild(std::make_unique<ListeningControl>(std::move(name), rect, mLog));
    }

    /// What was heard since the last call, without what the hover and the focus are told.
    Log TakeInput()
    {
        Log log = Take();
        std::erase_if(log, [](const std::string& line) {
            return line.ends_with("enter") || line.ends_with("leave") || line.ends_with("focus") ||
                   line.ends_with("blur");
        });
        return log;
    }
    Log Take() { return std::exchange(mLog, {}); }
    std::vector<ECursor> TakeCursors() { return std::exchange(mCursors, {}); }

    void ShowCursor(ECursor cursor) override { mCursors.push_back(cursor); }
    void OnFocusChanged() override { ++mNumFocusChanges; }

    static constexpr Vector2 cOnButton{20, 40};
    static constexpr Vector2 cOnLeft{90, 50};
    static constexpr Vector2 cOnRight{150, 50};
    static constexpr Vector2 cOnContent{50, 5};
    static constexpr Vector2 cOutside{-30, 500};

    Log mLog;
    RootControl mRoot{nullptr, {}};
    ListeningControl* mContent;
    ListeningControl* mLeft;
    ListeningControl* mRight;
    ListeningControl* mButton;
    std::vector<ECursor> mCursors;
    int mNumFocusChanges = 0;
    InputRouter mRouter{mRoot, *this};
};

TEST_F(InputRouterTest, InputGoesToTheTargetAndToBubbleTargetsAboveIt)
{
    const struct
    {
        const char* mWhat;
        bool mHandles;
        bool mLeftBubbles;
        bool mLeftInteractive;
        bool mContentBubbles;
        Log mPress;
    } rows[] = {
        {"target alone", false, false, true, false, {"button press 10,10"}},
        {"bubble target", false, true, true, false, {"button press 10,10", "left press 20,30"}},
        {"handled", true, true, true, true,
            {"button press 10,10", "left press 20,30 handled", "content press 20,40 handled"}},
        {"not interactive", true, true, false, true, {"button press 10,10", "content press 20,40 handled"}},
        {"no bubbling in between", false, false, true, true, {"button press 10,10", "content press 20,40"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        mButton->mHandles = row.mHandles;
        mLeft->SetBubbleTarget(row.mLeftBubbles);
        mLeft->SetInteractive(row.mLeftInteractive);
        mContent->SetBubbleTarget(row.mContentBubbles);
        mRouter.Press(cOnButton, MouseButton::cLeft, 0);
        EXPECT_EQ(TakeInput(), row.mPress);
        EXPECT_EQ(mRouter.GetCaptured(), row.mHandles ? mButton : nullptr);
    }
    mRouter.Press(cOutside, MouseButton::cLeft, 0);
    EXPECT_EQ(mRouter.GetCaptured(), nullptr);
    EXPECT_THAT(TakeInput(), IsEmpty());
}

TEST_F(InputRouterTest, TheFirstThatHandlesAPressHasTheMouseUntilTheRelease)
{
    mLeft->SetBubbleTarget(true);
    mLeft->mHandles = true;
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    EXPECT_EQ(mRouter.GetCaptured(), mLeft);
    Take();

    mRouter.Move(cOnRight, MouseButton::cLeft, 0);
    mRouter.Move(cOutside, MouseButton::cLeft, 0);
    EXPECT_THAT(TakeInput(), ElementsAre("left move 150,40", "left move -30,490"));
    EXPECT_EQ(mRouter.GetHovered(), mLeft);
    // Double clicks and the wheel go by what is under the mouse.
    mRouter.DoubleClick(cOnRight, MouseButton::cLeft, 0);
    EXPECT_FALSE(mRouter.Wheel(cOnRight, 120, 0));
    EXPECT_THAT(TakeInput(), ElementsAre("right double 50,40", "right wheel 50,40"));

    // The release ends it, handled or not.
    mLeft->mHandles = false;
    mRouter.Release(cOutside, MouseButton::cLeft, 0);
    EXPECT_THAT(TakeInput(), ElementsAre("left release -30,490"));
    EXPECT_EQ(mRouter.GetCaptured(), nullptr);
    EXPECT_EQ(mRouter.GetHovered(), nullptr);
    mRouter.Move(cOnRight, 0, 0);
    EXPECT_THAT(TakeInput(), ElementsAre("right move 50,40"));
    mRouter.Release(cOnRight, MouseButton::cLeft, 0);
    EXPECT_THAT(TakeInput(), ElementsAre("right release 50,40"));
}

TEST_F(InputRouterTest, APressThatNobodyHandlesCapturesNothingAndEndsAnOldCapture)
{
    mButton->mHandles = true;
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    EXPECT_EQ(mRouter.GetCaptured(), mButton);
    mRouter.Press(cOnRight, MouseButton::cRight, 0);
    EXPECT_EQ(mRouter.GetCaptured(), nullptr);
    Take();
    mRouter.Move(cOnButton, MouseButton::cRight, 0);
    EXPECT_THAT(TakeInput(), ElementsAre("button move 10,10"));
}

TEST_F(InputRouterTest, TheWheelTellsWhetherItWasUsed)
{
    EXPECT_FALSE(mRouter.Wheel(cOnButton, 120, 0));
    mButton->mHandles = true;
    EXPECT_TRUE(mRouter.Wheel(cOnButton, 120, 0));
    EXPECT_FALSE(mRouter.Wheel(cOutside, 120, 0));
}

TEST_F(InputRouterTest, HoveringAControlIsHoveringAllAboveIt)
{
    const struct
    {
        Vector2 mPoint;
        Log mHeard;
    } rows[] = {
        {cOnButton, {"content enter", "left enter", "button enter"}},
        {cOnButton, {}},
        {cOnLeft, {"button leave"}},
        {cOnButton, {"button enter"}},
        {cOnRight, {"left leave", "button leave", "right enter"}},
        {cOnContent, {"right leave"}},
        {cOutside, {"content leave"}},
        {cOnLeft, {"content enter", "left enter"}},
    };
    for (const auto& row : rows)
    {
        mRouter.Move(row.mPoint, 0, 0);
        Log heard = Take();
        std::erase_if(heard, [](const std::string& line) { return line.find(" move ") != std::string::npos; });
        EXPECT_EQ(heard, row.mHeard) << row.mPoint.mX << ", " << row.mPoint.mY;
    }
    EXPECT_EQ(mLeft->GetMousePosition(), (Vector2{90, 40}));
    EXPECT_TRUE(mLeft->IsMouseInside());
    mRouter.Leave();
    EXPECT_THAT(Take(), ElementsAre("content leave", "left leave"));
    EXPECT_FALSE(mLeft->IsMouseInside());
    EXPECT_EQ(mLeft->GetMousePosition(), (Vector2{FLT_MAX, FLT_MAX}));
}

TEST_F(InputRouterTest, TheCursorIsTheNextOneAbove)
{
    mLeft->SetCursor(ECursor::Pan);
    mRight->SetCursor(ECursor::Zoom);
    mRouter.Move(cOnButton, 0, 0);
    mRouter.Move(cOnRight, 0, 0);
    mRouter.Move(cOnContent, 0, 0);
    mRouter.Move(cOutside, 0, 0);
    EXPECT_THAT(TakeCursors(), ElementsAre(ECursor::Pan, ECursor::Zoom, ECursor::Default, ECursor::Default));

    // A press and a move go by their target, a release by what lies under it, a key by the focus.
    mButton->mHandles = true;
    mButton->SetCursor(ECursor::ClosedHand);
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    mRouter.Move(cOnRight, MouseButton::cLeft, 0);
    mRouter.Release(cOnRight, MouseButton::cLeft, 0);
    EXPECT_THAT(TakeCursors(), ElementsAre(ECursor::ClosedHand, ECursor::ClosedHand, ECursor::Zoom));
    mButton->mHandles = false;
    KeyEvent key;
    EXPECT_FALSE(mRouter.PressKey(key));
    EXPECT_FALSE(mRouter.ReleaseKey(key));
    EXPECT_THAT(TakeCursors(), ElementsAre(ECursor::ClosedHand, ECursor::ClosedHand));
    mRouter.DoubleClick(cOnRight, MouseButton::cLeft, 0);
    EXPECT_THAT(TakeCursors(), IsEmpty());
}

TEST_F(InputRouterTest, KeysGoUpFromTheFocusUntilOneHandlesThem)
{
    KeyEvent key{.key = Input::EKeyCode::A};
    EXPECT_FALSE(mRouter.PressKey(key));
    EXPECT_THAT(Take(), IsEmpty());

    mRouter.SetFocus(mButton);
    Take();
    TakeCursors();
    // Flags of those above do not matter.
    mLeft->SetInteractive(false);
    EXPECT_FALSE(mRouter.PressKey(key));
    EXPECT_THAT(Take(), ElementsAre("button key", "left key", "content key"));
    mLeft->mHandles = true;
    EXPECT_TRUE(mRouter.ReleaseKey(key));
    EXPECT_THAT(Take(), ElementsAre("button keyup", "left keyup"));
    EXPECT_EQ(TakeCursors().size(), 1);
}

TEST_F(InputRouterTest, TheFocusGoesToTheNextInteractiveControl)
{
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    EXPECT_EQ(mRouter.GetFocused(), mButton);
    EXPECT_EQ(Take().front(), "button focus");
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    EXPECT_EQ(mNumFocusChanges, 1);
    Take();

    mRight->SetInteractive(false);
    mRouter.SetFocus(mRight);
    EXPECT_EQ(mRouter.GetFocused(), mContent);
    EXPECT_THAT(Take(), ElementsAre("button blur", "content focus"));
    EXPECT_EQ(mNumFocusChanges, 2);
    mRouter.SetFocus(&mRoot);
    EXPECT_EQ(mRouter.GetFocused(), nullptr);
    EXPECT_THAT(Take(), ElementsAre("content blur"));
    EXPECT_EQ(mNumFocusChanges, 3);

    mRouter.SetFocus(mLeft);
    EXPECT_TRUE(mRouter.DropFocus());
    EXPECT_FALSE(mRouter.DropFocus());
    EXPECT_THAT(Take(), ElementsAre("left focus", "left blur"));
    EXPECT_EQ(mNumFocusChanges, 4);
}

TEST_F(InputRouterTest, TheTooltipIsTheFirstOnTheWayUp)
{
    constexpr Renderer::Rectangle all{0, 0, 200, 100};
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, all), "");
    mContent->mTooltip = "content";
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, all), "content at 20,40");
    mButton->mTooltip = "button";
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, all), "button at 10,10");
    EXPECT_EQ(mRouter.GetTooltip(cOutside, all), "");
    // Outside what is visible nobody is asked; what touches it is inside.
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, {100, 0, 100, 100}), "content at 20,40");
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, {40, 60, 1, 1}), "button at 10,10");
    mButton->mHandles = true;
    mRouter.Press(cOnButton, MouseButton::cLeft, 0);
    EXPECT_EQ(mRouter.GetTooltip(cOnButton, all), "");
}

}
}
