#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Symbols
{

class JobControl;

/// What a section that was packed with zstd holds: exactly `size` bytes, as its header says. Memory grows with what
/// comes out, so a header that lies costs nothing. None when the content is damaged or of another size, or the job
/// ends.
std::optional<std::vector<std::byte>> gUnpackZstd(
    std::span<const std::byte> packed, uint64_t size, const JobControl& control);

}
