#include "ProfilerLib/session/CallstackDatabase.h"

#include <utility>

namespace Profiler
{

void CallstackDatabase::AddCallstack(CallstackKey key, Callstack callstack)
{
    std::unique_ptr<Callstack>& slot = mStacksByID[key];
    if (slot == nullptr)
        slot = std::make_unique<Callstack>(std::move(callstack));
}

const Callstack* CallstackDatabase::FindCallstack(CallstackKey key) const
{
    const auto found = mStacksByID.find(key);
    return found == mStacksByID.end() ? nullptr : found->second.get();
}

}
