#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Symbols
{

/// What a compiler noted of the content of a source file.
struct SourceChecksum
{
    enum class EKind : uint8_t
    {
        None = 0,
        MD5 = 1,
        SHA1 = 2,
        SHA256 = 3,
    };

    EKind mKind = EKind::None;
    std::vector<std::byte> mBytes; ///< as many as the kind has

    bool operator==(const SourceChecksum&) const = default;
};

enum class ESourceFile : uint8_t
{
    Missing,   ///< or it cannot be read
    Unmatched, ///< it is another one than was compiled
    Matched,   ///< or nobody knows
};

/// Compares the file on the disk. One of more than 64 MiB is no source file that anybody reads: it counts as matched.
[[nodiscard]] ESourceFile gCompareSource(const std::string& path, const SourceChecksum& checksum);

}
