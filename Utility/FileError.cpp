#include "Utility/FileError.h"

#include <system_error>

namespace FileSystem
{
namespace
{
const char* GetVerb(EFileOperation operation)
{
    switch (operation)
    {
    case EFileOperation::None:
        break;
    case EFileOperation::Open:
        return "open";
    case EFileOperation::GetSize:
        return "take the size of";
    case EFileOperation::Read:
        return "read";
    case EFileOperation::Write:
        return "write";
    case EFileOperation::Truncate:
        return "cut";
    case EFileOperation::Sync:
        return "flush";
    case EFileOperation::Close:
        return "close";
    case EFileOperation::Rename:
        return "rename a file to";
    case EFileOperation::SyncDirectory:
        return "flush the folder";
    case EFileOperation::CreateDirectory:
        return "create the folder";
    }
    return "";
}
}

std::string FileError::GetReason() const
{
    if (mNumber == static_cast<int>(std::errc::invalid_seek))
    {
        // How the system names a pipe or a device to a reader of files.
        return "Not a regular file";
    }
    return mNumber == 0 ? std::string() : std::generic_category().message(mNumber);
}

std::string FileError::ToString() const
{
    return mOperation == EFileOperation::None
               ? std::string()
               : std::string("Unable to ") + GetVerb(mOperation) + ' ' + mPath + ": " + GetReason();
}
}
