#include "SymbolResolverWorker/WorkerOptions.h"

#include <charconv>
#include <string_view>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

bool ParsePort(std::string_view text, uint16_t& port)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc{} && end == text.data() + text.size() && port != 0;
}

}

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
        if (name != "--serverAddress" && name != "--serverPort" && name != "--dataDirectory" && name != "--logFilePath")
            return result.Fail(Serialization::Unspecified, "%s is not known here", arguments[i]);
        if (++i == arguments.size())
            return result.Fail(Serialization::Unspecified, "%s needs a value", arguments[i - 1]);
        const char* value = arguments[i];
        if (name == "--serverAddress")
            mServerAddress = value;
        else if (name == "--dataDirectory")
            mDataDirectory = value;
        else if (name == "--logFilePath")
            mLogFilePath = value;
        else if (!ParsePort(value, mServerPort))
            return result.Fail(Serialization::Unspecified, "\"%s\" is no port", value);
    }
    return result.Check(!mServerAddress.empty() && mServerPort != 0, Serialization::Unspecified,
        "--serverAddress and --serverPort are needed: this program is started by quarkspindle");
}

}
