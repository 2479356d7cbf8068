#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Utility/FileWriter.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

/// A file of which pieces are read; each failure is reported with the offset. One thread.
class ImageFile
{
public:
    /// Only regular files.
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    uint64_t GetSize() const { return mSize; }

    template <class T>
    [[nodiscard]] bool Read(uint64_t offset, T& value, Utility::Result& result) const
    {
        return ReadInto(offset, std::as_writable_bytes(std::span{&value, 1}), result);
    }

    /// All of it or none: false when the file is shorter. Nothing is allocated for what it does not have.
    [[nodiscard]] bool Read(
        uint64_t offset, uint64_t size, std::vector<std::byte>& bytes, Utility::Result& result) const;
    [[nodiscard]] bool ReadInto(uint64_t offset, std::span<std::byte> target, Utility::Result& result) const;

private:
    FileSystem::InputFile mFile;
    uint64_t mSize = 0;
};

}
