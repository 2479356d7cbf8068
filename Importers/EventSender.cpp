#include "Importers/EventSender.h"

#include "Importers/EventSink.h"
#include "Importers/TextTable.h"

#include <cstddef>

namespace Importers
{
namespace
{
/// Tells whether the text has not been sent before, and notes that it has been now.
bool NoteSent(StoredText& text, StoredText::ESent as)
{
    if (text.mSent != StoredText::ESent::Never)
    {
        return false;
    }
    text.mSent = as;
    return true;
}
}

EventSender::EventSender(
    std::span<const RecordingThread> threads, NameTable& names, TextArena& contexts, EventSink& sink)
    : mThreads(threads),
      mNames(names),
      mContexts(contexts),
      mSink(sink)
{}

bool EventSender::Send(std::span<const MergedEvent> events, Utility::Result& result)
{
    // Contexts may lie anywhere.
    constexpr std::size_t numAhead = 8;

    for (std::size_t i = 0; i < events.size(); ++i)
    {
        if (i + numAhead < events.size() && events[i + numAhead].mContext != TextArena::sNone)
        {
            mContexts.Get(events[i + numAhead].mContext).Prefetch();
        }
        if (!(events[i].mIsEnd ? SendEnd(events[i], result) : SendBegin(events[i], result)))
        {
            return false;
        }
    }
    return true;
}

bool EventSender::SendBegin(const MergedEvent& merged, Utility::Result& result)
{
    if (merged.mIsFirst && !SendThreadStart(merged, result))
    {
        return false;
    }
    StoredText& name = mNames.Get(merged.mName);
    StoredText* const context = merged.mContext != TextArena::sNone ? &mContexts.Get(merged.mContext) : nullptr;
    if (context != nullptr)
    {
        NoteSent(*context, StoredText::ESent::Context);
    }
    return mSink.OnEvent({EEventKind::Begin, NoteSent(name, StoredText::ESent::Name), mThreads[merged.mThread].mID,
                             merged.mTimeMs, &name, context, {}},
        result);
}

bool EventSender::SendThreadStart(const MergedEvent& merged, Utility::Result& result)
{
    const std::string_view name = mThreads[merged.mThread].mName;
    return SendThreadEvent(merged, EEventKind::ThreadStart, {}, result) &&
           (name.empty() || SendThreadEvent(merged, EEventKind::ThreadName, name, result));
}

bool EventSender::SendEnd(const MergedEvent& merged, Utility::Result& result)
{
    return SendThreadEvent(merged, EEventKind::End, {}, result) &&
           (!merged.mIsLast || SendThreadEvent(merged, EEventKind::ThreadEnd, {}, result));
}

bool EventSender::SendThreadEvent(
    const MergedEvent& merged, EEventKind kind, std::string_view name, Utility::Result& result)
{
    return mSink.OnEvent({kind, false, mThreads[merged.mThread].mID, merged.mTimeMs, nullptr, nullptr, name}, result);
}
}
