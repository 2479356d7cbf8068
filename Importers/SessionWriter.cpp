#include "Importers/SessionWriter.h"

#include "ProfilerLib/session/Session.h"

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

bool SessionWriter::OnBegin(const RecordingInfo& info, Utility::Result& result)
{
    Profiler::SessionInfo& sessionInfo = mSession.GetSessionInfo();
    sessionInfo.ProcessID = info.mProcessID;
    sessionInfo.SessionEndTimeMs = info.mEndTimeMs;
    mEvent.mProcessID = info.mProcessID;
    mSession.CreateModels();
    return mSession.BeginModels(result);
}

bool SessionWriter::OnEvent(const RecordedEvent& event, Utility::Result& result)
{
    // A trace tells nothing of where a thread began to run, nor of one that was there before or after it.
    constexpr std::uint64_t unknownAddress = ~std::uint64_t{0};

    mEvent.mType = GetType(event.mKind);
    mEvent.mByte = 0;
    mEvent.mThreadID = event.mThreadID;
    mEvent.mTime = event.mTimeMs;
    mEvent.mValue = event.mKind == EEventKind::ThreadStart ? unknownAddress : event.mNameID;
    mEvent.mName.assign(event.mName);
    mEvent.mContext.assign(event.mContext);
    if (event.mIsNewName || event.mIsNewContext)
    {
        mSession.GetInstrumentationDatabase().AddEvent(event.mNameID, event.mName, event.mContext);
    }
    return mSession.AddEvent(mEvent, result);
}

bool SessionWriter::OnEnd(Utility::Result& result)
{
    return mSession.EndModels(result);
}
}
