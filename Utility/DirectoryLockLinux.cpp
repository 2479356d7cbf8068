#include "Utility/DirectoryLock.h"

#include "Utility/Path.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystem
{
namespace
{
/// Between opening and locking, whoever held the directory may have deleted it.
bool IsStillThere(int descriptor, const std::string& path)
{
    struct stat opened;
    struct stat named;
    return fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}
}

DirectoryLock::~DirectoryLock()
{
    Release();
}

DirectoryLock::EOutcome DirectoryLock::TryAcquire(const std::string& path, EMode mode)
{
    Release();
    const std::string native = gGetNativePath(path);
    mDescriptor = open(native.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (mDescriptor < 0)
    {
        return errno == ENOENT ? EOutcome::InUse : EOutcome::Unsupported;
    }
    int result = 0;
    do
    {
        result = flock(mDescriptor, (mode == EMode::Alone ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (result < 0 && errno == EINTR);
    if (result == 0 && IsStillThere(mDescriptor, native))
    {
        return EOutcome::Acquired;
    }
    const EOutcome outcome = result == 0 || errno == EWOULDBLOCK ? EOutcome::InUse : EOutcome::Unsupported;
    Release();
    return outcome;
}

void DirectoryLock::Release()
{
    if (mDescriptor >= 0)
    {
        close(std::exchange(mDescriptor, -1));
    }
}
}
