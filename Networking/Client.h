#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "Networking/Frame.h"
#include "Networking/MessageSender.h"
#include "Networking/Socket.h"
#include "Networking/SocketWait.h"
#include "System/Mutex.h"

namespace Networking
{

/// The far end of a `Server`: what a process that was started uses to talk to the one that started it. One thread
/// connects and receives; any may send.
///
///     Client client;
///     if (client.Connect(address, port))
///         while (const auto message = client.Receive())
///             ...
class Client : public MessageSender
{
public:
    [[nodiscard]] bool Connect(const std::string& address, uint16_t port);

    /// The next message; waits for it. Empty once the server has gone, `Disconnect` was called or what arrives cannot
    /// be messages: nothing comes any more then. The payload lives until the next call.
    [[nodiscard]] std::optional<Frame> Receive();

    /// Waits until the system has taken the message. Once the server has gone it is lost.
    void Send(uint8_t id, const void* data, uint32_t length) override EXCLUDES(mSendLock);

    /// Ends the connection: `Receive` and `Send` return on the threads that are in them. Any thread.
    void Disconnect();

    bool IsConnected() const { return mIsConnected.load(); }

private:
    bool SendAll(std::span<const std::byte> bytes) REQUIRES(mSendLock);

    Socket mSocket; ///< constant while connected
    System::WakeUp mDisconnected;
    std::atomic<bool> mIsConnected = false;
    FrameReader mReader; ///< of the receiving thread
    System::Mutex mSendLock;
};

}
