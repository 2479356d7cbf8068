#include "Importers/SessionWriter.h"

#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"

#include <utility>

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
}

SessionWriter::SessionWriter(Profiler::Session& session) : mSession(session) {}

SessionWriter::~SessionWriter()
{
    mThread.reset();
    mSession.GetInstrumentationDatabase().ForgetLentContexts();
}

bool SessionWriter::OnBegin(const RecordingInfo& info, Utility::Result& result)
{
    Profiler::SessionInfo& sessionInfo = mSession.GetSessionInfo();
    sessionInfo.ProcessID = info.mProcessID;
    sessionInfo.SessionEndTimeMs = info.mEndTimeMs;
    mEvent.mProcessID = info.mProcessID;
    mSession.GetEventStream().DeferSync();
    mThread.emplace("Text Database", std::size_t{16});
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
    mEvent.mValue = event.mKind == EEventKind::ThreadStart ? unknownAddress : event.mNameID;
    mEvent.mName = event.mName;
    mEvent.mContext = event.mContext;
    if (event.mIsNewName) [[unlikely]]
    {
        mSession.GetInstrumentationDatabase().AddName(event.mNameID, event.mName);
    }
    if (event.mIsNewContext)
    {
        mNewContexts.push_back({event.mContextID, event.mContext});
    }
    if (mNewContexts.size() >= sContextsAtOnce)
    {
        LendContexts();
    }
    return mSession.AddEvent(mEvent, result);
}

void SessionWriter::LendContexts()
{
    mThread->Post([&database = mSession.GetInstrumentationDatabase(), news = std::exchange(mNewContexts, {})] {
        for (const NewContext& context : news)
        {
            database.LendContext(context.mID, context.mText);
        }
    });
}

bool SessionWriter::OnEnd(Utility::Result& result)
{
    LendContexts();
    if (!mSession.GetEventStream().StartFlush(result))
    {
        return false;
    }
    mThread->Finish();
    return mSession.EndModels(result);
}
}
