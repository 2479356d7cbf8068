#include "System/LockDelays.h"

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include <pthread.h>

namespace
{
std::atomic<unsigned> sSeed = 0; ///< 0 while there are no delays
std::atomic<unsigned> sNumThreads = 0;

void gDelay()
{
    const unsigned seed = sSeed.load(std::memory_order_relaxed);
    if (seed == 0)
    {
        return;
    }
    thread_local std::minstd_rand random(seed + 7919 * sNumThreads.fetch_add(1, std::memory_order_relaxed));
    const auto drawn = static_cast<unsigned>(random() >> 8);
    if (drawn % 64 == 0)
    {
        std::this_thread::sleep_for(std::chrono::microseconds(drawn / 64 % 100));
    }
    else if (drawn % 8 == 0)
    {
        std::this_thread::yield();
    }
}
}

System::LockDelays::LockDelays(unsigned seed)
{
    sSeed = seed + 1;
}

System::LockDelays::~LockDelays()
{
    sSeed = 0;
}

// The linker puts the first of each pair of functions in the place of the library's, and gives us that as the second.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C"
{
    int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

    int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
    {
        gDelay();
        return __real_pthread_mutex_lock(mutex);
    }

    int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex)
    {
        gDelay();
        return __real_pthread_mutex_trylock(mutex);
    }

    int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
    {
        const int result = __real_pthread_mutex_unlock(mutex);
        gDelay();
        return result;
    }
}
// NOLINTEND(bugprone-reserved-identifier)
