#include "SymbolResolverWorker/Testing/MsfBuilder.h"

#include <gtest/gtest.h>

#include "SymbolResolverWorker/MsfFile.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

void AppendNumber(std::string& bytes, std::size_t number)
{
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(number >> shift);
}

std::size_t CountBlocks(const std::string& bytes)
{
    return (bytes.size() + MsfBuilder::cBlockSize - 1) / MsfBuilder::cBlockSize;
}

}

MsfBuilder MsfBuilder::sRead(const std::string& path)
{
    Utility::Result result;
    MsfFile file;
    EXPECT_TRUE(file.Open(path, result)) << result.ToString();
    MsfBuilder builder;
    for (uint32_t i = 0; i < file.GetNumStreams(); ++i)
    {
        std::vector<std::byte> bytes;
        EXPECT_TRUE(file.ReadStream(i, bytes, result)) << result.ToString();
        builder.mStreams.emplace_back(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    return builder;
}

/// The first block, two free-block maps, the streams, the directory, and the map of its blocks.
std::string MsfBuilder::Build() const
{
    std::string blocks(3 * cBlockSize, '\0');
    const auto append = [&blocks](const std::string& bytes) {
        const std::size_t first = blocks.size() / cBlockSize;
        blocks += bytes;
        blocks.resize((first + CountBlocks(bytes)) * cBlockSize);
        return first;
    };

    std::string directory;
    AppendNumber(directory, mStreams.size());
    for (const std::string& stream : mStreams)
        AppendNumber(directory, stream.size());
    for (const std::string& stream : mStreams)
    {
        const std::size_t first = append(stream);
        for (std::size_t i = 0; i < CountBlocks(stream); ++i)
            AppendNumber(directory, first + i);
    }
    std::string map;
    const std::size_t firstOfDirectory = append(directory);
    for (std::size_t i = 0; i < CountBlocks(directory); ++i)
        AppendNumber(map, firstOfDirectory + i);
    const std::size_t mapBlock = append(map);

    std::string start{"Microsoft C/C++ MSF 7.00\r\n\x1A"
                      "DS\0\0\0",
        32};
    for (const std::size_t number : {std::size_t{cBlockSize}, std::size_t{1}, blocks.size() / cBlockSize,
             directory.size(), std::size_t{0}, mapBlock})
        AppendNumber(start, number);
    return blocks.replace(0, start.size(), start);
}

}
