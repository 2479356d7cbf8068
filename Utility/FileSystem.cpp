#include "Utility/FileSystem.h"

#include "SpindlemarkAPI/InstrumentationScope.h"
#include "Utility/FileCalls.h"
#include "Utility/FileWriter.h"
#include "Utility/Path.h"
#include "Utility/Text.h"

#include <array>
#include <filesystem>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <system_error>

namespace FileSystem
{
namespace
{
/// For a file that does not know its size before it is read.
bool ReadUntilEnd(const InputFile& file, std::vector<std::byte>& bytes)
{
    std::array<std::byte, 16384> block;
    while (true)
    {
        FileError error;
        const std::optional<std::size_t> count = file.ReadAt(bytes.size(), block, error);
        if (!count)
        {
            return false;
        }
        if (*count == 0)
        {
            return true;
        }
        bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(*count));
    }
}

bool ReadWhole(const std::string& path, std::vector<std::byte>& bytes)
{
    InputFile file;
    FileError error;
    std::uint64_t size = 0;
    if (!file.Open(path, error) || !file.GetSize(size, error))
    {
        return false;
    }
    if (size == 0)
    {
        return ReadUntilEnd(file, bytes);
    }
    bytes.resize(static_cast<std::size_t>(size));
    const std::optional<std::size_t> count = file.ReadAt(0, bytes, error);
    bytes.resize(count.value_or(0));
    return count.has_value();
}

/// The units of `bytes`, low byte first; a rest that fills no unit is left out.
template <typename Unit>
std::basic_string<Unit> ReadUnits(std::span<const std::byte> bytes)
{
    std::basic_string<Unit> units(bytes.size() / sizeof(Unit), Unit{});
    for (std::size_t i = 0; i < units.size(); ++i)
    {
        std::uint32_t value = 0;
        for (std::size_t byte = 0; byte < sizeof(Unit); ++byte)
        {
            value |= std::to_integer<std::uint32_t>(bytes[i * sizeof(Unit) + byte]) << (8 * byte);
        }
        units[i] = static_cast<Unit>(value);
    }
    return units;
}

bool HasMark(std::span<const std::byte> bytes, std::string_view mark)
{
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).starts_with(mark);
}
}

bool gReadFileToBuffer(const std::string& path, std::vector<std::byte>& bytes)
{
    const SpindlemarkAPI::InstrumentationScope scope("FileSystem::gReadFileToBuffer");
    bytes.clear();
    try
    {
        if (ReadWhole(path, bytes))
        {
            return true;
        }
    }
    catch (const std::bad_alloc&)
    {}
    catch (const std::length_error&)
    {}
    bytes.clear();
    return false;
}

bool gReadTextFile(const std::string& path, std::string& text)
{
    using namespace std::string_view_literals;
    text.clear();
    std::vector<std::byte> bytes;
    if (!gReadFileToBuffer(path, bytes))
    {
        return false;
    }
    try
    {
        if (HasMark(bytes, "\xFF\xFE\0\0"sv))
        {
            text = Utility::gToUTF8(ReadUnits<char32_t>(bytes));
        }
        else if (HasMark(bytes, "\xFF\xFE"sv))
        {
            text = Utility::gToUTF8(ReadUnits<char16_t>(bytes));
        }
        else
        {
            text.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        }
        return true;
    }
    catch (const std::exception&)
    {
        // An invalid sequence, or a text that the memory does not hold.
        text.clear();
        return false;
    }
}

bool gCopyFile(const std::string& source, const std::string& target)
{
    constexpr std::size_t blockSize = std::size_t{1} << 20;
    InputFile input;
    AtomicFileWriter output;
    FileError error;
    if (!input.Open(source, error) || !output.Open(target, error))
    {
        return false;
    }
    std::vector<std::byte> block(blockSize);
    std::uint64_t offset = 0;
    std::optional<std::size_t> count;
    do
    {
        count = input.ReadAt(offset, block, error);
        if (!count || !output.Write(std::span{block}.first(*count), error))
        {
            return false;
        }
        offset += *count;
    } while (*count == block.size());
    return output.Commit(error);
}

bool gDeleteFile(const std::string& path)
{
    return Internal::gGetFileCalls().Remove(gGetNativePath(path).c_str()) >= 0;
}

bool gDeleteDirectoryTree(const std::string& path)
{
    const std::string native = gGetNativePath(path);
    std::error_code failure;
    return std::filesystem::is_directory(std::filesystem::symlink_status(native, failure)) &&
           Internal::gGetFileCalls().RemoveDirectory(native.c_str()) >= 0;
}

bool gCreateDirectory(const std::string& path)
{
    FileError ignored;
    return gCreateDirectory(path, ignored);
}

bool gCreateDirectory(const std::string& path, FileError& error)
{
    const std::string native = gGetNativePath(path);
    const int result = Internal::gGetFileCalls().CreateDirectory(native.c_str());
    std::error_code failure;
    if (result >= 0 ||
        (-result == static_cast<int>(std::errc::file_exists) && std::filesystem::is_directory(native, failure)))
    {
        return true;
    }
    error = {EFileOperation::CreateDirectory, -result, path};
    return false;
}

bool gCreateDirectoryTree(const std::string& path)
{
    FileError ignored;
    return gCreateDirectoryTree(path, ignored);
}

bool gCreateDirectoryTree(const std::string& path, FileError& error)
{
    if (gFileExists(path))
    {
        return true;
    }
    const std::string normal = gNormalizePath(path);
    std::vector<std::string> pieces;
    Utility::gSplit(normal, pieces, "/\\");
    std::string prefix = gIsAbsolutePath(normal) ? std::string(1, gSeparator) : std::string();
    for (const std::string& piece : pieces)
    {
        prefix = gCombinePath(prefix, piece);
        if (!gFileExists(prefix) && !gCreateDirectory(prefix, error))
        {
            return false;
        }
    }
    if (pieces.empty())
    {
        error = {EFileOperation::CreateDirectory, static_cast<int>(std::errc::no_such_file_or_directory), path};
    }
    return !pieces.empty();
}

std::string gGetExecutableDirectory()
{
    return gGetDirectory(gGetExecutablePath());
}

bool gSetCurrentDirectoryToExecutableRelative(const std::string& relative)
{
    const std::string path = gCombinePath(gGetExecutableDirectory(), relative);
    return gCreateDirectoryTree(path) && gSetCurrentDirectory(path);
}
}
