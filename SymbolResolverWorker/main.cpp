#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <vector>

#include "SymbolResolverWorker/ProcessGuard.h"
#include "SymbolResolverWorker/Worker.h"
#include "SymbolResolverWorker/WorkerOptions.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace
{

/// What the process that started this one puts into its log, line by line.
void WriteLine(const char* line, void*)
{
    std::fputs(line, stdout);
    std::fflush(stdout);
}

Symbols::Worker* sWorker = nullptr;
/// What an answer is made of when nothing else is left.
std::unique_ptr<std::vector<char>> sReserve;

void GiveUpForMemory()
{
    std::set_new_handler(nullptr);
    sReserve.reset();
    sWorker->GiveUp("The symbols need more memory than a worker may have");
}

}

int main(int argc, char** argv)
{
    Symbols::gGuardProcess();
    Utility::gSetTraceSinks({{&WriteLine, nullptr}});

    Symbols::WorkerOptions options;
    Utility::Result result;
    const auto arguments = std::span<const char* const>{argv, static_cast<std::size_t>(argc)}.subspan(1);
    if (arguments.size() == 1 && std::string_view{arguments[0]} == "--help")
    {
        std::fputs(Symbols::WorkerOptions::cUsage, stdout);
        return 0;
    }
    if (!options.Parse(arguments, result))
    {
        std::fprintf(stderr, "SymbolResolverWorker: %s\n\n%s", result.GetEntries().back().mMessage.c_str(),
            Symbols::WorkerOptions::cUsage);
        return 2;
    }
    if (options.mReportsCrashes)
        Symbols::gReportCrashes(options.mLogFilePath);

    Symbols::JobLimits limits;
    if (options.mJobTime.count() > 0)
        limits = {options.mJobTime, options.mJobTime,
            std::min<Symbols::JobControl::Clock::duration>(options.mJobTime, limits.mGrace)};
    Symbols::Worker worker{limits};
    sWorker = &worker;
    sReserve = std::make_unique<std::vector<char>>(1 << 20);
    std::set_new_handler(&GiveUpForMemory);
    if (worker.Serve(options.mServerAddress, options.mServerPort))
        return 0;
    Utility::gTrace("There is no connection to %s, port %d", options.mServerAddress.c_str(), options.mServerPort);
    return 1;
}
