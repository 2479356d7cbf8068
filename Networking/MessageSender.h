#pragma once

#include <cstdint>

namespace Networking
{

/// Whatever messages can be sent through.
class MessageSender
{
public:
    virtual ~MessageSender() = default;

    /// Sends one message, whole, beside other senders. Nothing says whether the peer gets it; without a peer it is
    /// lost. With null for `data` only the header goes out, with `length` as given.
    virtual void Send(uint8_t id, const void* data, uint32_t length) = 0;
};

}
