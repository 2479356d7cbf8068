#include "SymbolResolverWorker/ImageFinder.h"

#include <filesystem>

#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Text.h"

namespace Symbols
{

namespace
{

constexpr std::size_t cMostPaths = 16;

/// Adds what a folder has by that name, in any case.
void AddEntries(const std::string& directory, const std::string& name, std::vector<std::string>& paths)
{
    const std::string exact = FileSystem::gCombinePath(directory, name);
    const bool hasExact = FileSystem::gFileExists(exact);
    if (hasExact)
        paths.push_back(exact);
    std::error_code error;
    for (std::filesystem::directory_iterator entry{directory, error}, end; !error && entry != end;
         entry.increment(error))
    {
        const std::string found = entry->path().filename().string();
        if (paths.size() < cMostPaths && Utility::gToLower(found) == Utility::gToLower(name) &&
            !(hasExact && found == name))
            paths.push_back(FileSystem::gCombinePath(directory, found));
    }
}

}

std::vector<std::string> gFindIgnoringCase(const std::string& path)
{
    if (!FileSystem::gIsAbsolutePath(path))
        return {};
    std::vector<std::string> paths{"/"};
    std::vector<std::string> names;
    Utility::gSplit(path, names, "/");
    for (const std::string& name : names)
    {
        std::vector<std::string> next;
        for (const std::string& directory : paths)
            AddEntries(directory, name, next);
        paths = std::move(next);
    }
    return paths;
}

}
