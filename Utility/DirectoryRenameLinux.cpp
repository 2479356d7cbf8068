#include "Utility/DirectoryRename.h"

#include "Utility/Guid.h"
#include "Utility/Path.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace FileSystem
{
namespace
{
bool Report(FileError& error, EFileOperation operation, int number, const std::string& path)
{
    error = {operation, number, path};
    return false;
}

/// 0, or the number of the error.
int Rename(const std::string& from, const std::string& to, unsigned flags)
{
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0 ? 0 : errno;
}

/// Some file systems, those of networks above all, know no flags.
bool IsUnsupported(int number)
{
    return number == EINVAL || number == ENOSYS || number == ENOTSUP;
}

int RenameInTwoSteps(const std::string& from, const std::string& to)
{
    struct stat status;
    if (lstat(to.c_str(), &status) == 0)
    {
        return EEXIST;
    }
    return Rename(from, to, 0);
}

int ExchangeInThreeSteps(const std::string& a, const std::string& b)
{
    const std::string aside = b + "." + Utility::gFormatGUID(Utility::gMakeGUID());
    if (const int number = RenameInTwoSteps(b, aside); number != 0)
    {
        return number;
    }
    if (const int number = Rename(a, b, 0); number != 0)
    {
        Rename(aside, b, 0);
        return number;
    }
    const int number = Rename(aside, a, 0);
    if (number != 0)
    {
        Rename(b, a, 0);
        Rename(aside, b, 0);
    }
    return number;
}
}

bool gCreateNewDirectory(const std::string& path, FileError& error)
{
    return mkdir(gGetNativePath(path).c_str(), 0777) == 0 ||
           Report(error, EFileOperation::CreateDirectory, errno, path);
}

bool gRenameWithoutReplacing(const std::string& from, const std::string& to, FileError& error)
{
    const std::string nativeFrom = gGetNativePath(from);
    const std::string nativeTo = gGetNativePath(to);
    int number = Rename(nativeFrom, nativeTo, RENAME_NOREPLACE);
    if (IsUnsupported(number))
    {
        number = RenameInTwoSteps(nativeFrom, nativeTo);
    }
    return number == 0 || Report(error, EFileOperation::Rename, number, to);
}

bool gExchange(const std::string& a, const std::string& b, FileError& error)
{
    const std::string nativeA = gGetNativePath(a);
    const std::string nativeB = gGetNativePath(b);
    int number = Rename(nativeA, nativeB, RENAME_EXCHANGE);
    if (IsUnsupported(number))
    {
        number = ExchangeInThreeSteps(nativeA, nativeB);
    }
    return number == 0 || Report(error, EFileOperation::Rename, number, b);
}
}
