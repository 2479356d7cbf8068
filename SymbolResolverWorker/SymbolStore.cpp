#include "SymbolResolverWorker/SymbolStore.h"

#include "ProfilerLib/settings/SymbolSettings.h"
#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/SymbolCachePath.h"
#include "SymbolResolverWorker/DebugFileFinder.h"
#include "SymbolResolverWorker/Debuginfod.h"
#include "SymbolResolverWorker/ElfFile.h"
#include "SymbolResolverWorker/HttpDownload.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

std::string MakeStoreFolder(const Profiler::PDBKey& key)
{
    std::string folder = key.PDBGUID.ToString();
    std::erase(folder, '-');
    return folder + Utility::gFormat("%X", static_cast<unsigned>(key.PDBAge));
}

}

std::string gMakeStorePath(const Profiler::PDBKey& key)
{
    const std::string name = FileSystem::gGetFileName(key.PDBName);
    constexpr std::size_t cLongestFileName = 255;
    const bool isName = !name.empty() && name != "." && name != ".." && name.size() <= cLongestFileName &&
                        name.find('\0') == std::string::npos && name.find(':') == std::string::npos;
    return isName ? name + "/" + MakeStoreFolder(key) + "/" + name : std::string{};
}

std::string gFetchPdb(const Profiler::PDBKey& key, const std::vector<SymbolServer>& servers, const JobControl& control)
{
    const std::string place = gMakeStorePath(key);
    if (place.empty())
        return {};
    const std::string name = gEscapeForURL(FileSystem::gGetFileName(key.PDBName));
    for (const SymbolServer& server : servers)
    {
        const std::string cached =
            FileSystem::gCombinePath(server.IsOnNetwork() ? server.mCacheDirectory : server.mLocation, place);
        if (server.IsOnNetwork() &&
            !Profiler::gIsInsideSymbolCache(cached.substr(0, cached.size() - place.size() - 1), cached))
        {
            Utility::gTrace("%s leads out of the symbol cache, and is not used", cached.c_str());
            continue;
        }
        if (FileSystem::gFileExists(cached))
            return cached;
        if (!server.IsOnNetwork())
            continue;
        Utility::Result result;
        const std::string url = server.mLocation + "/" + name + "/" + MakeStoreFolder(key) + "/" + name;
        if (gDownload(url, cached, control, result))
            return cached;
        Utility::gTrace("%s", result.ToString().c_str());
    }
    return {};
}

std::unique_ptr<ElfFile> gFetchDebugFile(
    const ElfFile& image, const std::vector<SymbolServer>& servers, const JobControl& control)
{
    const std::vector<std::byte> buildID = image.GetBuildID();
    std::vector<std::string> locations;
    std::string cacheDirectory;
    for (const SymbolServer& server : servers)
    {
        // It has program databases only, and is part of the settings that nobody has touched.
        if (!server.IsOnNetwork() || server.mLocation == Profiler::SymbolSettings::cPublicSymbolServer)
            continue;
        locations.push_back(server.mLocation);
        cacheDirectory = server.mCacheDirectory;
    }
    if (locations.empty() || buildID.empty())
        return nullptr;
    Utility::Result result;
    std::string path;
    if (gQueryDebuginfod(
            buildID, locations, FileSystem::gCombinePath(cacheDirectory, "debuginfod"), path, control, result))
        return gOpenDebugFile(path, image);
    Utility::gTrace("%s", result.ToString().c_str());
    return nullptr;
}

}
