#pragma once

namespace System
{
/// Test support. While one of these lives, every thread of the process is late now and then before it locks a mutex and
/// after it has unlocked one: wherever another thread can come between two steps of what is tested, it soon does. Works
/// in test programs that are linked for it.
class LockDelays
{
public:
    explicit LockDelays(unsigned seed);
    ~LockDelays();
    LockDelays(const LockDelays&) = delete;
    LockDelays& operator=(const LockDelays&) = delete;
};
}
