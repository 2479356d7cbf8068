#include "System/ThreadName.h"

#include <pthread.h>

void System::gSetThreadName(const std::string& name)
{
    constexpr size_t longest = 15;
    // A thread without its name works as well as one with it.
    (void)pthread_setname_np(pthread_self(), gShortenThreadName(name, longest).c_str());
}
