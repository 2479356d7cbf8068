#pragma once

#include "Utility/FileError.h"

#include <string>

/// What putting a finished directory in its place takes, beyond FileWriter.h: steps that another program cannot come in
/// between of. Durable only after gSyncDirectory of the folder that holds the names.
namespace FileSystem
{
/// One level. Unlike gCreateDirectory it fails when there is something of that name.
[[nodiscard]] bool gCreateNewDirectory(const std::string& path, FileError& error);

/// Fails with std::errc::file_exists when there is something with the name `to`.
[[nodiscard]] bool gRenameWithoutReplacing(const std::string& from, const std::string& to, FileError& error);

/// Two entries of one file system take each other's name, in one step where the file system can do that. Elsewhere
/// there is a moment when nothing has the name `b`. A failure leaves both as they were; should even that be impossible,
/// a line in the log says where they are.
[[nodiscard]] bool gExchange(const std::string& a, const std::string& b, FileError& error);
}
