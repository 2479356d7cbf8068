#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/session/CallstackDatabase.h"
#include "ProfilerLib/session/InstrumentationDatabase.h"
#include "ProfilerLib/session/ModuleDatabase.h"
#include "ProfilerLib/session/SessionInfo.h"
#include "ProfilerLib/session/Thread.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Result.h"

namespace RTTI
{
class TypeRegistry;
}
namespace System
{
class JobScheduler;
}

namespace Profiler
{

class Model;
class Progress;
class SymbolSource;
class TraceEventStream;
struct TraceEvent;

/// One capture: its threads, databases, event stream and the models that were derived from the stream, with the directory
/// that holds them. Recording: constructor, `CreateModels`, `BeginModels`, `AddEvent` for each event, `EndModels`.
/// Loading: `sLoad`, and `ProcessPendingModels` when it asks for it. No lock: one thread at a time writes.
class Session : public RTTI::Object
{
public:
    enum ELoadResult : int32_t
    {
        Loaded = 0,
        LoadedWithPendingModels = 1,
        Failed = 2,
    };

    /// For the type registry only.
    Session();

    /// A new capture at `path`, which is `<dir>/<name>.session`. Nothing is written before the first chunk or `Save`.
    Session(const std::string& path, SymbolSource* symbolCache, System::JobScheduler* jobScheduler,
        const PluginList* plugins);
    ~Session() override;

    static int32_t sLoad(const std::string& path, const RTTI::TypeRegistry& registry, SymbolSource* symbolCache,
        System::JobScheduler* jobScheduler, const PluginList* plugins, std::unique_ptr<Session>& outSession,
        Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    Thread* FindThread(int32_t threadID);
    Thread& GetThread(int32_t threadID);
    Thread& GetOrCreateThread(int32_t threadID);
    void SortThreads();

    void CreateModels();
    [[nodiscard]] bool BeginModels(Utility::Result& result);
    [[nodiscard]] bool BeginModels(const std::vector<Model*>& models, Utility::Result& result);
    void NotifyPhaseA();
    void NotifyPhaseA(const std::vector<Model*>& models);
    void NotifyPhaseB();
    [[nodiscard]] bool AddEvent(const TraceEvent& event, Utility::Result& result);
    [[nodiscard]] bool EndModels(Utility::Result& result);
    [[nodiscard]] bool EndModels(const std::vector<Model*>& models, Utility::Result& result);
    [[nodiscard]] bool ProcessPendingModels(
        Utility::Result& result, const std::atomic<bool>* cancelled, Progress* progress);
    [[nodiscard]] bool Save(Utility::Result& result);

    void UpdateThreads(const TraceEvent& event);

    /// A path in the capture's directory.
    std::string GetFile(const std::string& fileName) const;

    /// A path in a plug-in's folder of the directory, which is created; with no file name the folder's own path.
    std::string GetPluginFile(const std::string& folder, const std::string& fileName) const;

    const std::string& GetPath() const;
    System::JobScheduler* GetJobScheduler() const;
    TraceEventStream& GetEventStream();
    ModuleDatabase& GetModuleDatabase();
    CallstackDatabase& GetCallstackDatabase();
    InstrumentationDatabase& GetInstrumentationDatabase();
    SessionInfo& GetSessionInfo();
    const ThreadMap& GetThreads() const;
    const std::vector<int32_t>& GetThreadOrder() const;
    std::vector<Model*> GetModels() const;
};

/// The session file of a capture that is named by its raw trace ("x.etl"); any other path is returned as it is.
std::string gGetSessionPath(const std::string& path);
bool gIsSameSession(const std::string& a, const std::string& b);

}
