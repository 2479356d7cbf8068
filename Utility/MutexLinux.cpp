#include "Utility/Mutex.h"

namespace
{
/// Waits for some ten nanoseconds, and leaves the processor to its other thread if it has one.
void gPause()
{
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}
}

void Utility::Mutex::LockHeld()
{
    // Each attempt takes the mutex's cache line away from the thread that holds it, and the lines of what it guards
    // follow. A thread that comes back to the mutex often gets more done when it is left alone for some turns.
    constexpr int first = 64;
    constexpr int longest = 256;
    for (int length = first; length <= longest; length *= 2)
    {
        for (int i = 0; i < length; ++i)
        {
            gPause();
        }
        if (mMutex.try_lock())
        {
            return;
        }
    }
    mMutex.lock();
}
