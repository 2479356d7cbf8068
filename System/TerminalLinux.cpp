#include "System/Terminal.h"

#include <algorithm>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace System
{

namespace
{

int gGetDescriptor(EStandardStream stream)
{
    return stream == EStandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

}

bool gIsTerminal(EStandardStream stream)
{
    return isatty(gGetDescriptor(stream)) == 1;
}

int gGetTerminalWidth(EStandardStream stream)
{
    constexpr int cDefaultWidth = 80;
    constexpr int cLeastWidth = 20;
    constexpr int cLargestWidth = 1000;

    int width = 0;
    winsize size{};
    if (ioctl(gGetDescriptor(stream), TIOCGWINSZ, &size) == 0)
        width = size.ws_col;
    if (width == 0)
    {
        if (const char* columns = std::getenv("COLUMNS"))
            width = static_cast<int>(std::strtol(columns, nullptr, 10));
    }
    return width <= 0 ? cDefaultWidth : std::clamp(width, cLeastWidth, cLargestWidth);
}

}
