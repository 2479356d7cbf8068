#pragma once

#include <chrono>
#include <optional>

namespace Networking
{

class Socket;

/// Ends the waits of other threads. Stays set until it is reset.
class WakeUp
{
public:
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// False when the system had nothing left to make it of.
    bool IsValid() const { return mDescriptor >= 0; }
    void Set();
    void Reset();

    /// For what waits on it.
    int GetDescriptor() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};

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
[[nodiscard]] EWait gWait(const Socket& socket, EDirection direction, const WakeUp& wakeUp,
    std::optional<std::chrono::milliseconds> limit = std::nullopt);

/// The same for a thread that nobody wakes.
[[nodiscard]] EWait gWait(
    const Socket& socket, EDirection direction, std::optional<std::chrono::milliseconds> limit = std::nullopt);

}
