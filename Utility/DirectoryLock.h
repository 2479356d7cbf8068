#pragma once

#include <string>

namespace FileSystem
{
/// A mark that a directory is in use by this process. It ends with the object, or with the process however that ends,
/// so a directory that nobody marks belongs to nobody any more. It keeps nobody from the directory's files, and follows
/// the directory when that gets another name. Any number of objects may share a directory, or one has it alone. One
/// thread.
class DirectoryLock
{
public:
    DirectoryLock() = default;
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    enum class EOutcome
    {
        Acquired,
        InUse,       ///< another object is in the way, in this process or another one, or the directory is gone
        Unsupported, ///< the file system knows no locks, or the directory cannot be opened
    };

    enum class EMode
    {
        Alone,
        Shared, ///< with others that share it
    };

    /// Does not wait. An object holds one directory at a time, and gives up the one before.
    EOutcome TryAcquire(const std::string& path, EMode mode = EMode::Alone);

private:
    void Release();

    int mDescriptor = -1;
};
}
