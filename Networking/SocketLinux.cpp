#include "Networking/Socket.h"
#include "Networking/SocketWait.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Networking
{

namespace
{

/// Enough for the wait of one thread; strangers are turned away one by one and must not keep the right one out.
constexpr int cBacklog = 16;

bool WouldBlock()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

/// Messages are gathered before they are sent; the system need not wait for more.
void SendAtOnce(int descriptor)
{
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

uint16_t GetPort(int descriptor, decltype(&getsockname) getName)
{
    sockaddr_in address = {};
    socklen_t size = sizeof(address);
    if (descriptor < 0 || getName(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 0;
    return ntohs(address.sin_port);
}

int Poll(pollfd* descriptors, nfds_t count, std::optional<std::chrono::milliseconds> limit)
{
    using Clock = std::chrono::steady_clock;
    const auto end = limit ? Clock::now() + *limit : Clock::time_point::max();
    while (true)
    {
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const int milliseconds = limit ? static_cast<int>(std::max<int64_t>(remaining.count(), 0)) : -1;
        const int result = poll(descriptors, count, milliseconds);
        if (result >= 0 || errno != EINTR)
            return result;
    }
}

short GetEvents(EDirection direction)
{
    return direction == EDirection::Receive ? POLLIN : POLLOUT;
}

}

Socket::Socket(Socket&& other) noexcept : mDescriptor{std::exchange(other.mDescriptor, -1)} {}

Socket& Socket::operator=(Socket&& other) noexcept
{
    std::swap(mDescriptor, other.mDescriptor);
    return *this;
}

Socket::~Socket()
{
    Close();
}

void Socket::Close()
{
    if (mDescriptor >= 0)
        close(std::exchange(mDescriptor, -1));
}

void Socket::Shutdown() const
{
    shutdown(mDescriptor, SHUT_RDWR);
}

Socket Socket::sListen()
{
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool isListening =
        socket.IsValid() &&
        bind(socket.mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
        listen(socket.mDescriptor, cBacklog) == 0;
    if (!isListening)
        socket.Close();
    return socket;
}

Socket Socket::sConnect(const std::string& address, uint16_t port)
{
    sockaddr_in target = {};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &target.sin_addr) != 1)
        return {};
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    if (!socket.IsValid())
        return {};
    SendAtOnce(socket.mDescriptor);
    if (connect(socket.mDescriptor, reinterpret_cast<const sockaddr*>(&target), sizeof(target)) == 0)
        return socket;
    if (errno != EINPROGRESS && errno != EINTR)
        return {};
    pollfd waiting = {socket.mDescriptor, POLLOUT, 0};
    Poll(&waiting, 1, std::nullopt);
    int error = 0;
    socklen_t size = sizeof(error);
    const bool isConnected = getsockopt(socket.mDescriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
    return isConnected ? std::move(socket) : Socket{};
}

Socket Socket::Accept() const
{
    Socket socket{accept4(mDescriptor, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
    if (socket.IsValid())
        SendAtOnce(socket.mDescriptor);
    return socket;
}

std::optional<std::size_t> Socket::Receive(std::span<std::byte> target) const
{
    assert(!target.empty());
    const ssize_t count = recv(mDescriptor, target.data(), target.size(), 0);
    if (count > 0)
        return static_cast<std::size_t>(count);
    if (count < 0 && WouldBlock())
        return 0;
    return std::nullopt;
}

std::optional<std::size_t> Socket::Send(std::span<const std::byte> bytes) const
{
    const ssize_t count = send(mDescriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count >= 0)
        return static_cast<std::size_t>(count);
    if (WouldBlock())
        return 0;
    return std::nullopt;
}

uint16_t Socket::GetPort() const
{
    return Networking::GetPort(mDescriptor, &getsockname);
}

uint16_t Socket::GetPeerPort() const
{
    return Networking::GetPort(mDescriptor, &getpeername);
}

EWait gWait(const Socket& socket, EDirection direction, const System::WakeUp& wakeUp,
    std::optional<std::chrono::milliseconds> limit)
{
    // A descriptor below zero is passed over.
    std::array<pollfd, 2> waiting = {
        {{wakeUp.GetDescriptor(), POLLIN, 0}, {socket.GetDescriptor(), GetEvents(direction), 0}}};
    if (Poll(waiting.data(), waiting.size(), limit) == 0)
        return EWait::TimedOut;
    return waiting[0].revents != 0 ? EWait::Woken : EWait::Ready;
}

EWait gWait(const Socket& socket, EDirection direction, std::optional<std::chrono::milliseconds> limit)
{
    pollfd waiting = {socket.GetDescriptor(), GetEvents(direction), 0};
    return Poll(&waiting, 1, limit) == 0 ? EWait::TimedOut : EWait::Ready;
}

}
