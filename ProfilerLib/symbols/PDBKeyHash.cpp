#include "ProfilerLib/symbols/PDBKeyHash.h"

#include <bit>
#include <cstring>
#include <string_view>

#include "ProfilerLib/symbols/PDBKey.h"

namespace Profiler
{

namespace
{

uint32_t MixBlock(uint32_t block)
{
    return std::rotl(block * 0xCC9E2D51, 15) * 0x1B873593;
}

template <class T>
uint32_t HashValue(const T& value, uint32_t seed)
{
    return gMurmurHash3(std::as_bytes(std::span{&value, 1}), seed);
}

}

uint32_t gMurmurHash3(std::span<const std::byte> bytes, uint32_t seed)
{
    uint32_t hash = seed;
    std::size_t i = 0;
    for (; i + 4 <= bytes.size(); i += 4)
    {
        uint32_t block = 0;
        std::memcpy(&block, bytes.data() + i, 4);
        hash = std::rotl(hash ^ MixBlock(block), 13) * 5 + 0xE6546B64;
    }
    uint32_t tail = 0;
    for (std::size_t last = bytes.size(); last > i; --last)
        tail = tail << 8 | std::to_integer<uint32_t>(bytes[last - 1]);
    hash ^= MixBlock(tail) ^ static_cast<uint32_t>(bytes.size());
    hash = (hash ^ hash >> 16) * 0x85EBCA6B;
    hash = (hash ^ hash >> 13) * 0xC2B2AE35;
    return hash ^ hash >> 16;
}

std::size_t PDBKeyHash::operator()(const PDBKey& key) const
{
    uint32_t hash = gMurmurHash3(std::as_bytes(std::span{key.ModulePath}), 0);
    hash = HashValue(key.ModuleTimeStamp, hash);
    hash = HashValue(key.ModuleSize, hash);
    hash = HashValue(key.PDBAge, hash);
    const uint64_t guid[2] = {key.PDBGUID.Data1, key.PDBGUID.Data2};
    hash = HashValue(guid, hash);
    return gMurmurHash3(std::as_bytes(std::span{key.PDBName}), hash);
}

}
