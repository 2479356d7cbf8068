#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

namespace Utility
{
class Result;
}

namespace Symbols
{

/// The command line of the worker: what the process that starts it tells it.
struct WorkerOptions
{
    std::string mServerAddress; ///< where to connect to
    uint16_t mServerPort = 0;
    std::string mDataDirectory;
    std::string mLogFilePath; ///< empty for none
    bool mReportsCrashes = true;
    std::chrono::milliseconds mJobTime{0}; ///< for any job; 0 for what is usual

    /// What to tell a person who starts it.
    static const char* const cUsage;

    /// False with the reason for what is unknown, incomplete, or no number where one belongs. Address and port must be
    /// there.
    [[nodiscard]] bool Parse(std::span<const char* const> arguments, Utility::Result& result);
};

}
