#include "System/Platform.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sched.h>
#include <unistd.h>

int System::gGetNumProcessors()
{
    // The processors that are allowed to us, not all that the machine has: a container is often given a few of many.
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (sched_getaffinity(0, sizeof(processors), &processors) == 0 && CPU_COUNT(&processors) > 0)
    {
        return CPU_COUNT(&processors);
    }
    // More processors than the fixed set holds.
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

std::string System::gGetLastErrorMessage()
{
    const int error = errno;
    if (error == 0)
    {
        return {};
    }
    char buffer[256];
    return strerror_r(error, buffer, sizeof(buffer));
}

std::string System::gGetEnvironmentVariable(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? value : "";
}

bool System::gIsRemoteSession()
{
    return !gGetEnvironmentVariable("SSH_CONNECTION").empty() || gIsRemoteDisplay(gGetEnvironmentVariable("DISPLAY"));
}

bool System::gIsRemoteDisplay(std::string_view display)
{
    const size_t colon = display.rfind(':');
    if (colon == std::string_view::npos || display.starts_with('/'))
    {
        return false;
    }
    const std::string_view host = display.substr(0, colon);
    return !host.empty() && host != "unix";
}
