#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "ProfilerLib/settings/KeyCode.h"
#include "Utility/Mutex.h"

namespace Input
{

/// Which keys are held down now. The host owns it and feeds it with the key events of its windows (see
/// `Profiler::KeyboardEventFilter`); controls ask it. Any thread.
///
/// It goes by the switches under the keys: a key stays down while one of two switches that give it is held, and the
/// release of a switch takes back what its press gave, even when a modifier has changed its meaning since.
class KeyboardState
{
public:
    /// `physicalKey` tells the switches of the keyboard apart, whatever the numbers mean. A press of a switch that is
    /// down already, as a repeating key sends it, changes nothing. One that gives `None` counts for no key.
    void Press(uint32_t physicalKey, EKeyCode code);
    void Release(uint32_t physicalKey);
    /// All switches that give the key.
    void ReleaseKey(EKeyCode code);
    /// When the keyboard goes to another program: what is released there is never heard of.
    void Clear();

    bool IsKeyDown(EKeyCode code) const;

private:
    mutable Utility::Mutex mMutex;
    /// A handful at the most: as many as a person has fingers.
    std::vector<std::pair<uint32_t, EKeyCode>> mDown GUARDED_BY(mMutex);
};

}
