#pragma once

#include "System/WakeUp.h"

#include <chrono>
#include <optional>

namespace Networking
{

class Socket;

enum class EDirection
{
    Receive, ///< also that a listening socket has a peer to accept
    Send,
};

enum class EWait
{
    Ready, ///< the socket can be used, or it has failed and says so when it is used
    Woken, ///< comes before the others
    TimedOut,
};

/// Sleeps until the socket can be used. An invalid one never is, which makes this a pause that can be ended.
[[nodiscard]] EWait gWait(const Socket& socket, EDirection direction, const System::WakeUp& wakeUp,
    std::optional<std::chrono::milliseconds> limit = std::nullopt);

/// The same for a thread that nobody wakes.
[[nodiscard]] EWait gWait(
    const Socket& socket, EDirection direction, std::optional<std::chrono::milliseconds> limit = std::nullopt);

}
