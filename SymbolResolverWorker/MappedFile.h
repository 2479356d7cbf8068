#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace Utility
{
class Result;
}

namespace Symbols
{

/// A whole regular file as memory that can only be read. Whoever shortens the file meanwhile ends the process: this is
/// for the worker alone, which may die. One thread.
class MappedFile
{
public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    std::span<const std::byte> GetBytes() const { return mBytes; }

private:
    std::span<const std::byte> mBytes;
};

}
