#include "ProfilerLib/plugin/MessageBus.h"

#include <algorithm>

namespace Profiler
{

void MessageBus::AddListener(MessageListener* listener)
{
    mListeners.push_back(listener);
}

void MessageBus::RemoveListener(MessageListener* listener)
{
    if (mNumSending == 0)
        std::erase(mListeners, listener);
    else
        std::ranges::replace(mListeners, listener, nullptr);
}

void MessageBus::Send(MessageScope scope, const Message& message)
{
    ++mNumSending;
    const std::size_t count = mListeners.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        MessageListener* listener = mListeners[i];
        if (listener == nullptr)
            continue;
        const MessageScope heard = listener->GetScope();
        if (scope == cAllSessions || heard == cAllSessions || heard == scope)
            listener->OnMessage(message);
    }
    if (--mNumSending == 0)
        std::erase(mListeners, nullptr);
}

}
