#pragma once

#include <string>

namespace Profiler
{

struct PDBKey;

/// Where the converted file of a program database belongs below the cache directory:
///
///     <cache>/<name of the database>/<GUID><age>/<that name without its extension>.symcache
///
/// The name comes from outside, so nothing but a file name is made of it: what stands behind its last separator of
/// either kind, with "_" for every character that a file name cannot have everywhere, and cut when it is too long.
[[nodiscard]] std::string gMakeSymbolCachePath(const std::string& cacheDirectory, const PDBKey& key);

/// Where the lines that were asked for are kept, beside that file: `<name>.symlines`.
[[nodiscard]] std::string gMakeSourceLinesPath(const std::string& cacheDirectory, const PDBKey& key);

/// Whether no folder or file on the way from the cache directory to `path` is a link. The directory itself may be one.
[[nodiscard]] bool gIsInsideSymbolCache(const std::string& cacheDirectory, const std::string& path);

}
