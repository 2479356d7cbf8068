#include "Quarkspindle/CaptureVerifier.h"

#include <memory>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/EventStreamVerifier.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/TimeFormat.h"

namespace Quarkspindle
{

namespace
{

std::string FormatFileSize(const std::string& path)
{
    uint64_t size = 0;
    return FileSystem::gGetFileSize(path, size) ? Utility::gFormatSize(static_cast<int64_t>(size)) : "unknown size";
}

}

CaptureVerifier::CaptureVerifier(Host& host, std::string sessionPath)
    : mHost{host},
      mSessionPath{std::move(sessionPath)}
{}

std::vector<Finding> CaptureVerifier::Verify()
{
    mFindings.clear();
    VerifySessionFile();
    Profiler::Session session{mSessionPath, nullptr, &mHost.GetJobScheduler(), &mHost.GetPlugins()};
    VerifyEvents(session);
    VerifyModel(session);
    return std::move(mFindings);
}

void CaptureVerifier::VerifySessionFile()
{
    Utility::Result result;
    if (gReadSessionFile(mHost, mSessionPath, result))
        AddSound(mSessionPath, "session, " + FormatFileSize(mSessionPath));
    else
        AddDamage(mSessionPath, result);
}

void CaptureVerifier::VerifyEvents(Profiler::Session& session)
{
    const std::string indexPath = session.GetEventStream().GetIndexPath();
    const std::string dataPath = session.GetEventStream().GetDataPath();
    Utility::Result result;
    const auto stream = Profiler::TraceEventStream::sLoad(session, mHost.GetTypeRegistry(), result);
    if (stream == nullptr)
    {
        AddDamage(indexPath, result);
        return;
    }
    const std::string chunks = gFormatCount(stream->GetChunks().size(), "chunk", "chunks");
    AddSound(indexPath, "index of " + chunks + ", " + FormatFileSize(indexPath));
    const bool isWhole = stream->CheckWhole(result);
    if (Profiler::EventStreamVerifier{*stream}.Verify(result) && isWhole)
        AddSound(dataPath, gFormatCount(stream->GetNumEvents(), "event", "events") + " in " + chunks + ", " +
                               FormatFileSize(dataPath));
    else
        AddDamage(dataPath, result);
}

void CaptureVerifier::VerifyModel(Profiler::Session& session)
{
    const std::string path =
        FileSystem::gCombinePath(session.GetFile(Profiler::cBarChartFolder), Profiler::cBarChartModelFile);
    if (!FileSystem::gFileExists(path))
    {
        AddSound(path, "not there: it will be made from the events");
        return;
    }
    Utility::Result result;
    std::unique_ptr<Profiler::BarChartModel> model;
    if (Profiler::BarChartModel::sLoad(*mHost.GetPlugins().front(), session, model, result))
        AddSound(path, "model of " + gFormatCount(model->GetAllBarCharts().size(), "chart", "charts") + ", " +
                           FormatFileSize(path));
    else
        AddDamage(path, result);
}

void CaptureVerifier::AddSound(const std::string& file, std::string text)
{
    mFindings.push_back({file, Finding::EState::Sound, std::move(text)});
}

void CaptureVerifier::AddDamage(const std::string& file, const Utility::Result& result)
{
    for (const Utility::Result::Entry& entry : result.GetEntries())
        mFindings.push_back({entry.mContext.empty() ? file : entry.mContext, Finding::EState::Damaged, entry.mMessage});
}

bool gReadSessionFile(Host& host, const std::string& path, Utility::Result& result)
{
    RTTI::ObjectFactory factory;
    factory.SetFactory<Profiler::Session>([] { return std::make_unique<Profiler::Session>(); });
    factory.SetFactory<Profiler::Module>([] { return std::make_unique<Profiler::Module>(nullptr); });
    std::vector<std::unique_ptr<RTTI::Object>> objects;
    return Serialization::gReadBinaryFile(
               path, host.GetTypeRegistry(), factory, Serialization::EUnknownTypePolicy::Skip, objects, result) &&
           result.Check(Serialization::gTakeFirst<Profiler::Session>(objects) != nullptr, Serialization::CorruptData,
               "It holds no session");
}

}
