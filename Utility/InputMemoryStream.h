#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace Utility
{
/// What a memory stream moves as its bytes in memory. Pointers and arrays are left out: they are always a mistake.
template <typename T>
concept StreamValue = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !std::is_array_v<T>;

/// A cursor over bytes that someone else owns and keeps alive. The plain reads do not check the end of the range (a
/// debug build asserts it): they are for bytes whose extent is known already. For everything that comes from outside
/// there are the Try forms, which fail without moving the cursor or touching their target.
class InputMemoryStream
{
public:
    InputMemoryStream() = default;
    InputMemoryStream(const void* begin, std::size_t size) : mBegin(static_cast<const std::byte*>(begin)), mSize(size)
    {}
    explicit InputMemoryStream(std::span<const std::byte> bytes) : InputMemoryStream(bytes.data(), bytes.size()) {}
    explicit InputMemoryStream(std::span<const std::uint8_t> bytes) : InputMemoryStream(bytes.data(), bytes.size()) {}

    template <StreamValue T>
    void Read(T& value)
    {
        assert(sizeof(T) <= GetRemaining());
        if constexpr (std::is_same_v<T, bool>)
        {
            // Any other byte than 0 and 1 in a bool would be undefined behaviour.
            value = mBegin[mCursor] != std::byte{0};
        }
        else
        {
            std::memcpy(&value, mBegin + mCursor, sizeof(T));
        }
        mCursor += sizeof(T);
    }

    template <StreamValue T>
    T Read()
    {
        T value;
        Read(value);
        return value;
    }

    void ReadBytes(void* target, std::size_t count)
    {
        assert(count <= GetRemaining());
        if (count != 0)
        {
            std::memcpy(target, mBegin + mCursor, count);
            mCursor += count;
        }
    }

    /// A 64-bit length, then that many bytes.
    void ReadString(std::string& text)
    {
        const auto length = static_cast<std::size_t>(Read<std::uint64_t>());
        assert(length <= GetRemaining());
        text.assign(reinterpret_cast<const char*>(GetCurrent()), length);
        mCursor += length;
    }
    std::string ReadString()
    {
        std::string text;
        ReadString(text);
        return text;
    }

    template <StreamValue T>
    [[nodiscard]] bool TryRead(T& value)
    {
        if (GetRemaining() < sizeof(T)) [[unlikely]]
        {
            return false;
        }
        Read(value);
        return true;
    }

    [[nodiscard]] bool TryReadBytes(void* target, std::size_t count)
    {
        if (GetRemaining() < count) [[unlikely]]
        {
            return false;
        }
        ReadBytes(target, count);
        return true;
    }

    /// A view into the range of the stream: it lives as long as those bytes.
    [[nodiscard]] bool TryReadString(std::string_view& text)
    {
        const std::size_t start = mCursor;
        std::uint64_t length = 0;
        if (!TryRead(length) || length > GetRemaining()) [[unlikely]]
        {
            mCursor = start;
            return false;
        }
        text = std::string_view(reinterpret_cast<const char*>(GetCurrent()), static_cast<std::size_t>(length));
        mCursor += static_cast<std::size_t>(length);
        return true;
    }
    [[nodiscard]] bool TryReadString(std::string& text)
    {
        std::string_view view;
        if (!TryReadString(view))
        {
            return false;
        }
        text.assign(view);
        return true;
    }

    /// Unlike Skip it can go to the very end, and it does not move at all when the range has fewer bytes left.
    [[nodiscard]] bool TrySkip(std::uint64_t count)
    {
        if (GetRemaining() < count) [[unlikely]]
        {
            return false;
        }
        mCursor += static_cast<std::size_t>(count);
        return true;
    }

    /// Moves forward, at most to the last byte of the range.
    void Skip(std::uint64_t count)
    {
        if (mCursor < mSize)
        {
            const std::size_t most = mSize - 1 - mCursor;
            mCursor += count < most ? static_cast<std::size_t>(count) : most;
        }
    }

    void SetPosition(std::size_t position)
    {
        assert(position <= mSize);
        mCursor = position;
    }

    std::size_t GetPosition() const { return mCursor; }
    std::size_t GetSize() const { return mSize; }
    std::size_t GetRemaining() const { return mSize - mCursor; }
    /// The whole range, from its first byte.
    std::span<const std::byte> GetData() const { return {mBegin, mSize}; }
    /// Where the next read takes its first byte.
    const std::byte* GetCurrent() const { return mBegin + mCursor; }

private:
    const std::byte* mBegin = nullptr;
    std::size_t mSize = 0;
    std::size_t mCursor = 0;
};
}
