#include "Utility/OutputMemoryStream.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace Utility
{
static_assert(OutputMemoryStream::sAlignment <= alignof(std::max_align_t));

OutputMemoryStream::~OutputMemoryStream()
{
    std::free(mBuffer);
}

void OutputMemoryStream::Reserve(std::size_t capacity)
{
    if (capacity > GetCapacity())
    {
        Reallocate(capacity);
    }
}

void OutputMemoryStream::Grow(std::size_t count)
{
    if (count > std::numeric_limits<std::size_t>::max() / 2 - GetPosition())
    {
        throw std::bad_alloc();
    }
    Reallocate(std::max(GetPosition() + count, GetCapacity() + GetCapacity() / 2));
}

/// The pages of a large buffer move to their new place as they are: nothing is copied, and no more memory is touched
/// than what is written.
void OutputMemoryStream::Reallocate(std::size_t capacity)
{
    const std::size_t size = GetSize();
    const std::size_t position = GetPosition();
    auto* const buffer = static_cast<std::byte*>(std::realloc(mBuffer, capacity));
    if (buffer == nullptr)
    {
        throw std::bad_alloc();
    }
    mBuffer = buffer;
    mBufferEnd = buffer + capacity;
    mCursor = buffer + position;
    mHighest = buffer + size;
}
}
