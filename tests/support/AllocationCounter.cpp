#include "tests/support/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::uint64_t gAllocations = 0;

void* Allocate(std::size_t size)
{
    ++gAllocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment)
{
    ++gAllocations;
    const auto step = static_cast<std::size_t>(alignment);
    if (void* const memory = std::aligned_alloc(step, (size + step - 1) / step * step))
    {
        return memory;
    }
    throw std::bad_alloc();
}
}

std::uint64_t Tests::gCountAllocations()
{
    return gAllocations;
}

// The other forms of the library lead to these.
void* operator new(std::size_t size)
{
    return Allocate(size);
}

// A sanitizer has a form of its own of this one, whose memory must not come to the delete below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++gAllocations;
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return AllocateAligned(size, alignment);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}
