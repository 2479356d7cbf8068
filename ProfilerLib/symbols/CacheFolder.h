#pragma once

#include <string>

#include "Utility/DirectoryLock.h"

namespace Utility
{
class Result;
}

namespace Profiler
{

/// A folder of the symbol cache while somebody writes into it. Writers of all processes share it. Each writes a
/// temporary file beside the one that it makes, which a process that is killed leaves behind: that goes with the next
/// writer that finds nobody else there, or when the pool hears of the death. One thread.
class CacheFolder
{
public:
    /// Removes what was left behind, unless somebody writes there. The folder need not exist.
    static void sRemoveAbandoned(const std::string& path);

    /// Creates the folder when there is none, removes what was left behind, and from now on keeps others from doing
    /// that, until the end of the object.
    [[nodiscard]] bool Enter(const std::string& path, Utility::Result& result);

private:
    FileSystem::DirectoryLock mLock;
};

}
