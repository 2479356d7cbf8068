#include "ProfilerLib/session/TraceEventReader.h"

#include "Utility/Format.h"

#include <algorithm>
#include <cinttypes>
#include <new>
#include <optional>
#include <utility>

namespace Profiler
{
namespace
{
/// Small enough for the second level cache, large enough that the calls of the system do not count.
constexpr std::uint64_t cBlockSize = 256 * 1024;
}

bool TraceEventReader::Begin(std::uint64_t offset, std::uint64_t size)
{
    mBegin = offset;
    mEnd = offset + size;
    mOffset = offset;
    mDecoder = {};
    mFailure.clear();

    FileSystem::FileError error;
    std::uint64_t fileSize = 0;
    if (!mFile.GetSize(fileSize, error))
    {
        return Fail(offset, error.GetReason());
    }
    return fileSize >= mEnd || Fail(std::max(fileSize, offset), DescribeEarlyEnd());
}

bool TraceEventReader::StepIntoNextBlock(TraceEventRecord& record)
{
    // More than one round only for a record that is longer than a block.
    while (mFailure.empty() && GetOffset() != mEnd)
    {
        const EDecodeStop stop = mDecoder.GetStop();
        if (stop == EDecodeStop::UnknownType || stop == EDecodeStop::BadTime)
        {
            return Fail(GetOffset(), gGetText(stop));
        }
        const std::uint64_t recordSize = mDecoder.GetLeastSize();
        if (recordSize > mEnd - GetOffset())
        {
            return Fail(GetOffset(), gGetText(EDecodeStop::PastEnd));
        }
        if (!ReadBlock(recordSize))
        {
            return false;
        }
        if (mDecoder.Step(record))
        {
            return true;
        }
    }
    return false;
}

/// Brings in the block that begins with the next record and holds at least so many bytes.
bool TraceEventReader::ReadBlock(std::uint64_t recordSize)
{
    mOffset = GetOffset();
    mDecoder = {};
    const auto size = static_cast<std::size_t>(std::min(std::max(cBlockSize, recordSize), mEnd - mOffset));
    if (size > mCapacity)
    {
        mBlock.reset();
        mBlock.reset(new (std::nothrow) std::byte[size]);
        mCapacity = mBlock == nullptr ? 0 : size;
        if (mCapacity == 0)
        {
            return Fail(mOffset, Utility::gFormat("there is no memory for an event of %" PRIu64 " bytes", recordSize));
        }
    }
    const std::span<std::byte> bytes{mBlock.get(), size};
    FileSystem::FileError error;
    const std::optional<std::size_t> count = mFile.ReadAt(mOffset, bytes, error);
    if (!count.has_value())
    {
        return Fail(mOffset, error.GetReason());
    }
    if (*count < size)
    {
        return Fail(mOffset + *count, DescribeEarlyEnd());
    }
    mDecoder = TraceEventDecoder{bytes};
    return true;
}

bool TraceEventReader::Fail(std::uint64_t offset, std::string reason)
{
    mOffset = offset;
    mDecoder = {};
    mFailure = std::move(reason);
    return false;
}

std::string TraceEventReader::DescribeEarlyEnd() const
{
    return Utility::gFormat("the file ends inside a chunk of %" PRIu64 " bytes", mEnd - mBegin);
}
}
