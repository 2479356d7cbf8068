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

/// A whole regular file as memory. What is written there stays there and never reaches the file. Whoever shortens the
/// file meanwhile ends the process: this is for the worker alone, which may die. One thread.
class MappedFile
{
public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    std::span<std::byte> GetBytes() { return mBytes; }
    std::span<const std::byte> GetBytes() const { return mBytes; }

private:
    std::span<std::byte> mBytes;
};

}
