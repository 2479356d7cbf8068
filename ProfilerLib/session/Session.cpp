#include "ProfilerLib/session/Session.h"

#include "ProfilerLib/plugin/Model.h"
#include "ProfilerLib/session/Progress.h"
#include "ProfilerLib/session/ThreadClassification.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "SpindlemarkAPI/InstrumentationScope.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <unordered_set>
#include <utility>

namespace Profiler
{
namespace
{
/// The kind under which the rebuilding of models reports its progress.
constexpr std::int32_t cRebuildProgress = 3;

/// Reports each percent once, whatever the number of events.
class PercentReport
{
public:
    PercentReport(Progress& progress, std::uint64_t numEvents)
        : mProgress{progress},
          mNumEvents{static_cast<float>(numEvents)}
    {}

    /// For each event, before it is processed.
    void Advance()
    {
        // A damaged index may count fewer events than there are.
        const float fraction = std::min(static_cast<float>(mEvent) / std::max(mNumEvents, 1.0f), 1.0f);
        ++mEvent;
        const auto percent = static_cast<std::int32_t>(std::floor(fraction * 100.0));
        if (percent > mLastPercent)
        {
            mLastPercent = percent;
            mProgress.Report(cRebuildProgress, fraction, {}, 0);
        }
    }

private:
    Progress& mProgress;
    const float mNumEvents;
    std::uint64_t mEvent = 1;
    std::int32_t mLastPercent = 0;
};

/// The folder that a path lies in; the root for what lies there.
std::string GetParent(const std::string& path)
{
    const std::string directory = FileSystem::gGetDirectory(path);
    return directory.empty() && FileSystem::gIsAbsolutePath(path) ? std::string{FileSystem::gSeparator} : directory;
}

/// How far up a thread stands. Samples count for ten times the time that they stand for.
double GetWeight(const Thread& thread, const SessionInfo& info)
{
    const double weight = (thread.EndTimeMs - thread.StartTimeMs) * 10.0 +
                          static_cast<double>(thread.NumSamples) * 100.0 * info.SampleIntervalMs;
    // What is no number, as a damaged file may have it, would leave the sort without an order.
    return std::isnan(weight) ? std::numeric_limits<double>::lowest() : weight;
}
}

Session::Session() : Session{{}, nullptr, nullptr, nullptr} {}

Session::Session(
    const std::string& path, SymbolSource* symbolCache, System::JobScheduler* jobScheduler, const PluginList* plugins)
    : mPath{path},
      mJobScheduler{jobScheduler},
      mPlugins{plugins},
      mModuleDatabase{symbolCache}
{
    mEventStream = std::make_unique<TraceEventStream>(*this);
}

Session::~Session() = default;

const RTTI::TypeHandle& Session::GetType() const
{
    return RTTI::gTypeOf<Session>();
}

std::int32_t Session::sLoad(const std::string& path, const RTTI::TypeRegistry& registry, SymbolSource* symbolCache,
    System::JobScheduler* jobScheduler, const PluginList* plugins, std::unique_ptr<Session>& outSession,
    Utility::Result& result)
{
    const SpindlemarkAPI::InstrumentationScope scope{"Profiler::Session::sLoad", path.c_str()};
    RTTI::ObjectFactory factory;
    factory.SetFactory<Session>([&] { return std::make_unique<Session>(path, symbolCache, jobScheduler, plugins); });
    factory.SetFactory<Module>([&] { return std::make_unique<Module>(symbolCache); });

    const auto context = result.PushContext(path);
    auto session = Serialization::gReadFirst<Session>(path, registry, factory, Serialization::EUnknownTypePolicy::Skip,
        "The file does not appear to be a session file (missing Session object)", result);
    if (session == nullptr)
    {
        return Failed;
    }
    const ELoadResult loaded = session->LoadContents(registry, result);
    if (loaded != Failed)
    {
        outSession = std::move(session);
    }
    return loaded;
}

/// What lies outside the session file.
Session::ELoadResult Session::LoadContents(const RTTI::TypeRegistry& registry, Utility::Result& result)
{
    mEventStream = TraceEventStream::sLoad(*this, registry, result);
    if (mEventStream == nullptr)
    {
        return Failed;
    }
    CompleteThreadOrder();
    mModuleDatabase.OnLoaded();
    if (mPlugins != nullptr)
    {
        for (Plugin* const plugin : *mPlugins)
        {
            std::unique_ptr<Model> model = plugin->LoadModel(*this);
            if (model == nullptr)
            {
                model = plugin->CreateModel(*this);
                mPendingModels.push_back(model.get());
            }
            mModels.push_back(std::move(model));
        }
    }
    return mPendingModels.empty() ? Loaded : LoadedWithPendingModels;
}

/// Makes the order name each thread of the table once: a file need not.
void Session::CompleteThreadOrder()
{
    std::unordered_set<std::int32_t> seen;
    std::erase_if(mThreadOrder,
        [&](std::int32_t threadID) { return FindThread(threadID) == nullptr || !seen.insert(threadID).second; });
    const auto numOrdered = static_cast<std::ptrdiff_t>(mThreadOrder.size());
    for (const auto& [threadID, thread] : mThreads)
    {
        if (!seen.contains(threadID))
        {
            mThreadOrder.push_back(threadID);
        }
    }
    std::sort(mThreadOrder.begin() + numOrdered, mThreadOrder.end());
}

void Session::CreateModels()
{
    mPendingModels.clear();
    mModels.clear();
    if (mPlugins == nullptr)
    {
        return;
    }
    for (Plugin* const plugin : *mPlugins)
    {
        std::unique_ptr<Model> model = plugin->CreateModel(*this);
        model->Reset();
        mModels.push_back(std::move(model));
    }
}

std::vector<Model*> Session::GetModels() const
{
    std::vector<Model*> models;
    models.reserve(mModels.size());
    for (const std::unique_ptr<Model>& model : mModels)
    {
        models.push_back(model.get());
    }
    return models;
}

/// True for success. Otherwise adds the model's errors to `result`, which keeps what it has and its open contexts.
bool Session::sCheckModel(const ModelResult& modelResult, Utility::Result& result)
{
    if (modelResult.mSuccess)
    {
        return true;
    }
    for (const Utility::Result::Entry& entry : modelResult.mErrors.GetEntries())
    {
        if (entry.mContext.empty())
        {
            result.FailText(entry.mCode, entry.mMessage);
        }
        else
        {
            const auto context = result.PushContext(entry.mContext);
            result.FailText(entry.mCode, entry.mMessage);
        }
    }
    return false;
}

bool Session::BeginModels(Utility::Result& result)
{
    return BeginModels(GetModels(), result);
}

bool Session::BeginModels(const std::vector<Model*>& models, Utility::Result& result)
{
    return std::all_of(
        models.begin(), models.end(), [&](Model* model) { return sCheckModel(model->BeginEvents(), result); });
}

void Session::NotifyPhaseA()
{
    NotifyPhaseA(GetModels());
}

void Session::NotifyPhaseA(const std::vector<Model*>& models)
{
    for (Model* const model : models)
    {
        model->OnSessionPhaseA();
    }
}

void Session::NotifyPhaseB()
{
    for (const std::unique_ptr<Model>& model : mModels)
    {
        model->OnSessionPhaseB();
    }
}

bool Session::AddEvent(const TraceEvent& event, Utility::Result& result)
{
    UpdateThreads(event);
    return GiveToModels(event, result) && mEventStream->AddEvent(event, result);
}

bool Session::AddEvent(const TraceEventView& event, Utility::Result& result)
{
    UpdateThreads(event);
    if (!mModels.empty())
    {
        mModelEvent.Assign(event);
        if (!GiveToModels(mModelEvent, result))
        {
            return false;
        }
    }
    return mEventStream->AddEvent(event, result);
}

bool Session::GiveToModels(const TraceEvent& event, Utility::Result& result)
{
    return std::all_of(mModels.begin(), mModels.end(),
        [&](const std::unique_ptr<Model>& model) { return sCheckModel(model->ProcessEvent(event), result); });
}

bool Session::EndModels(Utility::Result& result)
{
    return EndModels(GetModels(), result);
}

bool Session::EndModels(const std::vector<Model*>& models, Utility::Result& result)
{
    SortThreads();
    return std::all_of(models.begin(), models.end(), [&](Model* model) {
        return sCheckModel(model->EndEvents(), result);
    }) && Save(result);
}

bool Session::ProcessPendingModels(Utility::Result& result, const std::atomic<bool>* cancelled, Progress* progress)
{
    const std::vector<Model*> models = mPendingModels;
    for (Model* const model : models)
    {
        model->Reset();
    }
    if (!BeginModels(models, result))
    {
        return false;
    }
    const bool isComplete = models.empty() || ReplayEvents(result, cancelled, progress);
    const bool isSaved = isComplete && EndModels(models, result);
    mPendingModels.clear();
    return isSaved;
}

/// Gives all events of the stream to the pending models.
bool Session::ReplayEvents(Utility::Result& result, const std::atomic<bool>* cancelled, Progress* progress)
{
    std::optional<PercentReport> report;
    if (progress != nullptr)
    {
        report.emplace(*progress, mEventStream->GetNumEvents());
    }
    TraceEventStream::Iterator events = mEventStream->GetIterator(0.0);
    TraceEventView view;
    // One event for all, so that its texts keep their room.
    TraceEvent event;
    while (!events.IsAtEnd())
    {
        // Relaxed: the flag carries nothing with it.
        if (cancelled != nullptr && cancelled->load(std::memory_order_relaxed))
        {
            return false;
        }
        if (report.has_value())
        {
            report->Advance();
        }
        if (!events.NextView(view))
        {
            break;
        }
        event.Assign(view);
        for (Model* const model : mPendingModels)
        {
            if (!sCheckModel(model->ProcessEvent(event), result))
            {
                return false;
            }
        }
    }
    // A model of a part of the events would be stored, and taken for the whole from then on.
    return mEventStream->CheckWhole(result);
}

bool Session::Save(Utility::Result& result)
{
    for (const std::unique_ptr<Model>& model : mModels)
    {
        if (!sCheckModel(model->Save(), result))
        {
            return false;
        }
    }
    // Before the events are waited for, which may take the disk a while.
    Utility::OutputMemoryStream contents;
    const bool hasContents = WriteContents(contents, result);
    return mEventStream->Flush(result) && hasContents &&
           Serialization::gStoreBinaryFile(mPath, contents, result, mEventStream->GetDurability());
}

bool Session::WriteContents(Utility::OutputMemoryStream& stream, Utility::Result& result)
{
    // Lookups in the modules may go on beside this, and enter what they find.
    const ModuleDatabase::Freeze freeze{mModuleDatabase};
    return Serialization::gWriteBinary(stream, {this}, result);
}

Thread* Session::FindThread(std::int32_t threadID)
{
    return const_cast<Thread*>(std::as_const(*this).FindThread(threadID));
}

const Thread* Session::FindThread(std::int32_t threadID) const
{
    const auto position = mThreads.find(threadID);
    return position == mThreads.end() ? nullptr : &position->second;
}

Thread& Session::GetThread(std::int32_t threadID)
{
    return GetOrCreateThread(threadID);
}

Thread& Session::GetOrCreateThread(std::int32_t threadID)
{
    const auto [position, isNew] = mThreads.try_emplace(threadID);
    if (isNew)
    {
        position->second.ThreadID = threadID;
        mThreadOrder.push_back(threadID);
    }
    return position->second;
}

void Session::SortThreads()
{
    std::vector<std::pair<double, std::int32_t>> weighted;
    weighted.reserve(mThreadOrder.size());
    for (const std::int32_t threadID : mThreadOrder)
    {
        weighted.emplace_back(GetWeight(GetThread(threadID), mSessionInfo), threadID);
    }
    std::stable_sort(weighted.begin(), weighted.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::transform(
        weighted.begin(), weighted.end(), mThreadOrder.begin(), [](const auto& entry) { return entry.second; });
}

void Session::UpdateThreads(const TraceEventView& event)
{
    if (event.mProcessID != mSessionInfo.ProcessID)
    {
        return;
    }
    Thread*& recent = mRecentThreads[static_cast<std::uint32_t>(event.mThreadID) % mRecentThreads.size()];
    if (recent == nullptr || recent->ThreadID != event.mThreadID)
    {
        recent = &GetOrCreateThread(event.mThreadID);
    }
    Thread& thread = *recent;
    switch (event.mType)
    {
    case ETraceEventType::ThreadStart:
        thread.StartTimeMs = event.mExistedBefore == 1 ? 0.0 : event.mTime;
        if (thread.ThreadName.empty())
        {
            thread.ThreadName = gClassifyThread(event, mModuleDatabase);
        }
        break;
    case ETraceEventType::ThreadEnd:
        thread.EndTimeMs = event.mOutlivedCapture == 1 ? mSessionInfo.SessionEndTimeMs : event.mTime;
        break;
    case ETraceEventType::ThreadName:
        thread.ThreadName = event.mName;
        break;
    case ETraceEventType::Sample:
        ++thread.NumSamples;
        break;
    default:
        break;
    }
}

std::string Session::GetFile(const std::string& fileName) const
{
    return FileSystem::gCombinePath(GetParent(mPath), fileName);
}

std::string Session::GetPluginFile(const std::string& folder, const std::string& fileName) const
{
    const std::string path = GetFile(folder);
    // It shows in the operation on the file too, but there the reason is only that the folder is missing.
    FileSystem::FileError error;
    if (!FileSystem::gCreateDirectoryTree(path, error))
    {
        Utility::gTrace("%s", error.ToString().c_str());
    }
    return FileSystem::gCombinePath(path, fileName);
}

std::string gGetSessionPath(const std::string& path)
{
    if (FileSystem::gGetExtension(path) != "etl")
    {
        return path;
    }
    const std::string name = FileSystem::gGetBaseName(path);
    const std::string folder = FileSystem::gNormalizePath(FileSystem::gCombinePath(GetParent(path), name));
    return FileSystem::gCombinePath(folder, Utility::gFormat("%s.session", name.c_str()));
}

bool gIsSameSession(const std::string& a, const std::string& b)
{
    return FileSystem::gPathsEqual(a, b) || FileSystem::gPathsEqual(gGetSessionPath(a), gGetSessionPath(b));
}
}
