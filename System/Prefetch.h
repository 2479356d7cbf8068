#pragma once

#include <cstddef>

namespace System
{
/// Asks the processor to fetch an object that this thread is about to change, and goes on without it. Null is allowed.
/// Both compilers of this project have the builtin; where one has not, doing nothing is as right.
template <typename T>
void gPrefetch(const T* object)
{
    constexpr size_t line = 64;
    constexpr int forWriting = 1;
    for (size_t offset = 0; offset < sizeof(T); offset += line)
    {
        __builtin_prefetch(reinterpret_cast<const char*>(object) + offset, forWriting);
    }
}
}
