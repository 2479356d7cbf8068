#pragma once

#include "Utility/FileError.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Whole files and directories, on UTF-8 paths. False means that it did not happen; what writes data that must not be
/// lost is in FileWriter.h and says why it failed.
namespace FileSystem
{
/// True for anything that exists, also a directory.
[[nodiscard]] bool gFileExists(const std::string& path);

/// One level. True also when the directory exists already.
[[nodiscard]] bool gCreateDirectory(const std::string& path);
[[nodiscard]] bool gCreateDirectory(const std::string& path, FileError& error);
/// The directory and all above it. True at once when the path exists.
[[nodiscard]] bool gCreateDirectoryTree(const std::string& path);
[[nodiscard]] bool gCreateDirectoryTree(const std::string& path, FileError& error);

/// Removes a file or a link, never a directory.
bool gDeleteFile(const std::string& path);
/// Removes a directory with all that is in it. Links in it are removed, not followed. False when it is no directory (a
/// link to one is none), when it cannot be listed or when something of it remains.
bool gDeleteDirectoryTree(const std::string& path);

/// The content of a regular file. The target has its old content or all of the new, never a part.
[[nodiscard]] bool gCopyFile(const std::string& source, const std::string& target);

/// Of a regular file; false for everything else.
[[nodiscard]] bool gGetFileSize(const std::string& path, std::uint64_t& size);

/// When the content, name or place of a file last changed, in nanoseconds since 1970. Unlike the time of its last
/// write, which comes along with a copy, nobody can set it. False when it does not exist.
[[nodiscard]] bool gGetChangeTime(const std::string& path, std::int64_t& time);

/// The whole content of a regular file, also of one that has no size until it is read, as in /proc. False, with `bytes`
/// empty, when it cannot be opened or read; anything but a regular file is refused, so that a pipe cannot hang the
/// caller. A file that shrinks meanwhile gives what there was.
[[nodiscard]] bool gReadFileToBuffer(const std::string& path, std::vector<std::byte>& bytes);
/// The same as UTF-8 text. A file that starts with the little-endian mark of UTF-16 or UTF-32 is converted, and its
/// mark with it; nothing else is. False also when the conversion finds an invalid sequence.
[[nodiscard]] bool gReadTextFile(const std::string& path, std::string& text);

/// Appends the paths of the regular files in `directory` whose gGetExtension equals `extension`, or of all files when
/// that is empty. A directory that is empty or begins with "." is taken relative to the current one. Links are
/// followed; a directory that is reached twice is listed once. Sorted by name within a directory, files before
/// directories. False when a directory could not be listed; the files found by then are in the list.
[[nodiscard]] bool gListFiles(
    const std::string& directory, const std::string& extension, std::vector<std::string>& files, bool recursive);

/// Empty when it has been removed.
std::string gGetCurrentDirectory();
[[nodiscard]] bool gSetCurrentDirectory(const std::string& path);

/// Of the running program, also when called from a plug-in.
std::string gGetExecutablePath();
std::string gGetExecutableDirectory();
/// Creates the directory below that of the executable and makes it the current one.
[[nodiscard]] bool gSetCurrentDirectoryToExecutableRelative(const std::string& relative);

/// Where the system keeps its shared libraries.
std::string gGetSystemDirectory();

/// 0: the user's configuration ($XDG_CONFIG_HOME or ~/.config); 1: the user's documents (as user-dirs.dirs says, or
/// ~/Documents). Empty for any other number, or when the user has no home. It need not exist.
std::string gGetKnownFolder(int which);
}
