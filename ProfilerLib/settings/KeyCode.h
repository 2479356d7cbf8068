#pragma once

#include <cstdint>
#include <string>

#include "Serialization/RTTI/Describe.h"

namespace Input
{

/// A key of the keyboard, by what it gives and not by where it lies: left and right Control are one key, and so are the
/// two sevens. The names of `gDescribe` below are stored in settings files.
enum class EKeyCode : uint16_t
{
    // clang-format off
    None,
    Escape, Tab, BackTab, Backspace, Return, Enter, Insert, Delete, Pause, Print, SysReq, Clear,
    Home, End, Left, Up, Right, Down, PageUp, PageDown,
    Shift, Control, Meta, Alt, CapsLock, NumLock, ScrollLock,
    F1, F2, F3, F4, F5, F6, F7, F8, F9, F10, F11, F12, F13, F14, F15, F16, F17, F18,
    F19, F20, F21, F22, F23, F24, F25, F26, F27, F28, F29, F30, F31, F32, F33, F34, F35,
    SuperLeft, SuperRight, Menu, HyperLeft, HyperRight, Help, DirectionLeft, DirectionRight,
    Space, Any,
    Exclamation, QuoteDouble, NumberSign, Dollar, Percent, Ampersand, Apostrophe, ParenthesisLeft, ParenthesisRight,
    Asterisk, Plus, Comma, Minus, Period, Slash,
    Digit0, Digit1, Digit2, Digit3, Digit4, Digit5, Digit6, Digit7, Digit8, Digit9,
    Colon, Semicolon, Less, Equal, Greater, Question, At,
    A, B, C, D, E, F, G, H, I, J, K, L, M, N, O, P, Q, R, S, T, U, V, W, X, Y, Z,
    BracketLeft, Backslash, BracketRight, Circumflex, Underscore, Grave,
    BraceLeft, Bar, BraceRight, Tilde,
    // clang-format on
};

inline constexpr int cNumKeyCodes = 141;
static_assert(static_cast<int>(EKeyCode::Tilde) == cNumKeyCodes - 1);

/// The stored names in the order of the values. Apostrophe and Grave carry each other's character, and have to: files
/// say it so.
inline constexpr const char* cKeyNames[cNumKeyCodes] = {
    // clang-format off
    "None",
    "Escape", "Tab", "BackTab", "Backspace", "Return", "Enter", "Insert", "Delete", "Pause", "Print", "SysReq", "Clear",
    "Home", "End", "Left", "Up", "Right", "Down", "PageUp", "PageDown",
    "Shift", "Control", "Meta", "Alt", "CapsLock", "NumLock", "ScrollLock",
    "F1", "F2", "F3", "F4", "F5", "F6", "F7", "F8", "F9", "F10", "F11", "F12", "F13", "F14", "F15", "F16", "F17", "F18",
    "F19", "F20", "F21", "F22", "F23", "F24", "F25", "F26", "F27", "F28", "F29", "F30", "F31", "F32", "F33", "F34",
    "F35",
    "Super_L", "Super_R", "Menu", "Hyper_L", "Hyper_R", "Help", "Direction_L", "Direction_R",
    "Space", "Any",
    "!", "\"", "#", "$", "%", "&", "`", "(", ")",
    "*", "+", ",", "-", ".", "/",
    "0", "1", "2", "3", "4", "5", "6", "7", "8", "9",
    ":", ";", "<", "=", ">", "?", "@",
    "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M", "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W",
    "X", "Y", "Z",
    "[", "\\", "]", "^", "_", "'",
    "{", "Bar", "}", "~",
    // clang-format on
};

consteval auto gDescribe(RTTI::EnumTag<EKeyCode>)
{
    RTTI::EnumDescription<EKeyCode, uint16_t, cNumKeyCodes> description{"Input::EKeyCode", {}};
    for (uint64_t value = 0; value < cNumKeyCodes; ++value)
        description.Values[value] = {cKeyNames[value], value};
    return description;
}

/// The key's stored name, which is also what a person is shown.
std::string gGetKeyName(EKeyCode code);

/// Between keys and the numbers of `Qt::Key`. A key that the other side does not know gives `None`, or 0; the space bar
/// gives `Space`, and both `Space` and `Any` are the space bar.
EKeyCode gGetKeyCode(int qtKey);
int gGetQtKey(EKeyCode code);

}
