#include "ProfilerLib/settings/KeyCode.h"
#include "ProfilerLib/settings/KeyboardState.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"

namespace Input
{
namespace
{

TEST(KeyCodeTest, NumbersAndNamesAreThoseOfStoredFiles)
{
    const struct
    {
        EKeyCode mCode;
        int mNumber;
        const char* mName;
        int mQtKey;
    } rows[] = {
        {EKeyCode::None, 0, "None", 0},
        {EKeyCode::Escape, 1, "Escape", 0x1000000},
        {EKeyCode::Clear, 12, "Clear", 0x100000B},
        {EKeyCode::Home, 13, "Home", 0x1000010},
        {EKeyCode::Up, 16, "Up", 0x1000013},
        {EKeyCode::PageUp, 19, "PageUp", 0x1000016},
        {EKeyCode::Shift, 21, "Shift", 0x1000020},
        {EKeyCode::ScrollLock, 27, "ScrollLock", 0x1000026},
        {EKeyCode::F1, 28, "F1", 0x1000030},
        {EKeyCode::F35, 62, "F35", 0x1000052},
        {EKeyCode::DirectionLeft, 69, "Direction_L", 0x1000059},
        {EKeyCode::DirectionRight, 70, "Direction_R", 0x1000060},
        {EKeyCode::Space, 71, "Space", 0x20},
        {EKeyCode::Exclamation, 73, "!", 0x21},
        {EKeyCode::Apostrophe, 79, "`", 0x27},
        {EKeyCode::Slash, 87, "/", 0x2F},
        {EKeyCode::Digit0, 88, "0", 0x30},
        {EKeyCode::At, 104, "@", 0x40},
        {EKeyCode::Z, 130, "Z", 0x5A},
        {EKeyCode::Backslash, 132, "\\", 0x5C},
        {EKeyCode::Grave, 136, "'", 0x60},
        {EKeyCode::Bar, 138, "Bar", 0x7C},
        {EKeyCode::Tilde, 140, "~", 0x7E},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mName);
        EXPECT_EQ(static_cast<int>(row.mCode), row.mNumber);
        EXPECT_EQ(gGetKeyName(row.mCode), row.mName);
        EXPECT_EQ(gGetQtKey(row.mCode), row.mQtKey);
        EXPECT_EQ(gGetKeyCode(row.mQtKey), row.mCode);
    }
}

TEST(KeyCodeTest, EveryKeyHasANameOfItsOwnAndComesBackFromQt)
{
    std::set<std::string> names;
    for (int number = 0; number < cNumKeyCodes; ++number)
    {
        const auto code = static_cast<EKeyCode>(number);
        names.insert(gGetKeyName(code));
        EXPECT_EQ(gGetKeyCode(gGetQtKey(code)), code == EKeyCode::Any ? EKeyCode::Space : code) << number;
    }
    EXPECT_EQ(names.size(), cNumKeyCodes);
    EXPECT_EQ(gGetQtKey(EKeyCode::Any), 0x20);
}

TEST(KeyCodeTest, KeysWithoutACodeAreNone)
{
    for (const int qtKey : {0, -1, 0x1F, 0x61, 0x7A, 0x7F, 0x100000C, 0x1000018, 0x100005A, 0x1001103, 0x7FFFFFFF})
        EXPECT_EQ(gGetKeyCode(qtKey), EKeyCode::None) << qtKey;
    EXPECT_EQ(gGetQtKey(static_cast<EKeyCode>(cNumKeyCodes)), 0);
}

TEST(KeyboardStateTest, AKeyIsDownWhileOneOfItsSwitchesIs)
{
    KeyboardState state;
    state.Press(37, EKeyCode::Control);
    state.Press(105, EKeyCode::Control);
    state.Release(37);
    EXPECT_TRUE(state.IsKeyDown(EKeyCode::Control));
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Shift));
    state.Release(105);
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Control));
}

TEST(KeyboardStateTest, AReleaseTakesBackWhatItsPressGave)
{
    KeyboardState state;
    // Shift is let go of before the key, and the release then says "7".
    state.Press(16, EKeyCode::Ampersand);
    state.Press(16, EKeyCode::Digit7);
    EXPECT_TRUE(state.IsKeyDown(EKeyCode::Ampersand));
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Digit7));
    state.Release(16);
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Ampersand));

    state.Press(200, EKeyCode::None);
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::None));
    state.Release(201);
}

TEST(KeyboardStateTest, AllIsUpWhenTheKeyboardHasGone)
{
    KeyboardState state;
    state.Press(64, EKeyCode::Alt);
    state.Press(108, EKeyCode::Alt);
    state.Press(50, EKeyCode::Shift);
    state.ReleaseKey(EKeyCode::Alt);
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Alt));
    EXPECT_TRUE(state.IsKeyDown(EKeyCode::Shift));
    state.Clear();
    EXPECT_FALSE(state.IsKeyDown(EKeyCode::Shift));
}

}
}
