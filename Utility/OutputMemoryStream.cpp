#include "Utility/OutputMemoryStream.h"

#include <algorithm>
#include <limits>
#include <new>

namespace Utility
{
namespace
{
constexpr std::align_val_t gAlignment{OutputMemoryStream::sAlignment};
}

OutputMemoryStream::~OutputMemoryStream()
{
    ::operator delete(mBuffer, gAlignment);
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

void OutputMemoryStream::Reallocate(std::size_t capacity)
{
    auto* const buffer = static_cast<std::byte*>(::operator new(capacity, gAlignment));
    const std::size_t size = GetSize();
    const std::size_t position = GetPosition();
    if (size != 0)
    {
        std::memcpy(buffer, mBuffer, size);
    }
    ::operator delete(mBuffer, gAlignment);
    mBuffer = buffer;
    mBufferEnd = buffer + capacity;
    mCursor = buffer + position;
    mHighest = buffer + size;
}
}
