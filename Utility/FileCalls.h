#pragma once

#include <cstddef>
#include <cstdint>

/// The seam between the file classes and the system, so that tests can make a disk fail. Only those
/// classes and tests include it.
namespace FileSystem::Internal
{
enum class EOpenMode : std::uint8_t
{
    /// An existing regular file, for reading.
    Read,
    /// For reading and writing; made when it is not there.
    Append,
    /// For writing; fails when there is something of that name.
    CreateNew,
};

/// Every call of the system that changes the disk, and those that read a file. The base class is the system itself; a
/// test overrides what is to fail. Results below zero are the negative number of the system's error. Writes and reads
/// may be short. Calls are never interrupted by signals: the implementation repeats them.
class FileCalls
{
public:
    FileCalls() = default;
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;
    virtual ~FileCalls() = default;

    /// The descriptor.
    virtual int Open(const char* path, EOpenMode mode);
    virtual std::int64_t Read(int file, void* target, std::size_t count, std::uint64_t offset);
    virtual std::int64_t Write(int file, const void* source, std::size_t count, std::uint64_t offset);
    virtual std::int64_t GetSize(int file);
    virtual int Truncate(int file, std::uint64_t size);
    virtual int Sync(int file);
    /// Lets the disk begin with what was written there, where the system can do that. Sync tells of failures.
    virtual void StartWriteback(int file, std::uint64_t offset, std::uint64_t size);
    /// The descriptor is gone in any case.
    virtual int Close(int file);
    /// Gives a file the permissions that another one has; success when that does not exist.
    virtual int CopyPermissions(int file, const char* from);
    virtual int Rename(const char* from, const char* to);
    /// This and Exchange fail with std::errc::invalid_argument, function_not_supported or operation_not_supported where
    /// the file system cannot do it in one step.
    virtual int RenameWithoutReplacing(const char* from, const char* to);
    virtual int Exchange(const char* a, const char* b);
    virtual int Remove(const char* path);
    /// One level. Fails when there is something of that name.
    virtual int CreateDirectory(const char* path);
    /// With all that is in it.
    virtual int RemoveDirectory(const char* path);
    virtual int SyncDirectory(const char* path);
};

/// What is in force in this image.
FileCalls& gGetFileCalls();

/// Puts other calls in force for its lifetime. Files that are open meanwhile go through them too.
class ScopedFileCalls
{
public:
    explicit ScopedFileCalls(FileCalls& calls);
    ~ScopedFileCalls();
    ScopedFileCalls(const ScopedFileCalls&) = delete;
    ScopedFileCalls& operator=(const ScopedFileCalls&) = delete;

private:
    FileCalls* mPrevious;
};
}
