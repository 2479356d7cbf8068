#pragma once

#include <string>
#include <string_view>

namespace System
{
/// The number of processors that this process may run on, at least 1.
[[nodiscard]] int gGetNumProcessors();

/// The system's text, in the user's language, for the error that the calling thread's last failed system call left;
/// empty when there is none. Ask at once: any call in between may leave another error.
[[nodiscard]] std::string gGetLastErrorMessage();

/// The variable's value, or empty.
[[nodiscard]] std::string gGetEnvironmentVariable(const std::string& name);

/// Whether the user most likely sits at another machine: on Linux, when the process descends from an SSH login
/// (SSH_CONNECTION is set) or draws on a forwarded or remote X display (`gIsRemoteDisplay` of DISPLAY).
[[nodiscard]] bool gIsRemoteSession();

/// Whether the X display name leads through the network: it has a host, as "localhost:10.0" has, which is how SSH
/// forwards a display, and ":0", "unix:0" and a socket path have not.
[[nodiscard]] bool gIsRemoteDisplay(std::string_view display);
}
