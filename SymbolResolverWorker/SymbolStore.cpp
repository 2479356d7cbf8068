#include "SymbolResolverWorker/SymbolStore.h"

#include <algorithm>

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

/// Takes the file `place` of a server's cache folder; when it is not there, or not wanted, one that is fetched to there
/// from below the server's address.
bool FetchFile(const SymbolServer& server, const std::string& place, const std::string& address,
    const JobControl& control, const TakeFile& take)
{
    const std::string path = FileSystem::gCombinePath(server.mCacheDirectory, place);
    if (!Profiler::gIsInsideSymbolCache(server.mCacheDirectory, path))
    {
        Utility::gTrace("%s leads out of the symbol cache, and is not used", path.c_str());
        return false;
    }
    if (FileSystem::gFileExists(path) && take(path))
        return true;
    const std::string root = server.mLocation.substr(0, server.mLocation.find_last_not_of('/') + 1);
    Utility::Result result;
    if (!gDownload(root + "/" + address, path, control, result))
    {
        Utility::gTrace("%s", result.ToString().c_str());
        return false;
    }
    if (take(path))
        return true;
    // Some answer each question with a page of their own.
    Utility::gTrace("What %s sent is not the file that it was asked for", root.c_str());
    FileSystem::gDeleteFile(path);
    return false;
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

bool gFetchPdb(const Profiler::PDBKey& key, const std::vector<SymbolServer>& servers, const JobControl& control,
    const TakeFile& take)
{
    const std::string place = gMakeStorePath(key);
    if (place.empty())
        return false;
    const std::string name = gEscapeForURL(FileSystem::gGetFileName(key.PDBName));
    const std::string address = name + "/" + MakeStoreFolder(key) + "/" + name;
    return std::ranges::any_of(servers, [&](const SymbolServer& server) {
        if (server.IsOnNetwork())
            return !control.ShouldStop() && FetchFile(server, place, address, control, take);
        const std::string path = FileSystem::gCombinePath(server.mLocation, place);
        return FileSystem::gFileExists(path) && take(path);
    });
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
    {
        std::unique_ptr<ElfFile> debugFile = gOpenDebugFile(path, image);
        // Some answer each question with a page of their own, which must not stay in the place of the file.
        if (debugFile == nullptr)
            FileSystem::gDeleteFile(path);
        return debugFile;
    }
    Utility::gTrace("%s", result.ToString().c_str());
    return nullptr;
}

}
