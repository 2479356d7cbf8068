#include "Utility/FileCalls.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystem::Internal
{
namespace
{
/// Repeats a call that a signal interrupted, and gives the error as a negative number.
template <typename Call>
auto Repeat(const Call& call) -> decltype(call())
{
    while (true)
    {
        const auto result = call();
        if (result >= 0)
        {
            return result;
        }
        if (errno != EINTR)
        {
            return -errno;
        }
    }
}

int GetFlags(EOpenMode mode)
{
    switch (mode)
    {
    case EOpenMode::Read:
        return O_RDONLY;
    case EOpenMode::Append:
        return O_RDWR | O_CREAT;
    case EOpenMode::CreateNew:
        break;
    }
    return O_WRONLY | O_CREAT | O_EXCL;
}

/// In a process whose standard streams are closed a file would take their numbers, and messages would land in it.
int MoveOffStandardStreams(int file)
{
    if (file < 0 || file > STDERR_FILENO)
    {
        return file;
    }
    const int moved = Repeat([=] { return fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); });
    close(file);
    return moved;
}

int RefuseIrregular(int file)
{
    struct stat status;
    const int result = Repeat([&] { return fstat(file, &status); });
    if (result < 0)
    {
        return result;
    }
    return S_ISREG(status.st_mode) ? 0 : S_ISDIR(status.st_mode) ? -EISDIR : -ESPIPE;
}
}

int FileCalls::Open(const char* path, EOpenMode mode)
{
    // Without O_NONBLOCK the opening of a named pipe would wait for its other end.
    const int flags = GetFlags(mode) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const int file = MoveOffStandardStreams(Repeat([=] { return open(path, flags, 0666); }));
    if (file < 0)
    {
        return file;
    }
    if (const int refusal = RefuseIrregular(file); refusal < 0)
    {
        close(file);
        return refusal;
    }
    return file;
}

std::int64_t FileCalls::Read(int file, void* target, std::size_t count, std::uint64_t offset)
{
    return Repeat([=] { return pread(file, target, count, static_cast<off_t>(offset)); });
}

std::int64_t FileCalls::Write(int file, const void* source, std::size_t count, std::uint64_t offset)
{
    return Repeat([=] { return pwrite(file, source, count, static_cast<off_t>(offset)); });
}

std::int64_t FileCalls::GetSize(int file)
{
    struct stat status;
    const int result = Repeat([&] { return fstat(file, &status); });
    return result < 0 ? result : status.st_size;
}

int FileCalls::Truncate(int file, std::uint64_t size)
{
    return Repeat([=] { return ftruncate(file, static_cast<off_t>(size)); });
}

int FileCalls::Sync(int file)
{
    return Repeat([=] { return fsync(file); });
}

void FileCalls::StartWriteback(int file, std::uint64_t offset, std::uint64_t size)
{
    sync_file_range(file, static_cast<off_t>(offset), static_cast<off_t>(size), SYNC_FILE_RANGE_WRITE);
}

int FileCalls::Close(int file)
{
    // Linux gives the descriptor up before it can be interrupted, so a repeated call might close someone else's.
    return close(file) < 0 && errno != EINTR ? -errno : 0;
}

int FileCalls::CopyPermissions(int file, const char* from)
{
    struct stat status;
    if (stat(from, &status) < 0)
    {
        return errno == ENOENT ? 0 : -errno;
    }
    return Repeat([&] { return fchmod(file, status.st_mode & 0777); });
}

int FileCalls::Rename(const char* from, const char* to)
{
    return Repeat([=] { return std::rename(from, to); });
}

int FileCalls::RenameWithoutReplacing(const char* from, const char* to)
{
    return Repeat([=] { return renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE); });
}

int FileCalls::Exchange(const char* a, const char* b)
{
    return Repeat([=] { return renameat2(AT_FDCWD, a, AT_FDCWD, b, RENAME_EXCHANGE); });
}

int FileCalls::Remove(const char* path)
{
    return Repeat([=] { return unlink(path); });
}

int FileCalls::CreateDirectory(const char* path)
{
    return Repeat([=] { return mkdir(path, 0777); });
}

int FileCalls::RemoveDirectory(const char* path)
{
    std::error_code failure;
    std::filesystem::remove_all(path, failure);
    return -failure.value();
}

int FileCalls::SyncDirectory(const char* path)
{
    const int directory = Repeat([=] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (directory < 0)
    {
        return directory;
    }
    const int result = Repeat([=] { return fsync(directory); });
    close(directory);
    // Some file systems cannot flush a folder, and say so in this way.
    return result == -EINVAL || result == -ENOTSUP ? 0 : result;
}
}
