#include "Importers/SessionWriter.h"

#include "Importers/SentContexts.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"

#include <cstddef>

namespace Importers
{
namespace
{
Profiler::ETraceEventType GetType(EEventKind kind)
{
    switch (kind)
    {
    case EEventKind::ThreadStart:
        return Profiler::ETraceEventType::ThreadStart;
    case EEventKind::ThreadName:
        return Profiler::ETraceEventType::ThreadName;
    case EEventKind::Begin:
        return Profiler::ETraceEventType::InstrumentationBegin;
    case EEventKind::End:
        return Profiler::ETraceEventType::InstrumentationEnd;
    case EEventKind::ThreadEnd:
        break;
    }
    return Profiler::ETraceEventType::ThreadEnd;
}

class LentContexts final : public Profiler::LentTexts
{
public:
    explicit LentContexts(TextArena& texts) : mContexts(texts) {}

    std::size_t GetNumLeft() const override { return mContexts.GetNumLeft(); }
    Text Take() override
    {
        const StoredText& text = mContexts.Take();
        return {text.mHash, text.GetText()};
    }

private:
    SentContexts mContexts;
};
}

SessionWriter::SessionWriter(Profiler::Session& session) : mSession(session) {}

bool SessionWriter::OnBegin(const RecordingInfo& info, Utility::Result& result)
{
    Profiler::SessionInfo& sessionInfo = mSession.GetSessionInfo();
    sessionInfo.ProcessID = info.mProcessID;
    sessionInfo.SessionEndTimeMs = info.mEndTimeMs;
    mEvent.mProcessID = info.mProcessID;
    mSession.GetEventStream().DeferSync();
    mSession.CreateModels();
    return mSession.BeginModels(result);
}

bool SessionWriter::OnEvent(const RecordedEvent& event, Utility::Result& result)
{
    // A trace tells nothing of where a thread began to run, nor of one that was there before or after it.
    constexpr std::uint64_t unknownAddress = ~std::uint64_t{0};

    mEvent.mType = GetType(event.mKind);
    mEvent.mThreadID = event.mThreadID;
    mEvent.mTime = event.mTimeMs;
    if (event.mKind == EEventKind::Begin)
    {
        mEvent.mValue = event.mName->mHash;
        mEvent.mName = event.mName->GetText();
        mEvent.mContext = event.mContext != nullptr ? event.mContext->GetText() : std::string_view();
        if (event.mIsNewName) [[unlikely]]
        {
            mSession.GetInstrumentationDatabase().AddName(mEvent.mValue, mEvent.mName);
        }
    }
    else
    {
        mEvent.mValue = event.mKind == EEventKind::ThreadStart ? unknownAddress : 0;
        mEvent.mName = event.mThreadName;
        mEvent.mContext = {};
    }
    return mSession.AddEvent(mEvent, result);
}

bool SessionWriter::OnEnd(TextArena& texts, Utility::Result& result)
{
    // The disk has begun with the events when the contexts are looked for.
    if (!mSession.GetEventStream().StartFlush(result))
    {
        return false;
    }
    LentContexts contexts(texts);
    Profiler::InstrumentationDatabase& database = mSession.GetInstrumentationDatabase();
    database.LendContexts(contexts);
    const bool isSaved = mSession.EndModels(result);
    database.ForgetLentContexts();
    return isSaved;
}
}
