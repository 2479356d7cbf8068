#include "ProfilerLib/plugin/MessageListener.h"

#include "ProfilerLib/plugin/MessageBus.h"

namespace Profiler
{

MessageListener::MessageListener(MessageScope scope, MessageBus* bus) : mBus{bus}, mScope{scope}
{
    mBus->AddListener(this);
}

MessageListener::~MessageListener()
{
    mBus->RemoveListener(this);
}

void MessageListener::OnMessage(const Message&) {}

}
