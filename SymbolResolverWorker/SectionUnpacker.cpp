#include "SymbolResolverWorker/SectionUnpacker.h"

#include <algorithm>
#include <memory>

#include <zstd.h>

#include "SymbolResolverWorker/JobControl.h"

namespace Symbols
{

namespace
{

/// Linkers pack with windows of 4 MiB at most; the window is allocated before anything comes out.
constexpr int cLargestWindowLog = 23;
constexpr uint64_t cUsualRatio = 8;
constexpr uint64_t cSmallestRoom = 4096;

struct FreeStream
{
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
};

}

std::optional<std::vector<std::byte>> gUnpackZstd(
    std::span<const std::byte> packed, uint64_t size, const JobControl& control)
{
    const std::unique_ptr<ZSTD_DStream, FreeStream> stream{ZSTD_createDStream()};
    if (stream == nullptr || ZSTD_isError(ZSTD_DCtx_setParameter(stream.get(), ZSTD_d_windowLogMax, cLargestWindowLog)))
        return std::nullopt;
    std::vector<std::byte> bytes(std::min(size, std::max(cUsualRatio * packed.size(), cSmallestRoom)));
    ZSTD_inBuffer input{packed.data(), packed.size(), 0};
    for (std::size_t written = 0; !control.ShouldStop();)
    {
        ZSTD_outBuffer output{bytes.data() + written, bytes.size() - written, 0};
        const std::size_t consumed = input.pos;
        const std::size_t rest = ZSTD_decompressStream(stream.get(), &output, &input);
        written += output.pos;
        if (ZSTD_isError(rest))
            return std::nullopt;
        if (rest == 0 && input.pos == input.size)
            return written == size ? std::optional{std::move(bytes)} : std::nullopt;
        // What is full may still have a checksum to come, which needs no room.
        if (written == bytes.size() && written < size)
            bytes.resize(std::min<uint64_t>(size, 2 * bytes.size()));
        else if (output.pos == 0 && input.pos == consumed)
            return std::nullopt;
    }
    return std::nullopt;
}

}
