#include "tests/support/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local std::uint64_t tNumAllocations = 0;

void* gAllocate(std::size_t size) noexcept
{
    ++tNumAllocations;
    return std::malloc(size == 0 ? 1 : size);
}

}

std::uint64_t TestSupport::gGetNumAllocations()
{
    return tNumAllocations;
}

// The other forms without alignment end in these.

void* operator new(std::size_t size)
{
    void* memory = gAllocate(size);
    if (memory == nullptr)
        throw std::bad_alloc{};
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return gAllocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
