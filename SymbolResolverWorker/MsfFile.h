#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "SymbolResolverWorker/ImageFile.h"

namespace Symbols
{

/// The container of a program database: numbered streams in one file, cut into blocks of equal size. One thread.
///
///     block 0       magic (32 bytes), block size, number of the free-block map, number of blocks,
///                   size of the directory, 0, number of the block map
///     block map     numbers of the directory's blocks
///     directory     number of streams, their sizes, then the numbers of the blocks of each in turn
///
/// A stream is in memory only while someone holds it. No stream is larger than the file, and all together use no more
/// blocks than it has, so a small file can't ask for much.
class MsfFile
{
public:
    static constexpr uint32_t cNoStream = 0xFFFF;

    /// False with the reason when the file cannot be read or its directory does not hold.
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    uint32_t GetNumStreams() const { return static_cast<uint32_t>(mStreams.size()); }

    [[nodiscard]] bool ReadStream(uint32_t number, std::vector<std::byte>& bytes, Utility::Result& result) const;

private:
    struct Stream
    {
        uint32_t mSize = 0;
        std::size_t mFirstBlock = 0; ///< in mBlocks
    };

    [[nodiscard]] bool ReadDirectory(std::vector<std::byte>& directory, Utility::Result& result) const;
    [[nodiscard]] bool ReadBlocks(
        std::span<const uint32_t> blocks, std::span<std::byte> target, Utility::Result& result) const;
    uint64_t CountBlocks(uint64_t size) const { return (size + mBlockSize - 1) / mBlockSize; }

    ImageFile mFile;
    uint32_t mBlockSize = 0;
    uint32_t mNumBlocks = 0;
    std::vector<Stream> mStreams;
    std::vector<uint32_t> mBlocks;
};

}
