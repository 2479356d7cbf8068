#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// Asks servers of debug files for that of a build-id, and gives the path of the copy that is kept in `cacheDirectory`.
/// Only these servers are asked, whatever the environment says. Gives up after seconds without an answer, and when the
/// job ends. Changes the environment: one thread of the process.
[[nodiscard]] bool gQueryDebuginfod(std::span<const std::byte> buildID, const std::vector<std::string>& locations,
    const std::string& cacheDirectory, std::string& path, const JobControl& control, Utility::Result& result);

}
