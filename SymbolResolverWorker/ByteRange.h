#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace Symbols
{

/// Bytes of a file, or of a part of one, that someone else keeps alive. All offsets come from outside, so nothing is
/// read without a look at what is there. Numbers are little-endian, as they are in all files that are read here.
class ByteRange
{
public:
    ByteRange() = default;
    explicit ByteRange(std::span<const std::byte> bytes) : mBytes{bytes} {}

    std::size_t GetSize() const { return mBytes.size(); }
    std::span<const std::byte> GetBytes() const { return mBytes; }

    template <class T>
    [[nodiscard]] bool Read(uint64_t offset, T& value) const
    {
        static_assert(std::is_trivially_copyable_v<T>);
        if (!Contains(offset, sizeof(T)))
            return false;
        std::memcpy(&value, mBytes.data() + offset, sizeof(T));
        return true;
    }

    /// None when it would reach beyond the end.
    std::optional<ByteRange> Slice(uint64_t offset, uint64_t size) const
    {
        if (!Contains(offset, size))
            return std::nullopt;
        return ByteRange{mBytes.subspan(offset, size)};
    }

    /// The text from `offset` up to its zero byte; none when there is no such byte.
    std::optional<std::string_view> ReadText(uint64_t offset) const
    {
        if (offset >= mBytes.size())
            return std::nullopt;
        const auto* text = reinterpret_cast<const char*>(mBytes.data() + offset);
        const void* end = std::memchr(text, 0, mBytes.size() - offset);
        if (end == nullptr)
            return std::nullopt;
        return std::string_view{text, static_cast<std::size_t>(static_cast<const char*>(end) - text)};
    }

private:
    bool Contains(uint64_t offset, uint64_t size) const
    {
        return offset <= mBytes.size() && size <= mBytes.size() - offset;
    }

    std::span<const std::byte> mBytes;
};

}
