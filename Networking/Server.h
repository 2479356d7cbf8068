#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Networking/Frame.h"
#include "Networking/MessageSender.h"
#include "Networking/SendBuffer.h"
#include "Networking/Socket.h"
#include "Networking/SocketWait.h"
#include "System/Mutex.h"
#include "Utility/Event.h"
#include "Utility/InputMemoryStream.h"

namespace Networking
{

/// The message pipe between this process and one that it started: this side listens on 127.0.0.1, the other one
/// connects (`Client`). It has one peer at a time. When that goes, it listens again, on another port. All operations
/// may be called on any thread but the ones that the comment of `Stop` names.
///
/// Two threads of its own: one accepts, receives and calls the handlers; while there is a peer another one sends, so no
/// sender waits for the network before the buffers are full. A peer costs memory only for the bytes that it has sent.
class Server : public MessageSender
{
public:
    using Handler = std::function<void(Utility::InputMemoryStream&)>;

    static constexpr uint32_t cAnyProcess = 0xFFFFFFFF; ///< whoever connects first
    static constexpr uint32_t cNoProcess = 0;           ///< those who connect have to wait

    /// The threads get their names from `name`.
    explicit Server(std::string name);
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// False when it cannot listen; nothing is left open then. Does nothing when it runs already.
    [[nodiscard]] bool Start() EXCLUDES(mRunLock);

    /// Tells what has arrived, sends what has been taken so far, for a quarter of a second at most, lets go of the peer
    /// and of waiting senders and ends the threads. A handler must not call it, nor hold up a thread that does.
    void Stop() EXCLUDES(mRunLock);

    /// Only a connection from that process is accepted; others are closed at once. `cAnyProcess` at first. With
    /// `cNoProcess` before `Start` no one gets in before the process is there and its id is known.
    void SetPeerProcess(uint32_t processID);

    /// What the next peer is to connect to, in host order. It changes with each peer that goes; 0 while stopped.
    uint32_t GetPort() const { return mPort.load(); }

    /// Waits up to 2500 ms for a peer; says whether there is one. Ends at once when the server is stopped.
    [[nodiscard]] bool WaitForConnection() EXCLUDES(mConnectionLock);

    [[nodiscard]] bool IsConnected() const EXCLUDES(mConnectionLock);

    /// Without a peer the message is lost. Waits while the buffers are full.
    void Send(uint8_t id, const void* data, uint32_t length) override;

    /// The handler runs on the receiving thread, with a stream over the payload; it may send, but while it runs nothing
    /// is received. The end of a subscription waits for a handler that runs.
    [[nodiscard]] EventSubscription Subscribe(uint8_t id, Handler handler) EXCLUDES(mHandlersLock);

    /// Told on the receiving thread when the peer has gone or was let go, but not when the server is stopped.
    [[nodiscard]] EventSubscription SubscribeToDisconnect(std::function<void()> handler);

private:
    using MessageEvent = Event<Utility::InputMemoryStream&>;

    void RunReceiving();
    void Listen();
    void AcceptPeer();
    bool ReceiveMessages();
    void ReceiveRest();
    bool TakeMessages(std::size_t count);
    void Dispatch(const Frame& frame) EXCLUDES(mHandlersLock);
    void Connect(Socket client);
    void Disconnect();
    void SetConnected(bool isConnected) EXCLUDES(mConnectionLock);

    void RunSending();
    /// Lets go of waiting senders; the sending thread ends soon.
    void StopSending();
    bool SendAll(std::span<const std::byte> bytes);

    const std::string mName;

    Event<> mDisconnectEvent;
    System::RecursiveMutex mHandlersLock;
    std::array<std::unique_ptr<MessageEvent>, 256> mHandlers GUARDED_BY(mHandlersLock); ///< null before the first

    System::Mutex mRunLock; ///< one thread starts or stops
    bool mStarted GUARDED_BY(mRunLock) = false;
    std::thread mReceiveThread GUARDED_BY(mRunLock);

    std::atomic<bool> mStopReceiving = false;
    std::atomic<uint32_t> mPeerProcess = cAnyProcess;
    std::atomic<uint32_t> mPort = 0;
    System::WakeUp mReceiveWakeUp; ///< something of the above has changed

    mutable System::Mutex mConnectionLock;
    System::ConditionVariable mConnectionChanged;
    bool mIsRunning GUARDED_BY(mConnectionLock) = false;
    bool mIsConnected GUARDED_BY(mConnectionLock) = false;

    // Of the receiving thread; the sending thread uses the client too, and has ended before that changes.
    Socket mListener;
    Socket mClient;
    FrameReader mReader;
    bool mHasRefused = false; ///< since it began to listen
    std::thread mSendThread;

    SendBuffer mSendBuffer;
    std::atomic<bool> mDropUnsent = false; ///< the peer has gone
    System::WakeUp mSendWakeUp;            ///< the sending thread is to end
};

}
