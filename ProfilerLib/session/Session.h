#pragma once

#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/session/CallstackDatabase.h"
#include "ProfilerLib/session/InstrumentationDatabase.h"
#include "ProfilerLib/session/ModuleDatabase.h"
#include "ProfilerLib/session/SessionInfo.h"
#include "ProfilerLib/session/Thread.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Result.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace RTTI
{
class TypeRegistry;
}
namespace System
{
class JobScheduler;
}
namespace Utility
{
class OutputMemoryStream;
}

namespace Profiler
{
class Model;
class Progress;
class SymbolSource;
class TraceEventStream;
struct ModelResult;

/// One capture: its threads, databases, event stream and the models that were derived from the stream, with the
/// directory that holds them. Recording: constructor, `CreateModels`, `BeginModels`, `AddEvent` for each event,
/// `EndModels`. Loading: `sLoad`, and `ProcessPendingModels` when it asks for it. The host makes and deletes it; no
/// model may have a job running by then. No lock: one thread at a time writes. Beside it run only iterators of the
/// stream, the module database, and readers of what has been finished.
class Session : public RTTI::Object
{
public:
    enum ELoadResult : std::int32_t
    {
        Loaded = 0,
        LoadedWithPendingModels = 1,
        Failed = 2,
    };

    /// For the type registry only: a session without a place on the disk, services and plug-ins.
    Session();

    /// A new capture at `path`, which is `<dir>/<name>.session`. Nothing is written before the first chunk or `Save`;
    /// the directory must be there by then. The scheduler, the symbols and the plug-ins are not owned, outlive the
    /// session, and may be null; without a scheduler no chart can be asked for.
    Session(const std::string& path, SymbolSource* symbolCache, System::JobScheduler* jobScheduler,
        const PluginList* plugins);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() override;

    /// Reads a capture, with the models that its plug-ins can restore. Gives an `ELoadResult`; `outSession` is set
    /// unless that is `Failed`.
    static std::int32_t sLoad(const std::string& path, const RTTI::TypeRegistry& registry, SymbolSource* symbolCache,
        System::JobScheduler* jobScheduler, const PluginList* plugins, std::unique_ptr<Session>& outSession,
        Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    /// Null when unknown. The address of a thread stays as long as the session.
    Thread* FindThread(std::int32_t threadID);
    const Thread* FindThread(std::int32_t threadID) const;
    /// An id that came out of the events. One that the table lacks (that of another process, or from a damaged file)
    /// enters it.
    Thread& GetThread(std::int32_t threadID);
    Thread& GetOrCreateThread(std::int32_t threadID);
    /// Brings the order to that of display: the threads that ran and worked most come first.
    void SortThreads();

    /// What the models do follows one rule: the first that fails ends the operation, and its errors are in `result`.
    void CreateModels();
    [[nodiscard]] bool BeginModels(Utility::Result& result);
    [[nodiscard]] bool BeginModels(const std::vector<Model*>& models, Utility::Result& result);
    void NotifyPhaseA();
    void NotifyPhaseA(const std::vector<Model*>& models);
    void NotifyPhaseB();
    /// One event of a recording: to the threads, the models and the stream, in this order. When a model fails it is not
    /// stored. A false from the stream leaves the session as it is; see `TraceEventStream::AddEvent`.
    [[nodiscard]] bool AddEvent(const TraceEvent& event, Utility::Result& result);
    /// The same, and makes strings only for models.
    [[nodiscard]] bool AddEvent(const TraceEventView& event, Utility::Result& result);
    /// Sorts the threads, ends the models and saves everything.
    [[nodiscard]] bool EndModels(Utility::Result& result);
    [[nodiscard]] bool EndModels(const std::vector<Model*>& models, Utility::Result& result);

    /// Builds the models that `sLoad` could not restore from the events, then sorts the threads and saves. On a thread
    /// of the caller's choice; `cancelled` may be set from any other and may be null, as may `progress`, which is told
    /// of each percent. After a cancellation or a failed event the models keep what they have by then and are no longer
    /// pending; a failure before the first event leaves them pending.
    [[nodiscard]] bool ProcessPendingModels(
        Utility::Result& result, const std::atomic<bool>* cancelled, Progress* progress);

    /// Models, event stream, session file, in this order, so that a session file never names events that are not there.
    [[nodiscard]] bool Save(Utility::Result& result);

    /// What `AddEvent` does with the thread table: only events of the recorded process count.
    void UpdateThreads(const TraceEventView& event);

    /// A path in the capture's directory.
    std::string GetFile(const std::string& fileName) const;

    /// A path in a plug-in's folder of the directory, which is created; with no file name the folder's own path.
    std::string GetPluginFile(const std::string& folder, const std::string& fileName) const;

    const std::string& GetPath() const { return mPath; }
    System::JobScheduler* GetJobScheduler() const { return mJobScheduler; }
    TraceEventStream& GetEventStream() { return *mEventStream; }
    const TraceEventStream& GetEventStream() const { return *mEventStream; }
    ModuleDatabase& GetModuleDatabase() { return mModuleDatabase; }
    const ModuleDatabase& GetModuleDatabase() const { return mModuleDatabase; }
    CallstackDatabase& GetCallstackDatabase() { return mCallstackDatabase; }
    const CallstackDatabase& GetCallstackDatabase() const { return mCallstackDatabase; }
    InstrumentationDatabase& GetInstrumentationDatabase() { return mInstrumentationDatabase; }
    const InstrumentationDatabase& GetInstrumentationDatabase() const { return mInstrumentationDatabase; }
    /// The capture side fills it, before the first event where threads are to be told from those of other processes.
    SessionInfo& GetSessionInfo() { return mSessionInfo; }
    const SessionInfo& GetSessionInfo() const { return mSessionInfo; }
    const ThreadMap& GetThreads() const { return mThreads; }
    /// In display order.
    const std::vector<std::int32_t>& GetThreadOrder() const { return mThreadOrder; }
    /// One for each plug-in, in the order of the list.
    std::vector<Model*> GetModels() const;

private:
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        // The misspelt key is in every stored file.
        return RTTI::gDescribe<Session>("Profiler::Session", RTTI::Version{3}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&Session::mThreads>{"Threads"}, RTTI::Field<&Session::mThreadOrder>{"ThreadOrder"},
            RTTI::Field<&Session::mModuleDatabase>{"ModuleDatabase"},
            RTTI::Field<&Session::mCallstackDatabase>{"CallstackDatabase"},
            RTTI::Field<&Session::mInstrumentationDatabase>{"IntrumentationDatabase"},
            RTTI::Field<&Session::mSessionInfo>{"SessionInfo"});
    }

    ELoadResult LoadContents(const RTTI::TypeRegistry& registry, Utility::Result& result);
    void CompleteThreadOrder();
    bool WriteContents(Utility::OutputMemoryStream& stream, Utility::Result& result);
    bool ReplayEvents(Utility::Result& result, const std::atomic<bool>* cancelled, Progress* progress);
    bool GiveToModels(const TraceEvent& event, Utility::Result& result);
    static bool sCheckModel(const ModelResult& modelResult, Utility::Result& result);

    // The last one goes first: databases, threads, the stream, and the models behind it.
    std::string mPath;
    System::JobScheduler* mJobScheduler = nullptr;
    const PluginList* mPlugins = nullptr;
    SessionInfo mSessionInfo;
    std::vector<std::unique_ptr<Model>> mModels;
    std::vector<Model*> mPendingModels; ///< of `mModels`: made at load, and still without the events
    std::unique_ptr<TraceEventStream> mEventStream;
    ThreadMap mThreads;
    std::array<Thread*, 64> mRecentThreads{}; ///< of `mThreads`, by the last bits of their ids: those of recent events
    TraceEvent mModelEvent;                   ///< one for all, so that its texts keep their room
    std::vector<std::int32_t> mThreadOrder;
    ModuleDatabase mModuleDatabase;
    InstrumentationDatabase mInstrumentationDatabase;
    CallstackDatabase mCallstackDatabase;
};

/// The session file of a capture that is named by its raw trace ("x.etl"); any other path is returned as it is.
std::string gGetSessionPath(const std::string& path);
bool gIsSameSession(const std::string& a, const std::string& b);
}
