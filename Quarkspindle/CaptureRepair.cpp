#include "Quarkspindle/CaptureRepair.h"

#include <memory>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/EventStreamRepair.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/SessionRebuild.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/CaptureVerifier.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/ProgressLine.h"
#include "Serialization/Error.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

/// What cannot be made from the events may be in it, so a session file that nothing can read is kept under this name.
constexpr const char* cKeptSuffix = ".damaged";

}

CaptureRepair::CaptureRepair(
    Host& host, std::string sessionPath, bool dropsDamaged, const std::atomic<bool>& interrupted)
    : mHost{host},
      mSessionPath{std::move(sessionPath)},
      mDropsDamaged{dropsDamaged},
      mInterrupted{interrupted}
{}

bool CaptureRepair::Repair(Utility::Result& result)
{
    mFindings.clear();
    Profiler::Session session{mSessionPath, nullptr, &mHost.GetJobScheduler(), &mHost.GetPlugins()};
    Profiler::EventStreamRepair events{session, mHost.GetTypeRegistry(), &mInterrupted};
    if (!ExamineSessionFile(result) || !events.Examine(result))
        return false;
    if (!events.GetDamages().empty() && !mDropsDamaged)
    {
        NoteFaults(events);
        return true;
    }
    if (!RepairEvents(session, events, result) || !RepairSessionFile(result) || !RebuildModels(result))
        return false;
    for (Finding& finding : CaptureVerifier{mHost, mSessionPath}.Verify())
        mFindings.push_back(std::move(finding));
    return true;
}

bool CaptureRepair::ExamineSessionFile(Utility::Result& result)
{
    if (!FileSystem::gFileExists(mSessionPath))
    {
        mSessionFile = ESessionFile::Missing;
        mSessionFault = "There is none";
        return true;
    }
    Utility::Result read;
    if (gReadSessionFile(mHost, mSessionPath, read))
        return true;
    const Utility::Result::Entry& reason = read.GetEntries().back();
    const auto context = result.PushContext(mSessionPath);
    // Another build, or another try, can read it, and would miss what a new one lacks.
    if (reason.mCode == Serialization::Incompatible || reason.mCode == Serialization::FileReadFailed)
        return result.FailText(reason.mCode, reason.mMessage);
    mSessionFile = ESessionFile::Damaged;
    mSessionFault = reason.mMessage;
    return true;
}

/// What stands in the way of a repair, and what it would also put right.
void CaptureRepair::NoteFaults(const Profiler::EventStreamRepair& events)
{
    const Profiler::Session session{mSessionPath, nullptr, nullptr, nullptr};
    if (mSessionFile != ESessionFile::Sound)
        Note(mSessionPath, Finding::EState::Damaged, mSessionFault);
    if (events.GetIndex() != Profiler::EventStreamRepair::EIndex::Sound)
        Note(session.GetEventStream().GetIndexPath(), Finding::EState::Damaged, events.GetIndexFault());
    for (const std::string& damage : events.GetDamages())
        Note(session.GetEventStream().GetDataPath(), Finding::EState::Damaged, damage);
}

bool CaptureRepair::RepairEvents(
    Profiler::Session& session, Profiler::EventStreamRepair& events, Utility::Result& result)
{
    const std::string& dataPath = session.GetEventStream().GetDataPath();
    if (events.IsRepairDue())
    {
        // They hold what was derived from other events. This deletes what is stored of them.
        session.CreateModels();
        if (!events.Repair(result))
            return false;
        for (const std::string& damage : events.GetDamages())
            Note(dataPath, Finding::EState::LeftOut, damage);
        if (events.GetNumFoundEvents() > 0)
            Note(dataPath, Finding::EState::Mended,
                "taken in: " + gFormatCount(events.GetNumFoundEvents(), "event", "events") +
                    " that the index did not name");
        if (!events.GetIndexFault().empty())
            Note(session.GetEventStream().GetIndexPath(), Finding::EState::Mended,
                "made anew from the events. What was wrong: " + events.GetIndexFault());
        else
            Note(session.GetEventStream().GetIndexPath(), Finding::EState::Mended,
                "named " + gFormatCount(events.GetNumIndexedEvents(), "event", "events") + ", names " +
                    gFormatCount(events.GetNumEvents(), "event", "events"));
        Note(FileSystem::gCombinePath(session.GetFile(Profiler::cBarChartFolder), Profiler::cBarChartModelFile),
            Finding::EState::Mended, "made anew from the events; charts that were saved are computed when asked for");
    }
    if (events.GetNumTornBytes() > 0 && events.GetDamages().empty())
        Note(dataPath, Finding::EState::Sound,
            gFormatCount(events.GetNumTornBytes(), "byte", "bytes") +
                " behind the last whole event are the beginning of one, and are not read");
    return true;
}

bool CaptureRepair::RepairSessionFile(Utility::Result& result)
{
    if (mSessionFile == ESessionFile::Sound)
        return true;
    const auto context = result.PushContext(mSessionPath);
    const std::string kept = mSessionPath + cKeptSuffix;
    if (mSessionFile == ESessionFile::Damaged &&
        !result.Check(FileSystem::gCopyFile(mSessionPath, kept), Serialization::Unspecified,
            "The damaged file cannot be kept as \"%s\"", kept.c_str()))
        return false;
    if (!Profiler::gRebuildSession(mSessionPath, mHost.GetTypeRegistry(), result))
        return false;
    std::string text = "made anew from the events, without modules and callstacks. What was wrong: " + mSessionFault;
    if (mSessionFile == ESessionFile::Damaged)
        text += ". The damaged file is kept as \"" + kept + "\"";
    Note(mSessionPath, Finding::EState::Mended, std::move(text));
    return true;
}

bool CaptureRepair::RebuildModels(Utility::Result& result)
{
    std::unique_ptr<Profiler::Session> session;
    const int32_t loaded = Profiler::Session::sLoad(
        mSessionPath, mHost.GetTypeRegistry(), nullptr, &mHost.GetJobScheduler(), &mHost.GetPlugins(), session, result);
    if (loaded != Profiler::Session::LoadedWithPendingModels)
        return loaded == Profiler::Session::Loaded;
    ProgressLine progress;
    if (session->ProcessPendingModels(result, &mInterrupted, &progress))
        return true;
    if (!result.HasErrors())
        result.FailText(0, "Interrupted");
    return false;
}

void CaptureRepair::Note(const std::string& file, Finding::EState state, std::string text)
{
    mFindings.push_back({file, state, std::move(text)});
}

}
