#include "Networking/Frame.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

namespace Networking
{

namespace
{

static_assert(std::endian::native == std::endian::little, "headers are copied as they are");

/// Large enough for what a socket holds as a rule, small enough to stay in a cache.
constexpr std::size_t cFirstCapacity = 64 * 1024;

}

std::span<std::byte> FrameReader::GetSpace()
{
    if (mBegin == mEnd)
        mBegin = mEnd = 0;
    // A message that has begun moves to the front when it has no room where it is, and the buffer grows once it is
    // full.
    if (mCapacity - mEnd == 0 || mNeeded > mCapacity - mBegin)
    {
        if (mBegin > 0)
        {
            std::memmove(mBuffer.get(), mBuffer.get() + mBegin, GetAvailable());
            mEnd = GetAvailable();
            mBegin = 0;
        }
        if (mEnd == mCapacity)
        {
            const std::size_t twice = std::max(cFirstCapacity, 2 * mCapacity);
            Reserve(mNeeded > mCapacity ? std::max(cFirstCapacity, std::min(twice, mNeeded)) : twice);
        }
    }
    return {mBuffer.get() + mEnd, mCapacity - mEnd};
}

void FrameReader::Commit(std::size_t count)
{
    assert(count <= mCapacity - mEnd);
    mEnd += count;
}

std::optional<Frame> FrameReader::Next()
{
    if (mIsBroken || GetAvailable() < cHeaderSize)
        return std::nullopt;
    uint64_t header = 0;
    std::memcpy(&header, mBuffer.get() + mBegin, cHeaderSize);
    const auto length = static_cast<uint32_t>(header);
    if (length > cMaxPayload)
    {
        mIsBroken = true;
        return std::nullopt;
    }
    mNeeded = cHeaderSize + length;
    if (GetAvailable() < mNeeded)
        return std::nullopt;
    const Frame frame{static_cast<uint8_t>(header >> 56), {mBuffer.get() + mBegin + cHeaderSize, length}};
    mBegin += mNeeded;
    mNeeded = cHeaderSize;
    return frame;
}

void FrameReader::Clear()
{
    *this = FrameReader{};
}

void FrameReader::Reserve(std::size_t capacity)
{
    // Not initialised: each byte is written before it is read.
    std::unique_ptr<std::byte[]> buffer{new std::byte[capacity]};
    if (mEnd > 0)
        std::memcpy(buffer.get(), mBuffer.get(), mEnd);
    mBuffer = std::move(buffer);
    mCapacity = capacity;
}

}
