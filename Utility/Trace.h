#pragma once

#include <cstdarg>
#include <vector>

namespace Utility
{
/// Takes finished log lines. It is called from any thread, from several at once, and must not trace itself.
struct TraceSink
{
    /// The line ends in a line feed and is valid during the call.
    void (*mFunction)(const char* line, void* context) = nullptr;
    void* mContext = nullptr;
};

/// Replaces the sinks of this image: the host and each plug-in have their own list. It is read without a lock, so this
/// is called at start-up, before any other thread traces.
void gSetTraceSinks(const std::vector<TraceSink>& sinks);
const std::vector<TraceSink>& gGetTraceSinks();

/// Writes one line to every sink, opened by the local time in brackets. Any thread. While there are no sinks the
/// message is lost, and standard error says so.
[[gnu::format(printf, 1, 2)]] void gTrace(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void gTraceV(const char* format, std::va_list arguments);
}
