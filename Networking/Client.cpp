#include "Networking/Client.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Networking
{

namespace
{

constexpr std::size_t cFirstPiece = 4096;

}

bool Client::Connect(const std::string& address, uint16_t port)
{
    mReader.Clear();
    mDisconnected.Reset();
    mSocket = Socket::sConnect(address, port);
    mIsConnected = mSocket.IsValid() && mDisconnected.IsValid();
    return mIsConnected;
}

std::optional<Frame> Client::Receive()
{
    while (mIsConnected)
    {
        if (const std::optional<Frame> frame = mReader.Next())
            return frame;
        if (mReader.IsBroken())
            break;
        const std::optional<std::size_t> count = mSocket.Receive(mReader.GetSpace());
        if (!count)
            break;
        mReader.Commit(*count);
        if (*count == 0 && gWait(mSocket, EDirection::Receive, mDisconnected) == EWait::Woken)
            break;
    }
    Disconnect();
    return std::nullopt;
}

void Client::Send(uint8_t id, const void* data, uint32_t length)
{
    const uint64_t header = gMakeHeader(id, length);
    const std::span<const std::byte> payload{static_cast<const std::byte*>(data), data != nullptr ? length : 0};
    // The header goes with the beginning of the payload, so that a short message is sent in one piece.
    std::array<std::byte, cFirstPiece> first;
    const std::size_t copied = std::min(payload.size(), first.size() - cHeaderSize);
    std::memcpy(first.data(), &header, cHeaderSize);
    if (copied > 0)
        std::memcpy(first.data() + cHeaderSize, payload.data(), copied);
    const System::MutexLock lock{mSendLock};
    if (!SendAll(std::span{first}.first(cHeaderSize + copied)) || !SendAll(payload.subspan(copied)))
        Disconnect();
}

bool Client::SendAll(std::span<const std::byte> bytes)
{
    while (!bytes.empty())
    {
        const std::optional<std::size_t> count = mIsConnected ? mSocket.Send(bytes) : std::nullopt;
        if (!count)
            return false;
        bytes = bytes.subspan(*count);
        if (*count == 0 && gWait(mSocket, EDirection::Send, mDisconnected) == EWait::Woken)
            return false;
    }
    return true;
}

void Client::Disconnect()
{
    mIsConnected = false;
    mSocket.Shutdown();
    mDisconnected.Set();
}

}
