#pragma once

#include <cstdarg>
#include <string>

namespace Utility
{
/// `sprintf` into a string of the length that is needed. A format that the C library refuses gives an empty string.
[[nodiscard, gnu::format(printf, 1, 2)]] std::string gFormat(const char* format, ...);
[[nodiscard, gnu::format(printf, 1, 0)]] std::string gFormatV(const char* format, std::va_list arguments);
}
