#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/PDBKeyHash.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/SymbolResolver.h"
#include "ProfilerLib/symbols/SymbolSource.h"
#include "System/JobDescription.h"
#include "System/Mutex.h"
#include "Utility/Event.h"

namespace System
{
class JobScheduler;
}

namespace Profiler
{

class Settings;

/// Gives modules their symbols. Below the settings' symbol directory it keeps a tree of converted program databases,
/// shaped like a symbol store; a module's symbols are read from there or, when they are not there, converted by a
/// worker that writes them there. All that happens in the background, once for each key, on the first hint that a
/// module is needed. The host owns it. Any thread may call; only `FindSymbolModule` and `CancelAllPendingModuleLoads`
/// wait.
///
/// A key is in none of the two maps (unknown), in `mPendingHints` (being read, then perhaps being converted) or in
/// `mLoadedModules` (loaded, failed or cancelled). Loaded and failed ones stay; a new hint for a cancelled one tries
/// again. Neither the scheduler nor the pool is called with `mHintsLock` held, since both call back here.
class SymbolCache : public SymbolSource
{
public:
    enum EHint : int32_t
    {
        Started = 0,
        NotStarted = 1,   ///< it is loaded or under way already
        Unidentified = 2, ///< the data names no program database
    };

    /// `settings`, `scheduler` and `registry` must outlive it. It is made, and the settings are loaded, on one thread.
    SymbolCache(const std::string& logFilePath, const std::string& executablePath, Settings& settings,
        System::JobScheduler& scheduler, const RTTI::TypeRegistry& registry,
        SymbolResolver::CrashHandler onWorkerCrashed);
    /// Cancels what is under way. No thread may still wait for a module.
    ~SymbolCache() override;
    SymbolCache(const SymbolCache&) = delete;
    SymbolCache& operator=(const SymbolCache&) = delete;

    /// Says that a module will be needed, soon if `urgent`. Returns at once.
    EHint HintSymbolModule(const std::string& path, int32_t timeStamp, int32_t size, int32_t age,
        const SerializableGUID& guid, const std::string& pdbName, bool urgent) EXCLUDES(mHintsLock);

    [[nodiscard]] const SymbolModule* FindSymbolModule(const std::string& path, int32_t timeStamp, int32_t size,
        int32_t age, const SerializableGUID& guid, const std::string& pdbName) override EXCLUDES(mHintsLock);

    /// When it returns no load is under way that was when it was called.
    void CancelAllPendingModuleLoads() EXCLUDES(mHintsLock);

    ResolveRequest ResolveFunctionData(const PDBKey& key, uint64_t moduleBase, const ResolvedAddress& resolvedAddress,
        uint64_t functionLineAddress, uint64_t cursorLineAddress, FunctionDataHandler onFunctionData,
        LineDataHandler onLineData, CancelHandler onCancelled) override EXCLUDES(mResolveLock);
    ResolveRequest ResolveLineData(const PDBKey& key, uint64_t moduleBase, const std::vector<uint64_t>& addresses,
        LineDataHandler onLineData, CancelHandler onCancelled) override EXCLUDES(mResolveLock);

    using SourceLineHandler = std::function<void(const SourceLineData&)>;

    /// The source lines of addresses, with the files that they are in; addresses count from the image's base. What has
    /// been asked before is kept in a file beside the symbols: when that has all, the handler is called at once. Else a
    /// worker is asked for the rest, and the handler is called on a thread of the worker.
    ResolveRequest ResolveSourceLines(const PDBKey& key, const std::vector<uint64_t>& addresses,
        SourceLineHandler onLines, CancelHandler onCancelled);

    /// Told of the stages of a load, with the module's path, on any thread: the first of `StartLoadingFromCache` and
    /// `StartDownloadAndConvert`, and in the end `Finished`. The handler must not wait for a module.
    [[nodiscard]] EventSubscription SubscribeToState(std::function<void(const std::string&, ESymbolLoadState)> handler);

private:
    /// A module that is under way.
    struct PendingHint
    {
        uint64_t mAttempt = 0;      ///< tells it from other hints for the same key
        bool mIsConversion = false; ///< a job of the pool, or one of the scheduler
        bool mIsReading = false;    ///< somebody has begun to read the file
        bool mHasHandle = false;
        bool mPrioritize = false;           ///< asked to hurry before the handle was known
        bool mIsAnnounced = false;          ///< a stage was told, and not yet that it has finished
        System::JobHandle mJob;             ///< of a read
        uint32_t mRemoteJob = ~uint32_t{0}; ///< of a conversion
    };

    enum class EStatus : uint8_t
    {
        Done = 0,
        Failed = 1,
        Cancelled = 2,
    };

    struct LoadedModule
    {
        std::unique_ptr<SymbolModule> mSymbolModule; ///< never replaced: it has been given out
        EStatus mStatus = EStatus::Failed;
    };

    /// What the settings say, as one conversion needs it.
    struct Locations
    {
        std::string mCacheDirectory;
        std::string mSymbolServerPath;
        std::vector<std::string> mLocalSymbolDirectories;
        uint64_t mSymbolSettingsHash = ~uint64_t{0};
    };

    static bool sIsIdentified(const PDBKey& key);

    EHint Hint(const PDBKey& key, const std::string& modulePath, bool urgent) EXCLUDES(mHintsLock);
    void Hurry(PendingHint& hint, System::JobHandle& job, uint32_t& remoteJob) REQUIRES(mHintsLock);
    void StartRead(const PDBKey& key, uint64_t attempt, const std::string& path) EXCLUDES(mHintsLock);
    void StartConversion(const PDBKey& key, uint64_t attempt, const std::string& path) EXCLUDES(mHintsLock);
    void ReadPDBFromCache(const PDBKey& key, uint64_t attempt, const std::string& path, const bool& cancelled)
        EXCLUDES(mHintsLock);
    /// On the calling thread, when the file of `key` waits to be read: the scheduler's threads may all be waiting too.
    bool ReadHere(const PDBKey& key) EXCLUDES(mHintsLock);

    PendingHint* FindHint(const PDBKey& key, uint64_t attempt) REQUIRES(mHintsLock);
    void OnConvertProgress(const std::string& modulePath, ESymbolLoadState state) EXCLUDES(mHintsLock);
    void OnConvertResult(const PDBKey& key, std::unique_ptr<SymbolModule> module, ConvertPDBResult::EResult result)
        EXCLUDES(mHintsLock);
    void OnReadCanceled(const PDBKey& key, uint64_t attempt) EXCLUDES(mHintsLock);
    void OnHintCanceled(const PDBKey& key) EXCLUDES(mHintsLock);
    /// The end of a hint: tells listeners who have heard of it, then enters it and wakes those who wait.
    void EndHint(const PDBKey& key, std::unique_ptr<SymbolModule> module, EStatus status) EXCLUDES(mHintsLock);

    void OnSettingsChanged() EXCLUDES(mSettingsLock);
    Locations GetLocations() const EXCLUDES(mSettingsLock);

    Event<const std::string&, ESymbolLoadState> mStateEvent;
    const RTTI::TypeRegistry& mRegistry;
    Settings& mSettings;
    System::JobScheduler& mScheduler;
    EventSubscription mSettingsSubscription;

    mutable System::Mutex mSettingsLock;
    Locations mLocations GUARDED_BY(mSettingsLock);

    System::Mutex mHintsLock;
    /// A key has entered `mLoadedModules`, or a hint got its handle.
    System::ConditionVariable mHintsChanged;
    std::unordered_map<PDBKey, PendingHint, PDBKeyHash> mPendingHints GUARDED_BY(mHintsLock);
    std::unordered_map<PDBKey, LoadedModule, PDBKeyHash> mLoadedModules GUARDED_BY(mHintsLock);
    uint64_t mLastAttempt GUARDED_BY(mHintsLock) = 0;
    std::vector<System::JobHandle> mReadJobs GUARDED_BY(mHintsLock); ///< all that were ever scheduled

    /// Held while handlers are installed and the job that they are for is submitted.
    System::Mutex mResolveLock;

    /// The last member: it goes first, and its jobs with it.
    SymbolResolver mResolver;
};

}
