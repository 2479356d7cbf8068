#include "Importers/Decompressor.h"

#include "Utility/Format.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

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
    explicit ZstdDecompressor(std::uint64_t fileSize)
        : mStream(ZSTD_createDStream()),
          mWindowLog(sGetLargestWindowLog(fileSize))
    {
        if (mStream == nullptr || ZSTD_isError(ZSTD_DCtx_setParameter(mStream, ZSTD_d_windowLogMax, mWindowLog)) != 0)
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
                mError = Describe(status);
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
    std::string GetError() const override { return mError; }

private:
    /// A file says itself how large a window its text needs. 8 MiB do for all levels up to 19; only what "--ultra" and
    /// "--long" write needs more, and gets it up to four times the size of the file. The library takes the window and a
    /// little more as one block.
    static int sGetLargestWindowLog(std::uint64_t fileSize)
    {
        constexpr std::uint64_t smallest = std::uint64_t{8} << 20;
        constexpr std::uint64_t largest = std::uint64_t{128} << 20;
        const std::uint64_t granted = 4 * std::min(fileSize, largest);
        return std::bit_width(std::clamp(granted - granted / 64, smallest, largest)) - 1;
    }

    std::string Describe(std::size_t status) const
    {
        if (ZSTD_getErrorCode(status) == ZSTD_error_frameParameter_windowTooLarge)
        {
            return Utility::gFormat("the zstd data needs a window of more than %d MiB, which is not granted to a file "
                                    "of this size: unpack it first",
                1 << (mWindowLog - 20));
        }
        return std::string("the zstd data is damaged: ") + ZSTD_getErrorName(status);
    }

    ZSTD_DStream* mStream;
    int mWindowLog;
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

std::unique_ptr<Decompressor> Decompressor::sCreate(std::span<const std::byte> beginning, std::uint64_t fileSize)
{
    if (beginning.size() >= 2 && beginning[0] == std::byte{0x1F} && beginning[1] == std::byte{0x8B})
    {
        return std::make_unique<GzipDecompressor>();
    }
    if (beginning.size() >= 4 && IsZstd(beginning.first<4>()))
    {
        return std::make_unique<ZstdDecompressor>(fileSize);
    }
    return nullptr;
}
}
