#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "SymbolResolverWorker/HttpDownload.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// Asks servers of debug files for that of a build-id, and gives the path of the copy that is kept in `cacheDirectory`.
/// Only these servers are asked, whatever the environment says, all at once. Gives up when `patience` is at its end,
/// but for a connection, which is waited for as for the first bytes; and within a second or so when the job is. Changes
/// the environment: one thread of the process.
[[nodiscard]] bool gQueryDebuginfod(std::span<const std::byte> buildID, const std::vector<std::string>& locations,
    const std::string& cacheDirectory, std::string& path, const JobControl& control, Utility::Result& result,
    const DownloadPatience& patience = {});

}
