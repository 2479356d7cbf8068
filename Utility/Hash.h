#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace Utility
{
/// XXH64 with seed 0.
[[nodiscard]] std::uint64_t gXXH64(std::span<const std::byte> bytes);
[[nodiscard]] std::uint64_t gXXH64(std::string_view text);

/// XXH64 with seed 0 of bytes that come in pieces. The digest may be asked for at any time.
class XXH64Stream
{
public:
    XXH64Stream();
    XXH64Stream(XXH64Stream&&) noexcept;
    XXH64Stream& operator=(XXH64Stream&&) noexcept;
    ~XXH64Stream();

    void Reset();
    void Update(std::span<const std::byte> bytes);
    [[nodiscard]] std::uint64_t GetDigest() const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

/// The CRC-64 of Jones: reflected polynomial 0x95AC9329AC4BC9B5, initial value 0, no final exclusive or. `seed` is the
/// value for the bytes before, to continue from.
[[nodiscard]] std::uint64_t gCRC64Jones(std::span<const std::byte> bytes, std::uint64_t seed = 0);
[[nodiscard]] std::uint64_t gCRC64Jones(std::string_view text, std::uint64_t seed = 0);

inline constexpr std::uint64_t gFNV1aBasis = 0xCBF29CE484222325;

/// 64-bit FNV-1a. `basis` is the value for the bytes before, to continue from.
[[nodiscard]] constexpr std::uint64_t gFNV1a64(std::string_view text, std::uint64_t basis = gFNV1aBasis)
{
    for (const char character : text)
    {
        basis = (basis ^ static_cast<unsigned char>(character)) * 0x100000001B3;
    }
    return basis;
}

[[nodiscard]] constexpr std::uint64_t gFNV1a64(std::span<const std::byte> bytes, std::uint64_t basis = gFNV1aBasis)
{
    for (const std::byte byte : bytes)
    {
        basis = (basis ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001B3;
    }
    return basis;
}
}
