#include "SymbolResolverWorker/MsfFile.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstring>
#include <limits>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/ByteRange.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr char cMagic[] = "Microsoft C/C++ MSF 7.00\r\n\x1A"
                          "DS\0\0";
static_assert(sizeof(cMagic) == 32);
constexpr uint32_t cSmallestBlock = 512;
constexpr uint32_t cLargestBlock = 64 * 1024;
constexpr uint32_t cDeletedStream = std::numeric_limits<uint32_t>::max();

}

bool MsfFile::Open(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    char magic[sizeof(cMagic)];
    if (!mFile.Open(path, result) || !mFile.Read(0, magic, result))
        return false;
    if (std::memcmp(magic, cMagic, sizeof(cMagic)) != 0)
        return result.Fail(Serialization::InvalidBuffer, "This is no program database of version 7.00");
    if (!mFile.Read(32, mBlockSize, result) || !mFile.Read(40, mNumBlocks, result))
        return false;
    if (!std::has_single_bit(mBlockSize) || mBlockSize < cSmallestBlock || mBlockSize > cLargestBlock)
        return result.Fail(Serialization::CorruptData, "A block size of %" PRIu32 " at offset 32", mBlockSize);
    if (mNumBlocks > CountBlocks(mFile.GetSize()))
        return result.Fail(Serialization::CorruptData,
            "%" PRIu32 " blocks at offset 40, where the file has room for %" PRIu64, mNumBlocks,
            CountBlocks(mFile.GetSize()));

    std::vector<std::byte> directory;
    if (!ReadDirectory(directory, result))
        return false;
    const ByteRange range{directory};
    uint32_t numStreams = 0;
    if (!range.Read(0, numStreams) || numStreams > directory.size() / 4 - 1)
        return result.Fail(Serialization::CorruptData, "The directory is too short for its streams");
    mStreams.resize(numStreams);
    uint64_t numUsed = 0;
    for (uint32_t i = 0; i < numStreams; ++i)
    {
        Stream& stream = mStreams[i];
        (void)range.Read(4 + 4 * uint64_t{i}, stream.mSize);
        stream.mSize = stream.mSize == cDeletedStream ? 0 : stream.mSize;
        stream.mFirstBlock = numUsed;
        numUsed += CountBlocks(stream.mSize);
    }
    const auto blocks = range.Slice(4 + 4 * uint64_t{numStreams}, 4 * numUsed);
    if (numUsed > mNumBlocks || !blocks)
        return result.Fail(
            Serialization::CorruptData, "The streams have %" PRIu64 " blocks, the file %" PRIu32, numUsed, mNumBlocks);
    mBlocks.resize(numUsed);
    if (numUsed != 0)
        std::memcpy(mBlocks.data(), blocks->GetBytes().data(), 4 * numUsed);
    return true;
}

bool MsfFile::ReadDirectory(std::vector<std::byte>& directory, Utility::Result& result) const
{
    uint32_t size = 0;
    uint32_t map = 0;
    if (!mFile.Read(44, size, result) || !mFile.Read(52, map, result))
        return false;
    if (size < 4 || size > mFile.GetSize() || map >= mNumBlocks)
        return result.Fail(
            Serialization::CorruptData, "A directory of %" PRIu32 " bytes with its map in block %" PRIu32, size, map);
    std::vector<std::byte> bytes;
    if (!mFile.Read(uint64_t{map} * mBlockSize, 4 * CountBlocks(size), bytes, result))
        return false;
    std::vector<uint32_t> blocks(CountBlocks(size));
    std::memcpy(blocks.data(), bytes.data(), bytes.size());
    directory.resize(size);
    return ReadBlocks(blocks, directory, result);
}

bool MsfFile::ReadStream(uint32_t number, std::vector<std::byte>& bytes, Utility::Result& result) const
{
    if (number >= mStreams.size())
        return result.Fail(Serialization::CorruptData, "There is no stream %" PRIu32, number);
    const Stream& stream = mStreams[number];
    bytes.resize(stream.mSize);
    return ReadBlocks(std::span{mBlocks}.subspan(stream.mFirstBlock, CountBlocks(stream.mSize)), bytes, result);
}

bool MsfFile::ReadBlocks(std::span<const uint32_t> blocks, std::span<std::byte> target, Utility::Result& result) const
{
    for (std::size_t i = 0; i < blocks.size();)
    {
        // Blocks that follow each other are read at once.
        std::size_t count = 1;
        while (i + count < blocks.size() && blocks[i + count] == blocks[i] + count)
            ++count;
        if (blocks[i] >= mNumBlocks || count > mNumBlocks - blocks[i])
            return result.Fail(Serialization::CorruptData, "Block %" PRIu32 " of %" PRIu32, blocks[i], mNumBlocks);
        const std::size_t size = std::min(count * mBlockSize, target.size());
        if (!mFile.ReadInto(uint64_t{blocks[i]} * mBlockSize, target.first(size), result))
            return false;
        target = target.subspan(size);
        i += count;
    }
    return true;
}

}
