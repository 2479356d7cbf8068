#pragma once

#include "Utility/InputMemoryStream.h"

#include <algorithm>
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
        if (count > static_cast<std::size_t>(mBufferEnd - mCursor)) [[unlikely]]
        {
            Grow(count);
        }
        return std::exchange(mCursor, mCursor + count);
    }

    /// Makes room for `capacity` bytes in all.
    void Reserve(std::size_t capacity);

    /// Empties the stream and keeps the memory.
    void Clear()
    {
        mCursor = mBuffer;
        mHighest = mBuffer;
    }

    /// At most to the end of what was written.
    void SetPosition(std::size_t position)
    {
        assert(position <= GetSize());
        mHighest = std::max(mHighest, mCursor);
        mCursor = mBuffer + position;
    }

    std::size_t GetPosition() const { return static_cast<std::size_t>(mCursor - mBuffer); }
    std::size_t GetSize() const { return static_cast<std::size_t>(std::max(mHighest, mCursor) - mBuffer); }
    std::size_t GetCapacity() const { return static_cast<std::size_t>(mBufferEnd - mBuffer); }
    /// Null while nothing was ever written or reserved. Valid until the next write.
    std::byte* GetBuffer() { return mBuffer; }
    const std::byte* GetBuffer() const { return mBuffer; }
    /// All that was written. Valid until the next write.
    std::span<const std::byte> GetData() const { return {mBuffer, GetSize()}; }

private:
    void Swap(OutputMemoryStream& other) noexcept
    {
        std::swap(mBuffer, other.mBuffer);
        std::swap(mBufferEnd, other.mBufferEnd);
        std::swap(mCursor, other.mCursor);
        std::swap(mHighest, other.mHighest);
    }

    /// Makes room for `count` bytes behind the cursor.
    [[gnu::cold, gnu::noinline]] void Grow(std::size_t count);
    void Reallocate(std::size_t capacity);

    std::byte* mBuffer = nullptr;
    std::byte* mBufferEnd = nullptr;
    std::byte* mCursor = nullptr;
    /// The largest end that the cursor has left by SetPosition: a write need not look at it.
    std::byte* mHighest = nullptr;
};
}
