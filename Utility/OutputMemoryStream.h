#pragma once

#include "Utility/InputMemoryStream.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

namespace Utility
{
/// A growing buffer with a cursor. The cursor may go back to patch a value; the size stays the largest end ever
/// written. An empty stream has no buffer. Memory that is not there ends in std::bad_alloc, with the content unharmed.
class OutputMemoryStream
{
public:
    /// Of the buffer, in bytes.
    static constexpr std::size_t sAlignment = 16;

    OutputMemoryStream() = default;
    OutputMemoryStream(OutputMemoryStream&& other) noexcept { Swap(other); }
    OutputMemoryStream& operator=(OutputMemoryStream&& other) noexcept
    {
        OutputMemoryStream(std::move(other)).Swap(*this);
        return *this;
    }
    OutputMemoryStream(const OutputMemoryStream&) = delete;
    OutputMemoryStream& operator=(const OutputMemoryStream&) = delete;
    ~OutputMemoryStream();

    template <StreamValue T>
    void Write(const T& value)
    {
        std::memcpy(Append(sizeof(T)), &value, sizeof(T));
    }

    void WriteBytes(const void* source, std::size_t count)
    {
        if (count != 0)
        {
            std::memcpy(Append(count), source, count);
        }
    }

    /// A 64-bit length, then the bytes.
    void WriteString(std::string_view text)
    {
        std::byte* const target = Append(sizeof(std::uint64_t) + text.size());
        const std::uint64_t length = text.size();
        std::memcpy(target, &length, sizeof(length));
        if (!text.empty())
        {
            std::memcpy(target + sizeof(length), text.data(), text.size());
        }
    }

    /// Moves the cursor over the next `count` bytes and returns where they start, for the caller to fill: what is new
    /// there is not initialised. Valid until the next write.
    std::byte* Append(std::size_t count)
    {
        if (count > mCapacity - mCursor) [[unlikely]]
        {
            Grow(count);
        }
        std::byte* const target = mBuffer + mCursor;
        mCursor += count;
        if (mCursor > mSize)
        {
            mSize = mCursor;
        }
        return target;
    }

    /// Makes room for `capacity` bytes in all.
    void Reserve(std::size_t capacity);

    /// Empties the stream and keeps the memory.
    void Clear()
    {
        mSize = 0;
        mCursor = 0;
    }

    /// At most to the end of what was written.
    void SetPosition(std::size_t position)
    {
        assert(position <= mSize);
        mCursor = position;
    }

    std::size_t GetPosition() const { return mCursor; }
    std::size_t GetSize() const { return mSize; }
    std::size_t GetCapacity() const { return mCapacity; }
    /// Null while nothing was ever written or reserved. Valid until the next write.
    std::byte* GetBuffer() { return mBuffer; }
    const std::byte* GetBuffer() const { return mBuffer; }
    /// All that was written. Valid until the next write.
    std::span<const std::byte> GetData() const { return {mBuffer, mSize}; }

private:
    void Swap(OutputMemoryStream& other) noexcept
    {
        std::swap(mBuffer, other.mBuffer);
        std::swap(mCapacity, other.mCapacity);
        std::swap(mSize, other.mSize);
        std::swap(mCursor, other.mCursor);
    }

    /// Makes room for `count` bytes behind the cursor.
    [[gnu::cold, gnu::noinline]] void Grow(std::size_t count);
    void Reallocate(std::size_t capacity);

    std::byte* mBuffer = nullptr;
    std::size_t mCapacity = 0;
    std::size_t mSize = 0;
    std::size_t mCursor = 0;
};
}
