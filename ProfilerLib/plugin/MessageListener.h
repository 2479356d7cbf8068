#pragma once

#include <cstdint>

namespace Profiler
{

class Message;
class MessageBus;
class Session;

/// Whom a message is for, or whom a listener hears: one session, by its address, or all.
using MessageScope = uint64_t;
inline constexpr MessageScope cAllSessions = ~MessageScope{0};

inline MessageScope gGetMessageScope(const Session& session)
{
    return reinterpret_cast<std::uintptr_t>(&session);
}

/// Hears the messages of one session or of all, from its construction to its end. The bus must outlive it. The thread
/// of the bus only. It may come and go while a message is delivered; one that comes does not hear that message.
class MessageListener
{
public:
    MessageListener(MessageScope scope, MessageBus* bus);
    MessageListener(const MessageListener&) = delete;
    MessageListener& operator=(const MessageListener&) = delete;
    virtual ~MessageListener();

    /// The message ends when the call returns.
    virtual void OnMessage(const Message& message);

    MessageBus* GetBus() const { return mBus; }
    MessageScope GetScope() const { return mScope; }

private:
    MessageBus* mBus;
    MessageScope mScope;
};

}
