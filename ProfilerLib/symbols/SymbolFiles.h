#pragma once

#include <string>
#include <vector>

namespace Profiler
{

struct PDBKey;

/// The files that there are where a module's symbols are looked for, by their names alone; only a worker finds out
/// whether they are the right ones. `modulePath` is that of the image as it is spelled on this machine.
std::vector<std::string> gListSymbolFiles(
    const PDBKey& key, const std::string& modulePath, const std::vector<std::string>& localDirectories);

/// Those in the user's folders.
std::vector<std::string> gListLocalSymbolFiles(const PDBKey& key, const std::vector<std::string>& localDirectories);

/// Whether one of them came or changed after the file at `path` was written.
bool gIsOlderThanAny(const std::string& path, const std::vector<std::string>& files);

}
