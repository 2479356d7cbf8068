#include "ProfilerLib/settings/KeyboardState.h"

#include <algorithm>

namespace Input
{

void KeyboardState::Press(uint32_t physicalKey, EKeyCode code)
{
    if (code == EKeyCode::None)
        return;
    const Utility::MutexLock lock(mMutex);
    if (std::ranges::none_of(mDown, [&](const auto& key) { return key.first == physicalKey; }))
        mDown.emplace_back(physicalKey, code);
}

void KeyboardState::Release(uint32_t physicalKey)
{
    const Utility::MutexLock lock(mMutex);
    std::erase_if(mDown, [&](const auto& key) { return key.first == physicalKey; });
}

void KeyboardState::ReleaseKey(EKeyCode code)
{
    const Utility::MutexLock lock(mMutex);
    std::erase_if(mDown, [&](const auto& key) { return key.second == code; });
}

void KeyboardState::Clear()
{
    const Utility::MutexLock lock(mMutex);
    mDown.clear();
}

bool KeyboardState::IsKeyDown(EKeyCode code) const
{
    const Utility::MutexLock lock(mMutex);
    return std::ranges::any_of(mDown, [&](const auto& key) { return key.second == code; });
}

}
