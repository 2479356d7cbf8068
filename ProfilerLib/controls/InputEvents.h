#pragma once

#include <cstdint>

#include "ProfilerLib/settings/KeyCode.h"
#include "Renderer/Vectors.h"

/// What a control hears of the mouse and the keyboard. Plain records: the host makes one for each event, and the same
/// one goes to every control on the way, so `handled` stays set once a control has set it.
namespace Profiler
{

/// Bits of `buttons`.
namespace MouseButton
{
inline constexpr uint8_t cLeft = 1;
inline constexpr uint8_t cRight = 2;
inline constexpr uint8_t cMiddle = 4;
}

/// Bits of `modifiers`.
namespace Modifier
{
inline constexpr uint16_t cShift = 1;
inline constexpr uint16_t cControl = 2;
inline constexpr uint16_t cAlt = 4;
inline constexpr uint16_t cMeta = 8;
inline constexpr uint16_t cKeypad = 16;
inline constexpr uint16_t cGroupSwitch = 32;
}

struct MouseEvent
{
    bool handled = false;
    Renderer::Vector2 position{}; ///< in the coordinates of the control that receives it
    uint8_t buttons = 0;          ///< of press, release and double click the one button, of a move all that are held
    uint16_t modifiers = 0;
};

struct WheelEvent
{
    bool handled = false;
    Renderer::Vector2 position{}; ///< in the coordinates of the control that receives it
    int32_t delta = 0;            ///< 120 a notch, positive away from the user
    uint16_t modifiers = 0;
};

struct KeyEvent
{
    bool handled = false;
    Input::EKeyCode key = Input::EKeyCode::None; ///< `None` also for a key that has no code
    uint16_t modifiers = 0;
    bool accepted = false; ///< the state of the window system's event when it came
};

}
