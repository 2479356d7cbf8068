#include "Utility/Format.h"

#include <array>
#include <cstdio>

namespace Utility
{
std::string gFormat(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = gFormatV(format, arguments);
    va_end(arguments);
    return text;
}

std::string gFormatV(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    std::array<char, 256> buffer;
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    std::string text;
    if (length >= 0 && static_cast<std::size_t>(length) < buffer.size())
    {
        text.assign(buffer.data(), static_cast<std::size_t>(length));
    }
    else if (length >= 0)
    {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}
}
