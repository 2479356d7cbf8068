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
    if (capacity > mCapacity)
    {
        Reallocate(capacity);
    }
}

void OutputMemoryStream::Grow(std::size_t count)
{
    if (count > std::numeric_limits<std::size_t>::max() / 2 - mCursor)
    {
        throw std::bad_alloc();
    }
    Reallocate(std::max(mCursor + count, mCapacity + mCapacity / 2));
}

void OutputMemoryStream::Reallocate(std::size_t capacity)
{
    auto* const buffer = static_cast<std::byte*>(::operator new(capacity, gAlignment));
    if (mSize != 0)
    {
        std::memcpy(buffer, mBuffer, mSize);
    }
    ::operator delete(mBuffer, gAlignment);
    mBuffer = buffer;
    mCapacity = capacity;
}
}
