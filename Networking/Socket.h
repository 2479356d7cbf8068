#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Networking
{

/// One end of a TCP connection on this machine, or what listens for one. It never blocks: `gWait` waits. Closed at the
/// end of the object, and in a process that is started. One thread may send while another one receives.
class Socket
{
public:
    Socket() = default;
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// Listens on 127.0.0.1, at a port that the system picks. Invalid when that fails.
    [[nodiscard]] static Socket sListen();
    /// Connects to an IPv4 address in numbers; waits until that has worked or failed. Invalid when it fails.
    [[nodiscard]] static Socket sConnect(const std::string& address, uint16_t port);

    /// Of a listening socket: the next peer. Invalid when there is none.
    [[nodiscard]] Socket Accept() const;

    bool IsValid() const { return mDescriptor >= 0; }
    void Close();
    /// Ends the connection for both ends; the object stays as it is, for threads that are about to use it.
    void Shutdown() const;

    /// The number of bytes that have been moved, 0 when none can be without waiting. Empty when the connection is over:
    /// the peer has gone, or it broke.
    [[nodiscard]] std::optional<std::size_t> Receive(std::span<std::byte> target) const;
    [[nodiscard]] std::optional<std::size_t> Send(std::span<const std::byte> bytes) const;

    /// Ours and the peer's; 0 when there is none.
    uint16_t GetPort() const;
    uint16_t GetPeerPort() const;

    /// Whether the other end of this connection, which must be on this machine, is open in that process.
    bool IsPeerOf(uint32_t processID) const;

    /// For what waits on it.
    int GetDescriptor() const { return mDescriptor; }

private:
    explicit Socket(int descriptor) : mDescriptor{descriptor} {}

    int mDescriptor = -1;
};

}
