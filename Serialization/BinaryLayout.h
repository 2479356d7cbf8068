#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The numbers of the binary container: magic, format version, schema text, root count, roots, checksum.
namespace Serialization
{

inline constexpr uint32_t cMagic = 0xF450C25D;
inline constexpr uint32_t cFormatVersion = 2;
/// From here on the checksum is XXH64; before it was a CRC-64.
inline constexpr uint32_t cFirstVersionWithXXH64 = 2;
inline constexpr std::size_t cPreambleSize = 8; ///< magic and format version
inline constexpr std::size_t cChecksumSize = 8;
inline constexpr std::size_t cLengthSize = 8; ///< of every count, string length and body size

/// What stands in the place of a type name for a null pointer.
inline constexpr std::string_view cNullName = "null";

}
