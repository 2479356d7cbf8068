#include "tests/soak/ProcessFigures.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace Tests
{

namespace
{

/// The number behind "name:" at the start of a line.
uint64_t ReadNumber(const char* path, std::string_view name)
{
    std::ifstream file{path};
    for (std::string line; std::getline(file, line);)
    {
        const std::size_t colon = line.find(':');
        if (std::string_view{line}.substr(0, colon) == name)
            return std::strtoull(line.c_str() + colon + 1, nullptr, 10);
    }
    return 0;
}

}

ProcessFigures gGetProcessFigures()
{
    ProcessFigures figures;
    // What "status" says of memory is an estimate that may be off by megabytes.
    figures.MemoryKiB = ReadNumber("/proc/self/smaps_rollup", "Anonymous");
    figures.NumThreads = static_cast<int>(ReadNumber("/proc/self/status", "Threads"));
    const std::filesystem::directory_iterator descriptors{"/proc/self/fd"};
    // One of them is that of the listing itself.
    figures.NumDescriptors = static_cast<int>(std::distance(begin(descriptors), end(descriptors))) - 1;
    return figures;
}

}
