#include "ProfilerLib/symbols/SymbolCachePath.h"

#include <algorithm>
#include <cinttypes>
#include <filesystem>
#include <string_view>

#include "ProfilerLib/symbols/PDBKey.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Hash.h"
#include "Utility/Path.h"

namespace Profiler
{

namespace
{

/// A file system gives 255 bytes to a name, of which the extension takes some.
constexpr std::size_t cLongestName = 200;

bool IsAllowed(char character)
{
    constexpr std::string_view forbidden = ":*?\"<>|/\\\x7F";
    return static_cast<unsigned char>(character) >= ' ' && forbidden.find(character) == std::string_view::npos;
}

/// A name that is one step down and never up, whatever `text` is.
std::string MakeFileName(std::string_view text)
{
    std::string name = FileSystem::gGetFileName(text);
    std::ranges::replace_if(
        name, [](char character) { return !IsAllowed(character); }, '_');
    if (name.find_first_not_of('.') == std::string::npos)
        std::ranges::fill(name, '_');
    if (name.empty())
        return "_";
    if (name.size() <= cLongestName)
        return name;
    // What has been cut off still tells names apart.
    return name.substr(0, cLongestName) + Utility::gFormat("~%016" PRIX64, Utility::gFNV1a64(text));
}

std::string MakePath(const std::string& cacheDirectory, const PDBKey& key, const char* extension)
{
    const std::string name = MakeFileName(key.PDBName);
    return Utility::gFormat("%s/%s/%s%X/%s.%s", cacheDirectory.c_str(), name.c_str(), key.PDBGUID.ToString().c_str(),
        static_cast<unsigned>(key.PDBAge), FileSystem::gGetBaseName(name).c_str(), extension);
}

}

std::string gMakeSymbolCachePath(const std::string& cacheDirectory, const PDBKey& key)
{
    return MakePath(cacheDirectory, key, "symcache");
}

std::string gMakeSourceLinesPath(const std::string& cacheDirectory, const PDBKey& key)
{
    return MakePath(cacheDirectory, key, "symlines");
}

bool gIsInsideSymbolCache(const std::string& cacheDirectory, const std::string& path)
{
    const auto isLink = [](const std::string& part) {
        std::error_code ignored;
        return std::filesystem::is_symlink(std::filesystem::symlink_status(part, ignored));
    };
    for (std::string part = path; part.size() > cacheDirectory.size(); part = FileSystem::gGetDirectory(part))
    {
        if (isLink(part))
            return false;
    }
    return path.starts_with(cacheDirectory + "/");
}

}
