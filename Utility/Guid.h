#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace Utility
{
/// A globally unique identifier in the layout that program databases use.
struct GUID
{
    std::uint32_t mData1 = 0;
    std::uint16_t mData2 = 0;
    std::uint16_t mData3 = 0;
    std::array<std::uint8_t, 8> mData4{};

    auto operator<=>(const GUID&) const = default;
};

/// 36 characters in upper case: "6B29FC40-CA47-1067-B31D-00DD010662DA".
[[nodiscard]] std::string gFormatGUID(const GUID& guid);

/// A new random one (version 4). The process ends when the system has no random bytes: there is no safe substitute.
[[nodiscard]] GUID gMakeGUID();
}
