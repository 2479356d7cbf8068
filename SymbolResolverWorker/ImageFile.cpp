#include "SymbolResolverWorker/ImageFile.h"

#include <cinttypes>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

bool ImageFile::Open(const std::string& path, Utility::Result& result)
{
    FileSystem::FileError error;
    if (!mFile.Open(path, error) || !mFile.GetSize(mSize, error))
        return result.FailText(Serialization::FileNotFound, error.GetReason());
    return true;
}

bool ImageFile::Read(uint64_t offset, uint64_t size, std::vector<std::byte>& bytes, Utility::Result& result) const
{
    if (offset > mSize || size > mSize - offset)
        return result.Fail(Serialization::CorruptData,
            "%" PRIu64 " bytes at offset %" PRIu64 " lie outside the file of %" PRIu64 " bytes", size, offset, mSize);
    bytes.resize(size);
    return ReadInto(offset, bytes, result);
}

bool ImageFile::ReadInto(uint64_t offset, std::span<std::byte> target, Utility::Result& result) const
{
    FileSystem::FileError error;
    const auto count = mFile.ReadAt(offset, target, error);
    if (!count)
        return result.FailText(Serialization::FileReadFailed, error.ToString());
    return result.Check(*count == target.size(), Serialization::CorruptData, "The file ends before offset %" PRIu64,
        offset + target.size());
}

}
