#include "Utility/DirectoryRename.h"

#include "Utility/FileCalls.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"

#include <filesystem>
#include <system_error>

namespace FileSystem
{
namespace
{
using Internal::gGetFileCalls;

bool IsDone(int result, FileError& error, EFileOperation operation, const std::string& path)
{
    if (result >= 0)
    {
        return true;
    }
    error = {operation, -result, path};
    return false;
}

/// Some file systems, those of networks above all, know only the plain renaming.
bool IsUnsupported(int result)
{
    return result == -static_cast<int>(std::errc::invalid_argument) ||
           result == -static_cast<int>(std::errc::function_not_supported) ||
           result == -static_cast<int>(std::errc::operation_not_supported);
}

int Rename(const std::string& from, const std::string& to)
{
    return gGetFileCalls().Rename(from.c_str(), to.c_str());
}

int RenameInTwoSteps(const std::string& from, const std::string& to)
{
    std::error_code failure;
    if (std::filesystem::exists(std::filesystem::symlink_status(to, failure)))
    {
        return -static_cast<int>(std::errc::file_exists);
    }
    return Rename(from, to);
}

/// Takes a step back. Where even that fails, at least someone has to know where things are.
void RenameBack(const std::string& from, const std::string& to)
{
    if (Rename(from, to) < 0)
    {
        Utility::gTrace("What was %s is left at %s, which could not be renamed back", to.c_str(), from.c_str());
    }
}

int ExchangeInThreeSteps(const std::string& a, const std::string& b)
{
    const std::string aside = b + "." + Utility::gFormatGUID(Utility::gMakeGUID());
    if (const int result = RenameInTwoSteps(b, aside); result < 0)
    {
        return result;
    }
    if (const int result = Rename(a, b); result < 0)
    {
        RenameBack(aside, b);
        return result;
    }
    const int result = Rename(aside, a);
    if (result < 0)
    {
        RenameBack(b, a);
        RenameBack(aside, b);
    }
    return result;
}
}

bool gCreateNewDirectory(const std::string& path, FileError& error)
{
    return IsDone(
        gGetFileCalls().CreateDirectory(gGetNativePath(path).c_str()), error, EFileOperation::CreateDirectory, path);
}

bool gRenameWithoutReplacing(const std::string& from, const std::string& to, FileError& error)
{
    const std::string nativeFrom = gGetNativePath(from);
    const std::string nativeTo = gGetNativePath(to);
    int result = gGetFileCalls().RenameWithoutReplacing(nativeFrom.c_str(), nativeTo.c_str());
    if (IsUnsupported(result))
    {
        result = RenameInTwoSteps(nativeFrom, nativeTo);
    }
    return IsDone(result, error, EFileOperation::Rename, to);
}

bool gExchange(const std::string& a, const std::string& b, FileError& error)
{
    const std::string nativeA = gGetNativePath(a);
    const std::string nativeB = gGetNativePath(b);
    int result = gGetFileCalls().Exchange(nativeA.c_str(), nativeB.c_str());
    if (IsUnsupported(result))
    {
        result = ExchangeInThreeSteps(nativeA, nativeB);
    }
    return IsDone(result, error, EFileOperation::Rename, b);
}
}
