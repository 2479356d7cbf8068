#include "Networking/Server.h"

#include "System/ThreadName.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Networking
{

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto cConnectionWait = 2500ms;
/// What was taken before `Stop` may still go out; a peer that does not read must not hold that up.
constexpr auto cLastSendWait = 250ms;
/// What a peer had sent when it ended; one that goes on sending must not hold up the end.
constexpr std::size_t cMostAfterStop = 16 << 20;
/// Until the next try when the system has nothing to listen or to accept with.
constexpr auto cRetryPause = 100ms;

}

Server::Server(std::string name) : mName{std::move(name)} {}

Server::~Server()
{
    Stop();
}

bool Server::Start()
{
    const System::MutexLock lock{mRunLock};
    if (mStarted)
        return true;
    mReceiveWakeUp.Reset();
    Listen();
    if (!mListener.IsValid() || !mReceiveWakeUp.IsValid() || !mSendWakeUp.IsValid())
    {
        mListener.Close();
        mPort = 0;
        return false;
    }
    mStopReceiving = false;
    {
        const System::MutexLock connectionLock{mConnectionLock};
        mIsRunning = true;
    }
    mReceiveThread = std::thread{[this] {
        RunReceiving();
    }};
    mStarted = true;
    return true;
}

void Server::Stop()
{
    const System::MutexLock lock{mRunLock};
    if (!mStarted)
        return;
    {
        const System::MutexLock connectionLock{mConnectionLock};
        mIsRunning = false;
        mConnectionChanged.NotifyAll();
    }
    mStopReceiving = true;
    // The receiving thread itself may be the sender that waits, in a handler.
    StopSending();
    mReceiveWakeUp.Set();
    mReceiveThread.join();
    mStarted = false;
}

void Server::SetPeerProcess(uint32_t processID)
{
    mPeerProcess = processID;
    mReceiveWakeUp.Set();
}

bool Server::WaitForConnection()
{
    const auto end = Clock::now() + cConnectionWait;
    const System::MutexLock lock{mConnectionLock};
    while (mIsRunning && !mIsConnected)
    {
        if (!mConnectionChanged.WaitUntil(mConnectionLock, end))
            break;
    }
    return mIsRunning && mIsConnected;
}

bool Server::IsConnected() const
{
    const System::MutexLock lock{mConnectionLock};
    return mIsRunning && mIsConnected;
}

void Server::Send(uint8_t id, const void* data, uint32_t length)
{
    mSendBuffer.Send(id, data, length);
}

EventSubscription Server::Subscribe(uint8_t id, Handler handler)
{
    const System::RecursiveMutexLock lock{mHandlersLock};
    std::unique_ptr<MessageEvent>& event = mHandlers[id];
    if (event == nullptr)
        event = std::make_unique<MessageEvent>();
    return event->Subscribe(std::move(handler));
}

EventSubscription Server::SubscribeToDisconnect(std::function<void()> handler)
{
    return mDisconnectEvent.Subscribe(std::move(handler));
}

void Server::RunReceiving()
{
    System::gSetThreadName(mName + " - Receive");
    while (!mStopReceiving)
    {
        if (mClient.IsValid())
        {
            if (!ReceiveMessages())
            {
                Disconnect();
                Listen();
                mDisconnectEvent.Fire();
            }
        }
        else if (!mListener.IsValid())
        {
            static_cast<void>(gWait({}, EDirection::Receive, mReceiveWakeUp, cRetryPause));
            mReceiveWakeUp.Reset();
            Listen();
        }
        else
            AcceptPeer();
    }
    ReceiveRest();
    Disconnect();
    mListener.Close();
    mPort = 0;
}

void Server::Listen()
{
    mListener = Socket::sListen();
    mPort = mListener.GetPort();
    mHasRefused = false;
}

void Server::AcceptPeer()
{
    // Nobody is let in before it is known whom to let in: the listener is not looked at.
    const Socket nobody;
    const Socket& awaited = mPeerProcess == cNoProcess ? nobody : mListener;
    if (gWait(awaited, EDirection::Receive, mReceiveWakeUp) == EWait::Woken)
    {
        mReceiveWakeUp.Reset();
        return;
    }
    Socket client = mListener.Accept();
    const uint32_t process = mPeerProcess;
    if (!client.IsValid())
    {
        // The peer has gone again, or there are no descriptors left: then the listener stays ready all the time.
        static_cast<void>(gWait({}, EDirection::Receive, mReceiveWakeUp, cRetryPause));
    }
    else if (process == cAnyProcess || client.IsPeerOf(process))
        Connect(std::move(client));
    else if (!std::exchange(mHasRefused, true))
    {
        // Once: whoever tries again and again is not to fill the log.
        Utility::gTrace("%s refused a connection from port %u, which does not belong to process %u", mName.c_str(),
            unsigned{client.GetPeerPort()}, process);
    }
}

void Server::Connect(Socket client)
{
    mListener.Close();
    mClient = std::move(client);
    mSendWakeUp.Reset();
    mDropUnsent = false;
    mSendBuffer.Open();
    // `Stop` may have closed them already.
    if (mStopReceiving)
        StopSending();
    mSendThread = std::thread{[this] {
        RunSending();
    }};
    SetConnected(true);
}

void Server::StopSending()
{
    mSendBuffer.Close();
    mSendWakeUp.Set();
}

bool Server::ReceiveMessages()
{
    const std::optional<std::size_t> count = mClient.Receive(mReader.GetSpace());
    if (!count)
        return false;
    if (*count == 0)
    {
        if (gWait(mClient, EDirection::Receive, mReceiveWakeUp) == EWait::Woken)
            mReceiveWakeUp.Reset();
        return true;
    }
    return TakeMessages(*count);
}

void Server::ReceiveRest()
{
    for (std::size_t received = 0; mClient.IsValid() && received < cMostAfterStop;)
    {
        const std::optional<std::size_t> count = mClient.Receive(mReader.GetSpace());
        if (!count || *count == 0 || !TakeMessages(*count))
            return;
        received += *count;
    }
}

bool Server::TakeMessages(std::size_t count)
{
    mReader.Commit(count);
    while (const std::optional<Frame> frame = mReader.Next())
        Dispatch(*frame);
    if (mReader.IsBroken())
        Utility::gTrace("%s lets go of a peer that announced more than %u bytes", mName.c_str(), cMaxPayload);
    return !mReader.IsBroken();
}

void Server::Dispatch(const Frame& frame)
{
    const System::RecursiveMutexLock lock{mHandlersLock};
    if (MessageEvent* const event = mHandlers[frame.mID].get())
    {
        Utility::InputMemoryStream stream{frame.mPayload};
        event->Fire(stream);
    }
}

void Server::Disconnect()
{
    if (!mClient.IsValid())
        return;
    SetConnected(false);
    mDropUnsent = !mStopReceiving;
    StopSending();
    mSendThread.join();
    mClient.Close();
    mReader.Clear();
}

void Server::SetConnected(bool isConnected)
{
    const System::MutexLock lock{mConnectionLock};
    mIsConnected = isConnected;
    mConnectionChanged.NotifyAll();
}

void Server::RunSending()
{
    System::gSetThreadName(mName + " - Send");
    bool isSendable = true;
    while (true)
    {
        const std::span<const std::byte> bytes = mSendBuffer.Take();
        if (bytes.empty())
            return;
        // When the connection breaks the rest is lost; the receiving thread is the one that notices.
        isSendable = isSendable && SendAll(bytes);
    }
}

bool Server::SendAll(std::span<const std::byte> bytes)
{
    auto end = Clock::time_point::max();
    while (!bytes.empty())
    {
        const std::optional<std::size_t> count = mClient.Send(bytes);
        if (!count)
            return false;
        bytes = bytes.subspan(*count);
        if (*count > 0)
            continue;
        const bool isEnding = end != Clock::time_point::max();
        if (!isEnding && gWait(mClient, EDirection::Send, mSendWakeUp) == EWait::Woken)
            end = Clock::now() + cLastSendWait;
        else if (isEnding)
        {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
            if (mDropUnsent || left <= 0ms || gWait(mClient, EDirection::Send, left) == EWait::TimedOut)
                return false;
        }
    }
    return true;
}

}
