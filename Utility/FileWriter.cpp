#include "Utility/FileWriter.h"

#include "Utility/FileCalls.h"
#include "Utility/Format.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace FileSystem
{
namespace
{
using Internal::EOpenMode;
using Internal::gGetFileCalls;

bool Report(FileError& error, EFileOperation operation, int number, const std::string& path)
{
    error = {operation, number, path};
    return false;
}

bool OpenFile(const std::string& path, EOpenMode mode, FileHandle& file, FileError& error)
{
    const int descriptor = gGetFileCalls().Open(gGetNativePath(path).c_str(), mode);
    file = FileHandle(descriptor);
    return descriptor >= 0 || Report(error, EFileOperation::Open, -descriptor, path);
}

/// 0, or the number of the error.
int WriteAll(const FileHandle& file, std::uint64_t offset, std::span<const std::byte> bytes)
{
    while (!bytes.empty())
    {
        const std::int64_t count = gGetFileCalls().Write(file.Get(), bytes.data(), bytes.size(), offset);
        if (count <= 0)
        {
            return count < 0 ? static_cast<int>(-count) : static_cast<int>(std::errc::io_error);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return 0;
}

bool QuerySize(const FileHandle& file, const std::string& path, std::uint64_t& size, FileError& error)
{
    const std::int64_t result = gGetFileCalls().GetSize(file.Get());
    if (result < 0)
    {
        return Report(error, EFileOperation::GetSize, static_cast<int>(-result), path);
    }
    size = static_cast<std::uint64_t>(result);
    return true;
}

/// The folder that holds the entry `path`, as the system takes it.
std::string GetFolder(const std::string& path)
{
    const std::size_t separator = path.rfind(gSeparator);
    return separator == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(separator, 1));
}

/// The file behind a link, since that is what has to be replaced.
std::string FollowLink(std::string path)
{
    std::error_code failure;
    if (std::filesystem::is_symlink(path, failure))
    {
        const std::filesystem::path target = std::filesystem::canonical(path, failure);
        if (!failure)
        {
            path = target.string();
        }
    }
    return path;
}

bool SyncFile(const std::string& path, FileError& error)
{
    FileHandle file;
    if (!OpenFile(path, EOpenMode::Read, file, error))
    {
        return false;
    }
    if (const int result = gGetFileCalls().Sync(file.Get()); result < 0)
    {
        return Report(error, EFileOperation::Sync, -result, path);
    }
    const int result = gGetFileCalls().Close(file.Release());
    return result >= 0 || Report(error, EFileOperation::Close, -result, path);
}

/// Of a name that is cut, so that the addition cannot make it longer than a file name may be.
constexpr std::size_t gLongestKeptName = 200;
constexpr std::size_t gNumTemporaryDigits = 16;
constexpr std::string_view gTemporaryExtension = ".tmp";
}

std::string gMakeTemporaryPath(const std::string& path)
{
    const std::size_t nameStart = path.rfind(gSeparator) + 1;
    const Utility::GUID guid = Utility::gMakeGUID();
    return path.substr(0, nameStart) + path.substr(nameStart, gLongestKeptName) +
           Utility::gFormat(".%08X%04X%04X", guid.mData1, guid.mData2, guid.mData3) + std::string(gTemporaryExtension);
}

std::string_view gStripTemporaryName(std::string_view name)
{
    constexpr std::size_t added = 1 + gNumTemporaryDigits + gTemporaryExtension.size();
    if (name.size() <= added || !name.ends_with(gTemporaryExtension))
    {
        return name;
    }
    const std::string_view addition = name.substr(name.size() - added);
    const bool isOurs =
        addition.front() == '.' && addition.find_first_not_of("0123456789ABCDEF", 1) == 1 + gNumTemporaryDigits;
    return isOurs ? name.substr(0, name.size() - added) : name;
}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept
{
    FileHandle(std::move(other)).Swap(*this);
    return *this;
}

FileHandle::~FileHandle()
{
    if (IsOpen())
    {
        gGetFileCalls().Close(mDescriptor);
    }
}

int FileHandle::Release()
{
    return std::exchange(mDescriptor, -1);
}

AtomicFileWriter::~AtomicFileWriter()
{
    Discard();
}

bool AtomicFileWriter::Open(const std::string& path, FileError& error)
{
    Discard();
    mError = {};
    mSize = 0;
    mPath = FollowLink(gGetNativePath(path));
    mTemporaryPath = gMakeTemporaryPath(mPath);
    const int descriptor = gGetFileCalls().Open(mTemporaryPath.c_str(), EOpenMode::CreateNew);
    if (descriptor < 0)
    {
        mTemporaryPath.clear();
        return Fail(EFileOperation::Open, -descriptor, error);
    }
    mFile = FileHandle(descriptor);
    const int result = gGetFileCalls().CopyPermissions(descriptor, mPath.c_str());
    return result >= 0 || Fail(EFileOperation::Open, -result, error);
}

bool AtomicFileWriter::Write(std::span<const std::byte> bytes, FileError& error)
{
    if (!mFile.IsOpen())
    {
        return Fail(EFileOperation::Write, static_cast<int>(std::errc::bad_file_descriptor), error);
    }
    // The disk begins with the first pieces of something large while the others are written.
    constexpr std::size_t pieceSize = std::size_t{1} << 20;

    while (!bytes.empty())
    {
        const std::span<const std::byte> piece = bytes.first(std::min(bytes.size(), pieceSize));
        if (const int number = WriteAll(mFile, mSize, piece); number != 0)
        {
            return Fail(EFileOperation::Write, number, error);
        }
        if (piece.size() == pieceSize)
        {
            gGetFileCalls().StartWriteback(mFile.Get(), mSize, pieceSize);
        }
        mSize += piece.size();
        bytes = bytes.subspan(piece.size());
    }
    return true;
}

bool AtomicFileWriter::Commit(FileError& error, EDurability durability)
{
    if (!mFile.IsOpen())
    {
        return Fail(EFileOperation::Write, static_cast<int>(std::errc::bad_file_descriptor), error);
    }
    auto& calls = gGetFileCalls();
    const bool isAtOnce = durability == EDurability::AtOnce;
    if (const int result = isAtOnce ? calls.Sync(mFile.Get()) : 0; result < 0)
    {
        return Fail(EFileOperation::Sync, -result, error);
    }
    if (const int result = calls.Close(mFile.Release()); result < 0)
    {
        return Fail(EFileOperation::Close, -result, error);
    }
    if (const int result = calls.Rename(mTemporaryPath.c_str(), mPath.c_str()); result < 0)
    {
        return Fail(EFileOperation::Rename, -result, error);
    }
    mTemporaryPath.clear();
    if (const int result = isAtOnce ? calls.SyncDirectory(GetFolder(mPath).c_str()) : 0; result < 0)
    {
        return Fail(EFileOperation::SyncDirectory, -result, error);
    }
    return true;
}

void AtomicFileWriter::Discard()
{
    mFile = FileHandle();
    if (!mTemporaryPath.empty())
    {
        gGetFileCalls().Remove(mTemporaryPath.c_str());
        mTemporaryPath.clear();
    }
}

bool AtomicFileWriter::Fail(EFileOperation operation, int number, FileError& error)
{
    if (mError.mOperation == EFileOperation::None)
    {
        Report(mError, operation, number, mPath);
        Discard();
    }
    error = mError;
    return false;
}

bool gReplaceFile(const std::string& path, std::span<const std::byte> bytes, FileError& error, EDurability durability)
{
    AtomicFileWriter writer;
    return writer.Open(path, error) && writer.Write(bytes, error) && writer.Commit(error, durability);
}

bool AppendFile::Open(const std::string& path, FileError& error)
{
    mPath = path;
    mUnsyncedFrom = sNothing;
    mSyncError = 0;
    std::uint64_t size = 0;
    if (!OpenFile(path, EOpenMode::Append, mFile, error) || !QuerySize(mFile, mPath, size, error))
    {
        mFile = FileHandle();
        return false;
    }
    mNeedsFolderSync = size == 0;
    return true;
}

bool AppendFile::GetSize(std::uint64_t& size, FileError& error) const
{
    return QuerySize(mFile, mPath, size, error);
}

bool AppendFile::Truncate(std::uint64_t size, FileError& error)
{
    const int result = gGetFileCalls().Truncate(mFile.Get(), size);
    if (result < 0)
    {
        return Report(error, EFileOperation::Truncate, -result, mPath);
    }
    if (size <= mUnsyncedFrom)
    {
        mSyncError = 0;
        mUnsyncedFrom = size;
    }
    return true;
}

bool AppendFile::WriteAt(std::uint64_t offset, std::span<const std::byte> bytes, FileError& error)
{
    mUnsyncedFrom = std::min(mUnsyncedFrom, offset);
    const int number = WriteAll(mFile, offset, bytes);
    return number == 0 || Report(error, EFileOperation::Write, number, mPath);
}

void AppendFile::StartWriteback(std::uint64_t offset, std::uint64_t size) const
{
    gGetFileCalls().StartWriteback(mFile.Get(), offset, size);
}

bool AppendFile::Sync(FileError& error)
{
    if (mSyncError != 0)
    {
        return Report(error, EFileOperation::Sync, mSyncError, mPath);
    }
    if (const int result = gGetFileCalls().Sync(mFile.Get()); result < 0)
    {
        mSyncError = -result;
        return Report(error, EFileOperation::Sync, mSyncError, mPath);
    }
    // A new file is only safe when its name is on the disk too.
    if (mNeedsFolderSync)
    {
        if (const int result = gGetFileCalls().SyncDirectory(GetFolder(gGetNativePath(mPath)).c_str()); result < 0)
        {
            mSyncError = -result;
            return Report(error, EFileOperation::SyncDirectory, mSyncError, mPath);
        }
        mNeedsFolderSync = false;
    }
    mUnsyncedFrom = sNothing;
    return true;
}

bool AppendFile::Close(FileError& error)
{
    if (!mFile.IsOpen())
    {
        return true;
    }
    const int result = gGetFileCalls().Close(mFile.Release());
    return result >= 0 || Report(error, EFileOperation::Close, -result, mPath);
}

bool InputFile::Open(const std::string& path, FileError& error)
{
    mPath = path;
    return OpenFile(path, EOpenMode::Read, mFile, error);
}

bool InputFile::GetSize(std::uint64_t& size, FileError& error) const
{
    return QuerySize(mFile, mPath, size, error);
}

std::optional<std::size_t> InputFile::ReadAt(std::uint64_t offset, std::span<std::byte> target, FileError& error) const
{
    std::size_t filled = 0;
    while (filled < target.size())
    {
        const std::int64_t count =
            gGetFileCalls().Read(mFile.Get(), target.data() + filled, target.size() - filled, offset + filled);
        if (count < 0)
        {
            Report(error, EFileOperation::Read, static_cast<int>(-count), mPath);
            return std::nullopt;
        }
        if (count == 0)
        {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

void InputFile::Close()
{
    mFile = FileHandle();
}

bool gSyncDirectory(const std::string& path, FileError& error)
{
    const int result = gGetFileCalls().SyncDirectory(gGetNativePath(path).c_str());
    return result >= 0 || Report(error, EFileOperation::SyncDirectory, -result, path);
}

bool gSyncTree(const std::string& path, FileError& error)
{
    std::error_code failure;
    std::filesystem::directory_iterator entries{gGetNativePath(path), failure};
    const std::filesystem::directory_iterator end;
    for (; !failure && entries != end; entries.increment(failure))
    {
        const std::string entry = entries->path().string();
        const std::filesystem::file_type type = entries->symlink_status(failure).type();
        const bool isDone = type == std::filesystem::file_type::regular     ? SyncFile(entry, error)
                            : type == std::filesystem::file_type::directory ? gSyncTree(entry, error)
                                                                            : true;
        if (!isDone)
        {
            return false;
        }
    }
    return failure ? Report(error, EFileOperation::SyncDirectory, failure.value(), path) : gSyncDirectory(path, error);
}
}
