#include "BarChartPlugin/BarChartModel.h"

#include "BarChartPlugin/BarChartJob.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"

#include <string_view>
#include <utility>

namespace Profiler
{

namespace
{

/// The priority of a chart that a user waits for.
constexpr uint8_t cChartPriority = 1;

constexpr int cRecentBits = 12;
constexpr std::size_t cNumRecent = std::size_t{1} << cRecentBits;

/// The upper bits of the product depend on all bits of both.
std::size_t gGetRecentSlot(const TraceEvent& event)
{
    const uint64_t key = event.mID + static_cast<uint32_t>(event.mThreadID) * uint64_t{0xD6E8FEB86659FD93};
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15) >> (64 - cRecentBits));
}

}

BarChartModel::BarChartModel(Plugin* plugin, Session* session) : Model{plugin, session} {}

BarChartModel::~BarChartModel() = default;

bool BarChartModel::sLoad(
    Plugin& plugin, Session& session, std::unique_ptr<BarChartModel>& outModel, Utility::Result& result)
{
    const std::string path = session.GetPluginFile(cBarChartFolder, cBarChartModelFile);
    const Utility::ResultContext context = result.PushContext(path);
    if (!result.Check(FileSystem::gFileExists(path), Serialization::FileNotFound, "Unable to open file"))
        return false;

    RTTI::ObjectFactory factory;
    factory.SetFactory<BarChartModel>([&] { return std::make_unique<BarChartModel>(&plugin, &session); });
    auto model = Serialization::gReadFirst<BarChartModel>(path, *plugin.GetTypeRegistry(), factory,
        Serialization::EUnknownTypePolicy::Skip,
        "The file does not appear to be a BarChartModel file (missing BarChartModel object)", result);
    if (model == nullptr || !model->CheckLoaded(result))
        return false;
    outModel = std::move(model);
    return true;
}

/// The checksum of a file speaks for its bytes, not for their sense, and readers of a chart count on its levels.
bool BarChartModel::CheckLoaded(Utility::Result& result)
{
    const Utility::MutexLock lock{mMutex};
    for (std::size_t i = 0; i < mComputedBarCharts.size(); ++i)
    {
        const BarChart* chart = mComputedBarCharts[i].get();
        if (!result.Check(chart != nullptr, Serialization::CorruptData, "Computed chart %zu is missing", i))
            return false;
        if (!result.Check(chart->IsConsistent(), Serialization::CorruptData,
                "Computed chart %zu (event \"%s\", thread %d) contradicts itself", i,
                chart->GetDescription().Name.c_str(), chart->GetDescription().ThreadID))
            return false;
    }
    return true;
}

const ModelResult& BarChartModel::ProcessEvent(const TraceEvent& event)
{
    if (event.mType == ETraceEventType::InstrumentationBegin)
        NoteBarChart(event);
    return SetSuccess();
}

void BarChartModel::NoteBarChart(const TraceEvent& event)
{
    const BarChartDescriptionView description{event.mName, event.mThreadID};
    if (mRecentBarCharts.empty())
        mRecentBarCharts.resize(cNumRecent);
    const BarChartDescription*& recent = mRecentBarCharts[gGetRecentSlot(event)];
    if (recent != nullptr && description == *recent)
        return;
    auto known = mKnownBarCharts.find(description);
    if (known == mKnownBarCharts.end())
    {
        known = mKnownBarCharts.insert({event.mName, event.mThreadID}).first;
        mAllBarCharts.push_back(*known);
    }
    recent = &*known;
}

void BarChartModel::Reset()
{
    FileSystem::gDeleteDirectoryTree(GetSession()->GetPluginFile(cBarChartFolder, ""));
}

const ModelResult& BarChartModel::Save()
{
    ModelResult& result = GetResult();
    result.SetFailure();
    FileSystem::FileError error;
    if (!FileSystem::gCreateDirectoryTree(GetSession()->GetFile(cBarChartFolder), error))
    {
        result.mErrors.FailText(Serialization::Unspecified, error.ToString());
        return result;
    }
    const std::string path = GetSession()->GetPluginFile(cBarChartFolder, cBarChartModelFile);
    const Utility::MutexLock lock{mMutex};
    if (Serialization::gWriteBinaryFile(path, {this}, result.mErrors))
        result.mSuccess = true;
    return result;
}

const std::vector<BarChartDescription>& BarChartModel::GetAllBarCharts() const
{
    return mAllBarCharts;
}

BarChart* BarChartModel::FindBarChart(int32_t threadID, const std::string& name)
{
    const BarChartDescriptionView description{name, threadID};
    const Utility::MutexLock lock{mMutex};
    for (const std::unique_ptr<BarChart>& chart : mComputedBarCharts)
    {
        if (description == chart->GetDescription())
            return chart.get();
    }
    return nullptr;
}

System::JobHandle BarChartModel::GetOrCreateBarChart(
    int32_t threadID, const std::string& name, const System::JobHandle& previousJob, const Callback& callback)
{
    System::JobScheduler& scheduler = *GetSession()->GetJobScheduler();
    scheduler.Cancel({previousJob});
    if (BarChart* chart = FindBarChart(threadID, name))
    {
        callback(*chart);
        return {};
    }
    System::JobDescription job;
    job.mWork = [this, threadID, name, callback](const bool& cancelled) {
        ComputeBarChart(threadID, name, callback, cancelled);
    };
    job.mPriority = cChartPriority;
    job.mGroup = previousJob.mGroup;
    return scheduler.Schedule(std::move(job));
}

void BarChartModel::ComputeBarChart(
    int32_t threadID, const std::string& name, const Callback& callback, const bool& cancelled)
{
    auto chart = std::make_unique<BarChart>(BarChartDescription{name, threadID});
    if (!gBuildBarChart(GetSession()->GetEventStream(), *chart, cancelled))
        return;

    BarChart& published = *chart;
    {
        const Utility::MutexLock lock{mMutex};
        mComputedBarCharts.push_back(std::move(chart));
    }
    if (!System::gIsCancelled(cancelled))
        callback(published);
}

BarChartModel* gAsBarChartModel(Model& model)
{
    const RTTI::TypeHandle& theirs = model.GetType();
    const RTTI::TypeHandle& ours = RTTI::gTypeOf<BarChartModel>();
    // The handles of two images differ even for one type; name, layout and versions are what they share.
    if (theirs.GetDataType() != RTTI::EDataType::Compound || theirs.GetName() != ours.GetName() ||
        theirs.Info->Size != ours.Info->Size)
        return nullptr;
    const uint64_t version = RTTI::gGetCompound(ours).FullVersion;
    if (version == RTTI::cUnknownHash || version != RTTI::gGetCompound(theirs).FullVersion)
        return nullptr;
    return static_cast<BarChartModel*>(&model);
}

}
