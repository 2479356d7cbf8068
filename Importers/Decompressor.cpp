#include "Importers/Decompressor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <new>

#include <zlib.h>
#include <zstd.h>

namespace Importers
{
namespace
{
class GzipDecompressor final : public Decompressor
{
public:
    GzipDecompressor()
    {
        constexpr int gzipOnly = 16;
        if (inflateInit2(&mStream, gzipOnly + MAX_WBITS) != Z_OK)
        {
            throw std::bad_alloc();
        }
    }
    ~GzipDecompressor() override { inflateEnd(&mStream); }
    GzipDecompressor(const GzipDecompressor&) = delete;
    GzipDecompressor& operator=(const GzipDecompressor&) = delete;

    bool Decode(std::span<const std::byte>& input, std::span<char>& output) override
    {
        while (!output.empty())
        {
            if (!mIsInMember && !StartMember(input))
            {
                return true;
            }
            const std::size_t before = input.size() + output.size();
            const int status = Inflate(input, output);
            if (status == Z_STREAM_END)
            {
                mIsInMember = false;
            }
            else if (status != Z_OK && status != Z_BUF_ERROR)
            {
                return false;
            }
            else if (input.empty() || input.size() + output.size() == before)
            {
                return true;
            }
        }
        return true;
    }

    bool IsComplete() const override { return !mIsInMember; }
    std::string GetError() const override
    {
        return std::string("the gzip data is damaged: ") + (mStream.msg != nullptr ? mStream.msg : "unknown reason");
    }

private:
    /// False when there is no further member so far. Zeros behind a member are padding.
    bool StartMember(std::span<const std::byte>& input)
    {
        if (mHasMember)
        {
            const auto next =
                std::find_if(input.begin(), input.end(), [](std::byte byte) { return byte != std::byte{}; });
            input = input.subspan(static_cast<std::size_t>(next - input.begin()));
        }
        if (input.empty())
        {
            return false;
        }
        inflateReset(&mStream);
        mIsInMember = true;
        mHasMember = true;
        return true;
    }

    int Inflate(std::span<const std::byte>& input, std::span<char>& output)
    {
        constexpr std::size_t most = std::numeric_limits<uInt>::max();
        const auto inputSize = static_cast<uInt>(std::min(input.size(), most));
        const auto outputSize = static_cast<uInt>(std::min(output.size(), most));
        // zlib does not write to its input; its declaration is older than const.
        mStream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(input.data()));
        mStream.avail_in = inputSize;
        mStream.next_out = reinterpret_cast<Bytef*>(output.data());
        mStream.avail_out = outputSize;
        const int status = inflate(&mStream, Z_NO_FLUSH);
        input = input.subspan(inputSize - mStream.avail_in);
        output = output.subspan(outputSize - mStream.avail_out);
        return status;
    }

    z_stream mStream{};
    bool mIsInMember = false;
    bool mHasMember = false;
};

class ZstdDecompressor final : public Decompressor
{
public:
    ZstdDecompressor() : mStream(ZSTD_createDStream())
    {
        if (mStream == nullptr)
        {
            throw std::bad_alloc();
        }
    }
    ~ZstdDecompressor() override { ZSTD_freeDStream(mStream); }
    ZstdDecompressor(const ZstdDecompressor&) = delete;
    ZstdDecompressor& operator=(const ZstdDecompressor&) = delete;

    bool Decode(std::span<const std::byte>& input, std::span<char>& output) override
    {
        while (!output.empty() && (!input.empty() || mIsInFrame))
        {
            ZSTD_inBuffer in{input.data(), input.size(), 0};
            ZSTD_outBuffer out{output.data(), output.size(), 0};
            const std::size_t status = ZSTD_decompressStream(mStream, &out, &in);
            input = input.subspan(in.pos);
            output = output.subspan(out.pos);
            if (ZSTD_isError(status) != 0)
            {
                mError = ZSTD_getErrorName(status);
                return false;
            }
            mIsInFrame = status != 0;
            if (input.empty() && !output.empty())
            {
                return true;
            }
        }
        return true;
    }

    bool IsComplete() const override { return !mIsInFrame; }
    std::string GetError() const override { return "the zstd data is damaged: " + mError; }

private:
    ZSTD_DStream* mStream;
    bool mIsInFrame = false;
    std::string mError;
};

bool IsZstd(std::span<const std::byte, 4> magic)
{
    const auto number = static_cast<std::uint32_t>(magic[0]) | static_cast<std::uint32_t>(magic[1]) << 8 |
                        static_cast<std::uint32_t>(magic[2]) << 16 | static_cast<std::uint32_t>(magic[3]) << 24;
    // A frame with data, or one of the sixteen kinds that are passed over.
    return number == 0xFD2FB528 || (number & 0xFFFFFFF0) == 0x184D2A50;
}
}

std::unique_ptr<Decompressor> Decompressor::sCreate(std::span<const std::byte> beginning)
{
    if (beginning.size() >= 2 && beginning[0] == std::byte{0x1F} && beginning[1] == std::byte{0x8B})
    {
        return std::make_unique<GzipDecompressor>();
    }
    if (beginning.size() >= 4 && IsZstd(beginning.first<4>()))
    {
        return std::make_unique<ZstdDecompressor>();
    }
    return nullptr;
}
}
