#pragma once

#include "Utility/FileError.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

/// Files that must survive: every failure is noticed, named and leaves the disk in a known state. None of these classes
/// may be used by two threads at once, except for the reads of InputFile.
namespace FileSystem
{
/// An open file descriptor of the system, closed at its end.
class FileHandle
{
public:
    FileHandle() = default;
    explicit FileHandle(int descriptor) : mDescriptor(descriptor) {}
    FileHandle(FileHandle&& other) noexcept : mDescriptor(other.Release()) {}
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle();

    bool IsOpen() const { return mDescriptor >= 0; }
    int Get() const { return mDescriptor; }
    /// Leaves the closing to the caller.
    int Release();

private:
    void Swap(FileHandle& other) noexcept { std::swap(mDescriptor, other.mDescriptor); }

    int mDescriptor = -1;
};

/// When a new file is on the disk.
enum class EDurability : std::uint8_t
{
    /// When the operation has ended.
    AtOnce,
    /// After gSyncTree: for the files of a folder that nobody uses before that, which are then waited for together.
    WithFolder,
};

/// Writes a file so that a reader, and a machine that comes up after a crash, sees the old content or all of the new,
/// never a part: a temporary file in the same folder, flushed to the disk, takes the name of the target at the end.
/// Without Commit, and after any failure before the renaming, nothing remains of it and the target is as it was. A
/// failed operation makes all later ones fail with the same error. The permissions of an existing target are kept, and
/// a target that is a link stays one: the file it leads to is replaced.
class AtomicFileWriter
{
public:
    AtomicFileWriter() = default;
    AtomicFileWriter(const AtomicFileWriter&) = delete;
    AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;
    ~AtomicFileWriter();

    /// Starts a new file, giving up one that was begun. The folder must exist.
    [[nodiscard]] bool Open(const std::string& path, FileError& error);
    [[nodiscard]] bool Write(std::span<const std::byte> bytes, FileError& error);
    /// Puts the file in its place. An error with the operation SyncDirectory means that the new file is there but might
    /// not survive a crash of the machine.
    [[nodiscard]] bool Commit(FileError& error, EDurability durability = EDurability::AtOnce);
    /// Gives the file up.
    void Discard();

private:
    bool Fail(EFileOperation operation, int number, FileError& error);

    std::string mPath;
    std::string mTemporaryPath;
    FileHandle mFile;
    std::uint64_t mSize = 0;
    FileError mError;
};

/// A new name beside `path` for what takes that path's place when it is complete.
std::string gMakeTemporaryPath(const std::string& path);
/// The name of the file that a temporary one was to become, and any other name as it is. A process that is killed
/// leaves such files behind.
std::string_view gStripTemporaryName(std::string_view name);

/// AtomicFileWriter in one call.
[[nodiscard]] bool gReplaceFile(const std::string& path, std::span<const std::byte> bytes, FileError& error,
    EDurability durability = EDurability::AtOnce);

/// A file that grows at its end while others read it. Nothing is certain to be on the disk before Sync has returned
/// true. When a Sync fails, the system may have dropped what was written since the last good one, so every further Sync
/// fails as well until Truncate has taken the file back to before those bytes: then write them again.
class AppendFile
{
public:
    /// For reading and writing, made when it is not there.
    [[nodiscard]] bool Open(const std::string& path, FileError& error);
    [[nodiscard]] bool GetSize(std::uint64_t& size, FileError& error) const;
    [[nodiscard]] bool Truncate(std::uint64_t size, FileError& error);
    /// All of the bytes. After a failure any part of them may be in the file: Truncate takes them out.
    [[nodiscard]] bool WriteAt(std::uint64_t offset, std::span<const std::byte> bytes, FileError& error);
    /// Lets the disk begin with bytes that were written, so that there is less for Sync to wait for.
    void StartWriteback(std::uint64_t offset, std::uint64_t size) const;
    /// Waits until all that was written is on the disk.
    [[nodiscard]] bool Sync(FileError& error);
    /// The file is closed in any case; some systems report a failed write only here. The end of the object closes
    /// without a report.
    [[nodiscard]] bool Close(FileError& error);

    bool IsOpen() const { return mFile.IsOpen(); }
    const std::string& GetPath() const { return mPath; }

private:
    static constexpr std::uint64_t sNothing = std::numeric_limits<std::uint64_t>::max();

    std::string mPath;
    FileHandle mFile;
    /// The lowest offset written since the last good Sync.
    std::uint64_t mUnsyncedFrom = sNothing;
    /// What the system said when a Sync failed, 0 when none has.
    int mSyncError = 0;
    /// The file was empty when it was opened, so its name may not be on the disk yet.
    bool mNeedsFolderSync = false;
};

/// A regular file open for reading. Any number of threads may read at once.
class InputFile
{
public:
    /// Anything but a regular file is refused.
    [[nodiscard]] bool Open(const std::string& path, FileError& error);
    [[nodiscard]] bool GetSize(std::uint64_t& size, FileError& error) const;
    /// The number of bytes read is smaller than asked for only at the end of the file.
    [[nodiscard]] std::optional<std::size_t> ReadAt(
        std::uint64_t offset, std::span<std::byte> target, FileError& error) const;
    void Close();

    bool IsOpen() const { return mFile.IsOpen(); }
    const std::string& GetPath() const { return mPath; }

private:
    std::string mPath;
    FileHandle mFile;
};

/// Makes the entries of a folder durable: what was created, renamed or removed in it.
[[nodiscard]] bool gSyncDirectory(const std::string& path, FileError& error);

/// Makes a folder durable with all files and folders in it. Links are not followed.
[[nodiscard]] bool gSyncTree(const std::string& path, FileError& error);
}
