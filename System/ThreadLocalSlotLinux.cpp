#include "System/ThreadLocalSlot.h"

#include "Utility/Trace.h"

#include <cstdlib>

#include <pthread.h>

static_assert(sizeof(pthread_key_t) == sizeof(uint32_t));

System::ThreadLocalSlot::ThreadLocalSlot()
{
    pthread_key_t key = 0;
    if (pthread_key_create(&key, nullptr) != 0)
    {
        Utility::gTrace("The process has no thread-local slot left.");
        std::abort();
    }
    mKey = key;
}

System::ThreadLocalSlot::~ThreadLocalSlot()
{
    pthread_key_delete(mKey);
}

void* System::ThreadLocalSlot::Get() const
{
    return pthread_getspecific(mKey);
}

void System::ThreadLocalSlot::Set(void* value)
{
    if (pthread_setspecific(mKey, value) != 0)
    {
        Utility::gTrace("No memory for a thread-local value.");
        std::abort();
    }
}
