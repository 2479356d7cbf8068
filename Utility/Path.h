#pragma once

#include <string>
#include <string_view>

/// Text work on paths, which are UTF-8. Both "/" and "\" count as separators wherever a path is read; "/" is what these
/// functions put in. So a file name that holds a "\", which Linux allows, is not addressable through them.
namespace FileSystem
{
inline constexpr char gSeparator = '/';

constexpr bool gIsSeparator(char character)
{
    return character == '/' || character == '\\';
}

/// Starts at the root: nothing needs to be put in front of it.
bool gIsAbsolutePath(std::string_view path);

/// The path as the system takes it, with its own separator throughout. Empty, and so no path at all, for a text that
/// holds a zero byte: the system would see another path than the reader.
std::string gGetNativePath(std::string_view path);

/// All before the last separator, or empty.
std::string gGetDirectory(std::string_view path);
/// All behind the last separator, or the whole path.
std::string gGetFileName(std::string_view path);
/// The file name without its last "." and what follows it; the whole file name when it has none.
std::string gGetBaseName(std::string_view path);
/// What follows the last "." of the whole path, in lower case. A path with no "." comes back unchanged.
std::string gGetExtension(std::string_view path);

/// Resolves "." and ".." as text. A path that holds neither "./" nor "../" in either spelling comes back unchanged,
/// separators included. A path from the root stays one, and ".." at the root stays there.
std::string gNormalizePath(std::string_view path);
/// Both parts normalised and joined with one separator. An empty part adds nothing.
std::string gCombinePath(std::string_view a, std::string_view b);

/// A spelling for lookups that ignores case and the kind of separator.
std::string gGetPathKey(std::string_view path);
/// The same path but for the kind of separator. Case counts, as it does on the disk.
bool gPathsEqual(std::string_view a, std::string_view b);
}
