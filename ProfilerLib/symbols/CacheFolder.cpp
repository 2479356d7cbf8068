#include "ProfilerLib/symbols/CacheFolder.h"

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "Serialization/Error.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

using Lock = FileSystem::DirectoryLock;
using namespace std::chrono_literals;

/// Whoever has the folder alone lists it and lets go; this is far more than that takes.
constexpr int cMostTries = 200;

std::vector<std::string> ListTemporaryFiles(const std::string& path)
{
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry{path, error}, end; !error && entry != end; entry.increment(error))
    {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (FileSystem::gStripTemporaryName(name).size() < name.size() &&
            entry->symlink_status(ignored).type() == std::filesystem::file_type::regular)
            files.push_back(entry->path().string());
    }
    return files;
}

}

void CacheFolder::sRemoveAbandoned(const std::string& path)
{
    // Looked at first, since there is next to never anything: the lock would be in the way of writers.
    if (ListTemporaryFiles(path).empty())
        return;
    Lock lock;
    if (lock.TryAcquire(path) != Lock::EOutcome::Acquired)
        return;
    for (const std::string& file : ListTemporaryFiles(path))
    {
        if (FileSystem::gDeleteFile(file))
            Utility::gTrace("Deleted %s, which a process that was killed had left", file.c_str());
    }
}

bool CacheFolder::Enter(const std::string& path, Utility::Result& result)
{
    const std::string folder = path.empty() ? "." : path;
    FileSystem::FileError error;
    if (!FileSystem::gCreateDirectoryTree(folder, error))
        return result.FailText(Serialization::Unspecified, error.ToString());
    sRemoveAbandoned(folder);
    // Where a file system knows no locks, nobody gets the folder alone and nothing is ever removed.
    for (int i = 0; i < cMostTries && mLock.TryAcquire(folder, Lock::EMode::Shared) == Lock::EOutcome::InUse; ++i)
        std::this_thread::sleep_for(1ms);
    return true;
}

}
