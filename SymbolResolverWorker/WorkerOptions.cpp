#include "SymbolResolverWorker/WorkerOptions.h"

#include <charconv>
#include <string_view>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

template <class T>
bool ParsePositive(std::string_view text, T& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() && number > 0;
}

}

const char* const WorkerOptions::cUsage =
    "quarkspindle starts this program to read the symbols of binaries in a process of its own. There is nothing to be\n"
    "done with it by hand: see quarkspindle symbols --help.\n"
    "\n"
    "Usage: SymbolResolverWorker --serverAddress ADDRESS --serverPort PORT [OPTIONS]\n"
    "\n"
    "  --serverAddress ADDRESS  IPv4 address to connect to\n"
    "  --serverPort PORT        and port; it ends when the connection does\n"
    "  --dataDirectory DIR      the folder that it was started in\n"
    "  --logFilePath FILE       a file to which the report of a crash is added, if there is one\n"
    "  --noCrashReports         reports no crashes\n"
    "  --jobTime MILLISECONDS   how long a job may take, instead of 10 minutes for a conversion and 2 for other jobs\n";

bool WorkerOptions::Parse(std::span<const char* const> arguments, Utility::Result& result)
{
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string_view name = arguments[i];
        if (name == "--noCrashReports")
        {
            mReportsCrashes = false;
            continue;
        }
        if (name != "--serverAddress" && name != "--serverPort" && name != "--dataDirectory" &&
            name != "--logFilePath" && name != "--jobTime")
            return result.Fail(Serialization::Unspecified, "\"%s\" is no option", arguments[i]);
        if (++i == arguments.size())
            return result.Fail(Serialization::Unspecified, "%s needs a value", arguments[i - 1]);
        const char* value = arguments[i];
        uint32_t milliseconds = 0;
        if (name == "--serverAddress")
            mServerAddress = value;
        else if (name == "--dataDirectory")
            mDataDirectory = value;
        else if (name == "--logFilePath")
            mLogFilePath = value;
        else if (name == "--jobTime" && ParsePositive(value, milliseconds))
            mJobTime = std::chrono::milliseconds{milliseconds};
        else if (name == "--jobTime")
            return result.Fail(Serialization::Unspecified, "\"%s\" is no number of milliseconds", value);
        else if (!ParsePositive(value, mServerPort))
            return result.Fail(Serialization::Unspecified, "\"%s\" is no port", value);
    }
    return result.Check(!mServerAddress.empty() && mServerPort != 0, Serialization::Unspecified,
        "--serverAddress and --serverPort are needed");
}

}
