#include "SymbolResolverWorker/Debuginfod.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <elfutils/debuginfod.h>
#include <unistd.h>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/FileSystem.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

struct EndClient
{
    void operator()(debuginfod_client* client) const { debuginfod_end(client); }
};

/// The library takes what it is told from the environment.
void Configure(const std::vector<std::string>& locations, const std::string& cacheDirectory)
{
    std::string urls;
    for (const std::string& location : locations)
        urls += (urls.empty() ? "" : " ") + location;
    setenv(DEBUGINFOD_URLS_ENV_VAR, urls.c_str(), 1);
    setenv(DEBUGINFOD_CACHE_PATH_ENV_VAR, cacheDirectory.c_str(), 1);
    // Its own limit is a mean of 100 KiB a second, and knows nothing of connections.
    setenv(DEBUGINFOD_TIMEOUT_ENV_VAR, "0", 1);
    unsetenv(DEBUGINFOD_MAXTIME_ENV_VAR);
    setenv(DEBUGINFOD_RETRY_LIMIT_ENV_VAR, "1", 1);
    unsetenv(DEBUGINFOD_PROGRESS_ENV_VAR);
    unsetenv(DEBUGINFOD_VERBOSE_ENV_VAR);
    unsetenv(DEBUGINFOD_HEADERS_FILE_ENV_VAR);
}

/// One question, which goes to all servers.
class Query
{
public:
    Query(const JobControl& control, const DownloadPatience& patience) : mControl{control}, mStallWatch{patience} {}

    bool IsStalled() const { return mStallWatch.IsStalled(); }

    /// Called with each piece that comes, and once a second when nothing does. Before a server has answered, `done`
    /// counts the calls.
    static int sReportProgress(debuginfod_client* client, long done, long total)
    {
        auto& self = *static_cast<Query*>(debuginfod_get_user_data(client));
        const auto time = JobControl::Clock::now();
        if (total > 0 && time >= self.mNextReport)
        {
            Utility::gTrace("Downloading a debug file: %ld of %ld KiB", done / 1024, total / 1024);
            self.mNextReport = time + std::chrono::seconds{2};
        }
        self.mStallWatch.Note(static_cast<uint64_t>(done));
        return self.mControl.ShouldStop() || self.IsStalled() ? 1 : 0;
    }

private:
    const JobControl& mControl;
    StallWatch mStallWatch;
    JobControl::Clock::time_point mNextReport = JobControl::Clock::now() + std::chrono::seconds{1};
};

}

bool gQueryDebuginfod(std::span<const std::byte> buildID, const std::vector<std::string>& locations,
    const std::string& cacheDirectory, std::string& path, const JobControl& control, Utility::Result& result,
    const DownloadPatience& patience)
{
    if (!FileSystem::gCreateDirectoryTree(cacheDirectory))
        return result.Fail(Serialization::Unspecified, "Unable to create %s", cacheDirectory.c_str());
    Configure(locations, cacheDirectory);
    const std::unique_ptr<debuginfod_client, EndClient> client{debuginfod_begin()};
    if (client == nullptr)
        return result.Fail(Serialization::Unspecified, "The client of debug file servers does not start");
    Query query{control, patience};
    debuginfod_set_user_data(client.get(), &query);
    debuginfod_set_progressfn(client.get(), &Query::sReportProgress);
    char* found = nullptr;
    const int file = debuginfod_find_debuginfo(
        client.get(), reinterpret_cast<const unsigned char*>(buildID.data()), static_cast<int>(buildID.size()), &found);
    if (!control.MayGoOn(result))
        return false;
    if (query.IsStalled())
        return result.Fail(Serialization::FileNotFound, "No server sends the debug file: too little came for too long");
    if (file < 0)
        return result.Fail(Serialization::FileNotFound, "No server has the debug file: %s", std::strerror(-file));
    close(file);
    path = found;
    std::free(found);
    return true;
}

}
