#include "ProfilerLib/settings/KeyCode.h"

#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"

namespace Input
{

namespace
{

/// Keys that follow each other on both sides.
struct KeyRange
{
    EKeyCode mFirst;
    EKeyCode mLast;
    int mFirstQtKey;
};

constexpr KeyRange cRanges[] = {
    {EKeyCode::Escape, EKeyCode::Clear, 0x1000000},
    {EKeyCode::Home, EKeyCode::PageDown, 0x1000010},
    {EKeyCode::Shift, EKeyCode::ScrollLock, 0x1000020},
    {EKeyCode::F1, EKeyCode::DirectionLeft, 0x1000030},
    {EKeyCode::DirectionRight, EKeyCode::DirectionRight, 0x1000060},
    {EKeyCode::Space, EKeyCode::Space, 0x20},
    {EKeyCode::Any, EKeyCode::Any, 0x20},
    {EKeyCode::Exclamation, EKeyCode::Grave, 0x21},
    {EKeyCode::BraceLeft, EKeyCode::Tilde, 0x7B},
};

constexpr int GetValue(EKeyCode code)
{
    return static_cast<int>(code);
}

}

std::string gGetKeyName(EKeyCode code)
{
    return RTTI::gGetEnumValueName(RTTI::gTypeOf<EKeyCode>(), {&RTTI::gTypeOf<EKeyCode>(), &code});
}

EKeyCode gGetKeyCode(int qtKey)
{
    for (const KeyRange& range : cRanges)
    {
        const int offset = qtKey - range.mFirstQtKey;
        if (offset >= 0 && offset <= GetValue(range.mLast) - GetValue(range.mFirst))
            return static_cast<EKeyCode>(GetValue(range.mFirst) + offset);
    }
    return EKeyCode::None;
}

int gGetQtKey(EKeyCode code)
{
    for (const KeyRange& range : cRanges)
    {
        if (code >= range.mFirst && code <= range.mLast)
            return range.mFirstQtKey + GetValue(code) - GetValue(range.mFirst);
    }
    return 0;
}

}
