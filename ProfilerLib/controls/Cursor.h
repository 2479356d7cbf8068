#pragma once

#include <cstdint>

namespace Profiler
{

/// The mouse pointer that a control wants. `Default` is none of its own: that of the parent counts.
enum class ECursor : uint8_t
{
    Default = 0,
    Wait = 2,
    SizeVertical = 3,
    SizeHorizontal = 4,
    SizeAll = 5,
    Busy = 6,
    OpenHand = 7,
    ClosedHand = 8,
    Pan = 9,
    Zoom = 10,
    Measure = 11,
    Blank = 12,
};

}
