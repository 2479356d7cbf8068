#pragma once

#include <cstddef>
#include <cstdint>

namespace System
{
/// Asks the processor to fetch the lines of the cache that hold some bytes, and goes on without them. The bytes need
/// not be there, and null is allowed. Both compilers of this project have the builtin; where one has not, doing nothing
/// is as right.
template <bool forWriting>
inline void gPrefetchBytes(const void* bytes, std::size_t size)
{
    constexpr std::size_t lineSize = 64;
    for (std::size_t offset = 0; offset < size; offset += lineSize)
    {
        // As a number: there is no pointer behind null, nor between objects.
        const void* const line = reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(bytes) + offset);
        __builtin_prefetch(line, forWriting ? 1 : 0);
        // Or the compiler takes this for a function without effects, and drops its calls.
        asm volatile("" : : "r"(line));
    }
}

/// An object that this thread is about to change.
template <typename T>
void gPrefetch(const T* object)
{
    gPrefetchBytes<true>(object, sizeof(T));
}
}
