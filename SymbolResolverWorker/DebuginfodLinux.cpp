#include "SymbolResolverWorker/Debuginfod.h"

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

/// Seconds without anything from a server.
constexpr const char* cPatience = "5";
/// Seconds for one file.
constexpr const char* cLongest = "300";

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
    setenv(DEBUGINFOD_TIMEOUT_ENV_VAR, cPatience, 1);
    setenv(DEBUGINFOD_MAXTIME_ENV_VAR, cLongest, 1);
    setenv(DEBUGINFOD_RETRY_LIMIT_ENV_VAR, "1", 1);
    unsetenv(DEBUGINFOD_PROGRESS_ENV_VAR);
    unsetenv(DEBUGINFOD_VERBOSE_ENV_VAR);
    unsetenv(DEBUGINFOD_HEADERS_FILE_ENV_VAR);
}

int ReportProgress(debuginfod_client* client, long done, long total)
{
    const auto* control = static_cast<const JobControl*>(debuginfod_get_user_data(client));
    // Called often, and with zeros before anything has come.
    constexpr long cEvery = 16 << 20;
    if (total > cEvery && done % cEvery < (1 << 16))
        Utility::gTrace("Downloading a debug file: %ld of %ld KiB", done / 1024, total / 1024);
    return control->ShouldStop() ? 1 : 0;
}

}

bool gQueryDebuginfod(std::span<const std::byte> buildID, const std::vector<std::string>& locations,
    const std::string& cacheDirectory, std::string& path, const JobControl& control, Utility::Result& result)
{
    if (!FileSystem::gCreateDirectoryTree(cacheDirectory))
        return result.Fail(Serialization::Unspecified, "Unable to create %s", cacheDirectory.c_str());
    Configure(locations, cacheDirectory);
    const std::unique_ptr<debuginfod_client, EndClient> client{debuginfod_begin()};
    if (client == nullptr)
        return result.Fail(Serialization::Unspecified, "The client of debug file servers does not start");
    debuginfod_set_user_data(client.get(), const_cast<JobControl*>(&control));
    debuginfod_set_progressfn(client.get(), &ReportProgress);
    char* found = nullptr;
    const int file = debuginfod_find_debuginfo(
        client.get(), reinterpret_cast<const unsigned char*>(buildID.data()), static_cast<int>(buildID.size()), &found);
    if (!control.MayGoOn(result))
        return false;
    if (file < 0)
        return result.Fail(Serialization::FileNotFound, "No server has the debug file: %s", std::strerror(-file));
    close(file);
    path = found;
    std::free(found);
    return true;
}

}
