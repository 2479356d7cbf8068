#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Profiler
{

struct PDBKey;

/// MurmurHash3 in its 32-bit form, by Austin Appleby, who put it into the public domain.
[[nodiscard]] uint32_t gMurmurHash3(std::span<const std::byte> bytes, uint32_t seed);

/// For tables by key: the hashes of its parts, each the seed of the next.
struct PDBKeyHash
{
    std::size_t operator()(const PDBKey& key) const;
};

}
