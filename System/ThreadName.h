#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace System
{
/// Names the calling thread for debuggers and tools. Where the platform's names are shorter (15 bytes on Linux), the
/// thread gets `gShortenThreadName` of it.
void gSetThreadName(const std::string& name);

/// `name` in at most `limit` bytes. A number at its end tells threads of one kind apart, so it survives, with the blank
/// before it, and the text in front of it is cut, between two characters of UTF-8: "Job Scheduler 12" becomes
/// "Job Schedule 12".
[[nodiscard]] std::string gShortenThreadName(std::string_view name, size_t limit);
}
