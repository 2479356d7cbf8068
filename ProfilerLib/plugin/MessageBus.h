#pragma once

#include "ProfilerLib/plugin/MessageListener.h"

#include <vector>

namespace Profiler
{

/// How the views of a session and the host's windows tell each other what the user picked, without knowing of each
/// other. The host owns the one bus, which must outlive its listeners; they are not owned. One thread, that of the
/// widgets; there is no lock.
class MessageBus
{
public:
    MessageBus() = default;
    MessageBus(const MessageBus&) = delete;
    MessageBus& operator=(const MessageBus&) = delete;

    /// `MessageListener` calls these two. Adding one twice makes it hear everything twice; removing it undoes both.
    void AddListener(MessageListener* listener);
    void RemoveListener(MessageListener* listener);

    /// Calls the listeners whom the message concerns, in the order in which they were added, before it returns.
    /// A listener may add and remove others, and itself: one that was added meanwhile is not called, nor is one that
    /// was removed before its turn.
    void Send(MessageScope scope, const Message& message);

private:
    /// While messages are delivered a removed listener leaves a null behind, so that the others keep their places.
    std::vector<MessageListener*> mListeners;
    int mNumSending = 0; ///< deliveries under way, one inside the other
};

}
