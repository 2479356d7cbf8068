#include "ProfilerLib/settings/SymbolSettings.h"

#include "ProfilerLib/settings/DefaultDirectories.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Hash.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

namespace Profiler
{

const RTTI::TypeHandle& SymbolSettings::GetType() const
{
    return RTTI::gTypeOf<SymbolSettings>();
}

bool SymbolSettings::PostLoad(Utility::Result& result)
{
    SetSymbolCacheDirectory(mSymbolCacheDirectory);
    return result.Check(!mSymbolCacheDirectory.empty(), 0, "Symbol cache directory is empty") &&
           result.Check(FileSystem::gCreateDirectoryTree(mSymbolCacheDirectory), 0,
               "Unable to create symbol cache directory %s", mSymbolCacheDirectory.c_str()) &&
           result.Check(!CaptureTargetDirectory.empty(), 0, "Capture target directory is empty") &&
           result.Check(FileSystem::gCreateDirectoryTree(CaptureTargetDirectory), 0,
               "Unable to create capture target directory %s", CaptureTargetDirectory.c_str());
}

void SymbolSettings::ResetToDefaults()
{
    mSymbolCacheDirectory = gFindDefaultSymbolCacheDirectory();
    CaptureTargetDirectory = gFindDefaultCaptureDirectory();
    SetSymbolCacheDirectory(mSymbolCacheDirectory);
}

void SymbolSettings::SetSymbolCacheDirectory(const std::string& path)
{
    mSymbolCacheDirectory = FileSystem::gGetNativePath(path);
}

std::vector<std::string> SymbolSettings::GetSymbolSearchPaths() const
{
    std::vector<std::string> paths;
    if (UseMicrosoftSymbolServers)
        paths.emplace_back(cPublicSymbolServer);
    for (const SymbolLocation& location : SymbolLocations)
    {
        if (location.Enabled)
            paths.push_back(location.Name);
    }
    return paths;
}

std::vector<std::string> SymbolSettings::GetLocalSymbolDirectories() const
{
    std::vector<std::string> paths = GetSymbolSearchPaths();
    std::erase_if(paths, [](const std::string& path) { return IsSymbolServer(path); });
    return paths;
}

std::string SymbolSettings::GetSymbolServerPath() const
{
    std::string servers;
    for (const std::string& path : GetSymbolSearchPaths())
    {
        if (IsSymbolServer(path))
            servers += Utility::gFormat(
                "%ssrv*%s*%s", servers.empty() ? "" : ";", mSymbolCacheDirectory.c_str(), path.c_str());
    }
    return servers;
}

uint64_t SymbolSettings::GetHash() const
{
    std::string text = mSymbolCacheDirectory;
    for (const std::string& path : GetSymbolSearchPaths())
        text += path;
    return Utility::gXXH64(text);
}

bool SymbolSettings::IsServerAddress(std::string_view location)
{
    return location.starts_with("http");
}

bool SymbolSettings::IsSymbolServer(const std::string& location)
{
    return IsServerAddress(location) || FileSystem::gFileExists(FileSystem::gCombinePath(location, "pingme.txt"));
}

}
