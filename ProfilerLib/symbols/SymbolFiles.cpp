#include "ProfilerLib/symbols/SymbolFiles.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "ProfilerLib/symbols/PDBKey.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Path.h"

namespace Profiler
{

namespace
{

constexpr const char* cSystemDirectory = "/usr/lib/debug";

void AddIfThere(const std::string& path, std::vector<std::string>& files)
{
    if (FileSystem::gFileExists(path))
        files.push_back(path);
}

/// The files "ab/cdef...debug" below a folder ".build-id", of which the key has the first sixteen bytes.
void AddByBuildID(const PDBKey& key, const std::string& directory, std::vector<std::string>& files)
{
    unsigned char bytes[16];
    std::memcpy(bytes, &key.PDBGUID.Data1, 8);
    std::memcpy(bytes + 8, &key.PDBGUID.Data2, 8);
    std::string start;
    for (std::size_t i = 1; i < std::size(bytes); ++i)
        start += Utility::gFormat("%02x", bytes[i]);
    const std::string folder = directory + Utility::gFormat("/.build-id/%02x", bytes[0]);
    std::error_code error;
    for (std::filesystem::directory_iterator entry{folder, error}, end; !error && entry != end; entry.increment(error))
    {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(start) && name.ends_with(".debug"))
            files.push_back(entry->path().string());
    }
}

}

std::vector<std::string> gListSymbolFiles(
    const PDBKey& key, const std::string& modulePath, const std::vector<std::string>& localDirectories)
{
    std::vector<std::string> files = gListLocalSymbolFiles(key, localDirectories);
    const std::string directory = FileSystem::gGetDirectory(modulePath);
    if (key.IsDatabase())
    {
        AddIfThere(FileSystem::gCombinePath(directory, FileSystem::gGetFileName(key.PDBName)), files);
        if (FileSystem::gIsAbsolutePath(key.PDBName))
            AddIfThere(key.PDBName, files);
        return files;
    }
    AddByBuildID(key, cSystemDirectory, files);
    const std::string name = FileSystem::gGetFileName(modulePath) + ".debug";
    AddIfThere(FileSystem::gCombinePath(directory, name), files);
    AddIfThere(FileSystem::gCombinePath(directory, ".debug/" + name), files);
    AddIfThere(FileSystem::gCombinePath(cSystemDirectory + directory, name), files);
    return files;
}

std::vector<std::string> gListLocalSymbolFiles(const PDBKey& key, const std::vector<std::string>& localDirectories)
{
    std::vector<std::string> files;
    const std::string name = FileSystem::gGetFileName(key.PDBName);
    for (const std::string& directory : localDirectories)
    {
        if (!key.IsDatabase())
            AddByBuildID(key, directory, files);
        AddIfThere(FileSystem::gCombinePath(directory, key.IsDatabase() ? name : name + ".debug"), files);
    }
    return files;
}

bool gIsOlderThanAny(const std::string& path, const std::vector<std::string>& files)
{
    int64_t written = 0;
    return FileSystem::gGetChangeTime(path, written) && std::ranges::any_of(files, [written](const std::string& file) {
        int64_t changed = 0;
        return FileSystem::gGetChangeTime(file, changed) && changed > written;
    });
}

}
