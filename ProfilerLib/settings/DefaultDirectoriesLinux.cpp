#include "ProfilerLib/settings/DefaultDirectories.h"

#include "System/Platform.h"
#include "Utility/Path.h"

namespace Profiler
{

namespace
{

/// The folder that the variable names, or that one in the user's home: as the XDG base directories are looked up. A
/// path that is not absolute does not count there.
std::string GetBaseDirectory(const char* variable, const char* inHome)
{
    if (std::string directory = System::gGetEnvironmentVariable(variable); FileSystem::gIsAbsolutePath(directory))
        return directory;
    const std::string home = System::gGetEnvironmentVariable("HOME");
    return FileSystem::gIsAbsolutePath(home) ? FileSystem::gCombinePath(home, inHome) : std::string();
}

std::string GetOwnDirectory(const std::string& base, const char* name)
{
    return base.empty() ? std::string() : FileSystem::gCombinePath(base, name);
}

}

std::string gFindDefaultCaptureDirectory()
{
    return GetOwnDirectory(GetBaseDirectory("XDG_DATA_HOME", ".local/share"), "quarkspindle/captures");
}

std::string gFindDefaultSymbolCacheDirectory()
{
    return GetOwnDirectory(GetBaseDirectory("XDG_CACHE_HOME", ".cache"), "quarkspindle/symbols");
}

}
