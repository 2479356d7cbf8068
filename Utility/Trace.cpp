#include "Utility/Trace.h"

#include "Utility/TimeFormat.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace Utility
{
namespace
{
/// Never destroyed: what runs at the very end of the program may still trace.
std::vector<TraceSink>& Sinks()
{
    static auto& sinks = *new std::vector<TraceSink>();
    return sinks;
}
}

void gSetTraceSinks(const std::vector<TraceSink>& sinks)
{
    Sinks() = sinks;
}

const std::vector<TraceSink>& gGetTraceSinks()
{
    return Sinks();
}

void gTrace(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    gTraceV(format, arguments);
    va_end(arguments);
}

void gTraceV(const char* format, std::va_list arguments)
{
    const std::vector<TraceSink>& sinks = Sinks();
    if (sinks.empty())
    {
        std::fputs("Attempt to trace before tracing is initialized\n", stderr);
        return;
    }

    // On the stack, so that a line needs no memory unless it is long and nothing is tied to the life of a thread.
    std::array<char, 1024> buffer;
    std::unique_ptr<char[]> longBuffer;
    char* line = buffer.data();
    const std::string time = gFormatLocalTime("[%H:%M:%S]: ");
    std::memcpy(line, time.data(), time.size());

    std::va_list again;
    va_copy(again, arguments);
    // One byte behind the message is for the line feed.
    const std::size_t space = buffer.size() - time.size() - 1;
    const auto length =
        static_cast<std::size_t>(std::max(0, std::vsnprintf(line + time.size(), space, format, arguments)));
    if (length >= space)
    {
        longBuffer = std::make_unique_for_overwrite<char[]>(time.size() + length + 2);
        line = longBuffer.get();
        std::memcpy(line, time.data(), time.size());
        std::vsnprintf(line + time.size(), length + 1, format, again);
    }
    va_end(again);
    std::memcpy(line + time.size() + length, "\n", 2);

    for (const TraceSink& sink : sinks)
    {
        sink.mFunction(line, sink.mContext);
    }
}
}
