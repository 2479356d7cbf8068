#include "ProfilerLib/symbols/SymbolCache.h"

#include <algorithm>
#include <utility>

#include "ProfilerLib/settings/Settings.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SourceLines.h"
#include "ProfilerLib/symbols/SymbolCachePath.h"
#include "ProfilerLib/symbols/SymbolFiles.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "SpindlemarkAPI/InstrumentationScope.h"
#include "System/JobScheduler.h"
#include "System/Platform.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

constexpr uint32_t cNoRemoteJob = ~uint32_t{0};
constexpr uint8_t cBackground = 2;
constexpr uint8_t cUrgent = 0;

}

SymbolCache::SymbolCache(const std::string& logFilePath, const std::string& executablePath, Settings& settings,
    System::JobScheduler& scheduler, const RTTI::TypeRegistry& registry, SymbolResolver::CrashHandler onWorkerCrashed)
    : mRegistry{registry},
      mSettings{settings},
      mScheduler{scheduler},
      mResolver{static_cast<uint32_t>(System::gGetNumProcessors()), logFilePath, executablePath, registry}
{
    mResolver.SetCrashCallback(std::move(onWorkerCrashed));
    mResolver.SetConvertCallbacks(
        [this](const std::string& modulePath, ESymbolLoadState state) { OnConvertProgress(modulePath, state); },
        [this](const PDBKey& key, std::unique_ptr<SymbolModule> module, ConvertPDBResult::EResult result) {
            OnConvertResult(key, std::move(module), result);
        });
    OnSettingsChanged();
    mSettingsSubscription = settings.ChangeListeners.Subscribe([this] { OnSettingsChanged(); });
}

SymbolCache::~SymbolCache()
{
    mSettingsSubscription.Unsubscribe();
    CancelAllPendingModuleLoads();
    // Also one that found nothing to read any more, or has told its end and is about to return.
    std::vector<System::JobHandle> jobs;
    {
        const System::MutexLock lock{mHintsLock};
        jobs = mReadJobs;
    }
    mScheduler.Wait(jobs, true);
}

void SymbolCache::OnSettingsChanged()
{
    const SymbolSettings& settings = mSettings.GetSymbolSettings();
    Locations locations;
    const std::string& directory = settings.GetSymbolCacheDirectory();
    // Without a directory there is no cache, rather than one in whatever directory is the current one.
    if (!directory.empty())
        locations.mCacheDirectory = FileSystem::gCombinePath(directory, "Quarkspindle");
    locations.mSymbolServerPath = settings.GetSymbolServerPath();
    locations.mLocalSymbolDirectories = settings.GetLocalSymbolDirectories();
    locations.mSymbolSettingsHash = settings.GetHash();
    FileSystem::FileError error;
    if (!directory.empty() && !FileSystem::gCreateDirectoryTree(locations.mCacheDirectory, error))
        Utility::gTrace("%s", error.ToString().c_str());
    {
        const System::MutexLock lock{mSettingsLock};
        mLocations = std::move(locations);
    }
    mResolver.SetCrashReportsEnabled(settings.AllowCrashUploads);
}

SymbolCache::Locations SymbolCache::GetLocations() const
{
    const System::MutexLock lock{mSettingsLock};
    return mLocations;
}

EventSubscription SymbolCache::SubscribeToState(std::function<void(const std::string&, ESymbolLoadState)> handler)
{
    return mStateEvent.Subscribe(std::move(handler));
}

bool SymbolCache::sIsIdentified(const PDBKey& key)
{
    return key.PDBAge != -1 && key.PDBGUID != SerializableGUID{} && !key.PDBName.empty();
}

SymbolCache::EHint SymbolCache::HintSymbolModule(const std::string& path, int32_t timeStamp, int32_t size, int32_t age,
    const SerializableGUID& guid, const std::string& pdbName, bool urgent)
{
    return Hint(PDBKey::sMake(path, timeStamp, size, age, guid, pdbName), path, urgent);
}

SymbolCache::EHint SymbolCache::Hint(const PDBKey& key, const std::string& modulePath, bool urgent)
{
    if (!sIsIdentified(key))
        return Unidentified;
    // Asked for before the lock is taken: a disk may be slow.
    const Locations locations = GetLocations();
    const std::string& directory = locations.mCacheDirectory;
    const std::string path = gMakeSymbolCachePath(directory, key);
    const bool isUsable = !directory.empty() && gIsInsideSymbolCache(directory, path);
    // Symbols that were had when there was no debug file yet would stay for ever.
    const bool isOutdated =
        isUsable && gIsOlderThanAny(path, gListSymbolFiles(key, modulePath, locations.mLocalSymbolDirectories));
    const bool isCached = isUsable && !isOutdated && FileSystem::gFileExists(path);

    System::JobHandle job;
    uint32_t remoteJob = cNoRemoteJob;
    uint64_t attempt = 0;
    bool isLoaded = false;
    {
        const System::MutexLock lock{mHintsLock};
        Utility::gTrace("Hinting SymbolModule '%s'", modulePath.c_str());
        const auto pending = mPendingHints.find(key);
        const auto loaded = mLoadedModules.find(key);
        if (pending != mPendingHints.end())
        {
            if (urgent)
                Hurry(pending->second, job, remoteJob);
        }
        else if (loaded != mLoadedModules.end() && loaded->second.mStatus != EStatus::Cancelled)
        {
            Utility::gTrace("\t...already loaded");
            isLoaded = true;
        }
        else
        {
            Utility::gTrace("\t...queued for conversion");
            if (isOutdated)
                Utility::gTrace("\t%s is older than a file that may have symbols, and is made anew", path.c_str());
            // Those who wait for the key wait for the new attempt.
            if (loaded != mLoadedModules.end())
                mLoadedModules.erase(loaded);
            attempt = ++mLastAttempt;
            PendingHint& hint = mPendingHints[key];
            hint.mAttempt = attempt;
            hint.mIsConversion = !isCached;
            hint.mPrioritize = urgent;
        }
    }
    if (isLoaded)
        mStateEvent.Fire(key.ModulePath, ESymbolLoadState::Finished);
    if (remoteJob != cNoRemoteJob)
        mResolver.Prioritize(remoteJob);
    if (job.IsValid())
        mScheduler.SetPriority(job, cUrgent);
    if (attempt == 0)
        return NotStarted;
    if (!isUsable)
    {
        Utility::gTrace(
            "There is no place for '%s' below the symbol cache directory '%s'", path.c_str(), directory.c_str());
        EndHint(key, nullptr, EStatus::Failed);
    }
    else if (isCached)
        StartRead(key, attempt, path);
    else
        StartConversion(key, attempt, path);
    return Started;
}

void SymbolCache::Hurry(PendingHint& hint, System::JobHandle& job, uint32_t& remoteJob)
{
    hint.mPrioritize = true;
    if (hint.mHasHandle && hint.mIsConversion)
        remoteJob = hint.mRemoteJob;
    else if (hint.mHasHandle)
        job = hint.mJob;
}

SymbolCache::PendingHint* SymbolCache::FindHint(const PDBKey& key, uint64_t attempt)
{
    const auto found = mPendingHints.find(key);
    return found != mPendingHints.end() && found->second.mAttempt == attempt ? &found->second : nullptr;
}

void SymbolCache::StartRead(const PDBKey& key, uint64_t attempt, const std::string& path)
{
    System::JobDescription description;
    description.mPriority = cBackground;
    description.mWork = [this, key, attempt, path](const bool& cancelled) {
        ReadPDBFromCache(key, attempt, path, cancelled);
    };
    description.mCancellation = [this, key, attempt](System::EJobCancellationState state) {
        if (state == System::EJobCancellationState::CancelFinished)
            OnReadCanceled(key, attempt);
    };
    const System::JobHandle job = mScheduler.Schedule(std::move(description));
    {
        const System::MutexLock lock{mHintsLock};
        mReadJobs.push_back(job);
        PendingHint* const hint = FindHint(key, attempt);
        // By now it may be read, and on its way to a worker.
        if (hint != nullptr && !hint->mIsConversion)
        {
            hint->mJob = job;
            hint->mHasHandle = true;
        }
        mHintsChanged.NotifyAll();
    }
    mScheduler.SetPriority(job, cUrgent);
}

void SymbolCache::StartConversion(const PDBKey& key, uint64_t attempt, const std::string& path)
{
    Locations locations = GetLocations();
    // New symbols may come with other lines.
    FileSystem::gDeleteFile(gMakeSourceLinesPath(locations.mCacheDirectory, key));
    const uint32_t job = mResolver.SubmitConvertPDB(key, locations.mSymbolSettingsHash, path,
        std::move(locations.mSymbolServerPath), std::move(locations.mCacheDirectory),
        std::move(locations.mLocalSymbolDirectories), [this, key] { OnHintCanceled(key); });
    bool isUrgent = false;
    {
        const System::MutexLock lock{mHintsLock};
        if (PendingHint* const hint = FindHint(key, attempt))
        {
            hint->mRemoteJob = job;
            hint->mHasHandle = true;
            isUrgent = hint->mPrioritize;
        }
        mHintsChanged.NotifyAll();
    }
    if (isUrgent)
        mResolver.Prioritize(job);
}

void SymbolCache::ReadPDBFromCache(const PDBKey& key, uint64_t attempt, const std::string& path, const bool& cancelled)
{
    const SpindlemarkAPI::InstrumentationScope scope{"ReadPDBFromCache", path.c_str()};
    {
        const System::MutexLock lock{mHintsLock};
        PendingHint* const hint = FindHint(key, attempt);
        // Somebody else may have read it, and found that it has to be converted.
        if (hint == nullptr || hint->mIsConversion || std::exchange(hint->mIsReading, true))
            return;
        hint->mIsAnnounced = true;
    }
    mStateEvent.Fire(key.ModulePath, ESymbolLoadState::StartLoadingFromCache);
    Utility::gTrace("\t%s exists in cache, reading...", path.c_str());
    Utility::Result result;
    const Locations locations = GetLocations();
    std::unique_ptr<SymbolModule> module = SymbolModule::Load(path, mRegistry, locations.mSymbolSettingsHash, result);
    // Folders that were named since may have a debug file that has been there for long.
    const bool isCurrent =
        module != nullptr && (module->GetSymbolSettingsHash() == locations.mSymbolSettingsHash ||
                                 gListLocalSymbolFiles(key, locations.mLocalSymbolDirectories).empty());
    if (isCurrent)
    {
        Utility::gTrace(
            "\tLoaded PDB for %s from cache (%s)", FileSystem::gGetFileName(key.ModulePath).c_str(), path.c_str());
        EndHint(key, std::move(module), EStatus::Done);
        return;
    }
    if (module != nullptr)
        result.Fail(Serialization::Incompatible, "The symbol settings name other files now");
    Utility::gTrace("\tFailed to load from cache: %s", result.ToString().c_str());
    bool isCancelled = false;
    {
        const System::MutexLock lock{mHintsLock};
        PendingHint* const hint = FindHint(key, attempt);
        if (hint == nullptr)
            return;
        isCancelled = System::gIsCancelled(cancelled);
        hint->mIsReading = false;
        hint->mIsAnnounced = !isCancelled;
        hint->mIsConversion = !isCancelled;
        hint->mHasHandle = isCancelled;
    }
    // The scheduler tells the end of what was cancelled, under its lock: too late for listeners.
    if (isCancelled)
        mStateEvent.Fire(key.ModulePath, ESymbolLoadState::Finished);
    else
        StartConversion(key, attempt, path);
}

bool SymbolCache::ReadHere(const PDBKey& key)
{
    uint64_t attempt = 0;
    {
        const System::MutexLock lock{mHintsLock};
        const auto found = mPendingHints.find(key);
        if (found == mPendingHints.end() || found->second.mIsConversion || found->second.mIsReading)
            return false;
        attempt = found->second.mAttempt;
    }
    ReadPDBFromCache(key, attempt, gMakeSymbolCachePath(GetLocations().mCacheDirectory, key), false);
    return true;
}

const SymbolModule* SymbolCache::FindSymbolModule(const std::string& path, int32_t timeStamp, int32_t size, int32_t age,
    const SerializableGUID& guid, const std::string& pdbName)
{
    const SpindlemarkAPI::InstrumentationScope scope{"Profiler::SymbolCache::FindSymbolModule"};
    Utility::gTrace("Finding SymbolModule for '%s'...", path.c_str());
    const PDBKey key = PDBKey::sMake(path, timeStamp, size, age, guid, pdbName);
    if (Hint(key, path, true) == Unidentified)
        return nullptr;
    System::MutexLock lock{mHintsLock};
    auto loaded = mLoadedModules.find(key);
    while (loaded == mLoadedModules.end())
    {
        lock.Unlock();
        const bool hasRead = ReadHere(key);
        lock.Lock();
        loaded = mLoadedModules.find(key);
        if (loaded == mLoadedModules.end() && !hasRead)
        {
            mHintsChanged.Wait(mHintsLock);
            loaded = mLoadedModules.find(key);
        }
    }
    const SymbolModule* const module = loaded->second.mSymbolModule.get();
    Utility::gTrace(module != nullptr ? "...found" : "...not found");
    return module;
}

void SymbolCache::CancelAllPendingModuleLoads()
{
    std::vector<std::pair<PDBKey, uint64_t>> attempts;
    {
        const System::MutexLock lock{mHintsLock};
        for (const auto& [key, hint] : mPendingHints)
            attempts.emplace_back(key, hint.mAttempt);
    }
    Utility::gTrace("CancelAllPendingModuleLoads");
    // A read that has failed goes on as a conversion, so it takes a second round; what somebody reads who waits for it
    // ends by itself.
    while (true)
    {
        std::vector<System::JobHandle> jobs;
        std::vector<uint32_t> remoteJobs;
        {
            const System::MutexLock lock{mHintsLock};
            bool isPending = true;
            while (isPending && jobs.empty() && remoteJobs.empty())
            {
                isPending = false;
                for (const auto& [key, attempt] : attempts)
                {
                    const PendingHint* const hint = FindHint(key, attempt);
                    isPending = isPending || hint != nullptr;
                    if (hint == nullptr || !hint->mHasHandle)
                        continue;
                    if (hint->mIsConversion)
                        remoteJobs.push_back(hint->mRemoteJob);
                    else if (!hint->mIsReading)
                        jobs.push_back(hint->mJob);
                }
                if (isPending && jobs.empty() && remoteJobs.empty())
                    mHintsChanged.Wait(mHintsLock);
            }
        }
        if (jobs.empty() && remoteJobs.empty())
            return;
        mScheduler.Wait(jobs, true);
        mResolver.CancelAndWait(remoteJobs, true);
    }
}

void SymbolCache::OnConvertProgress(const std::string& modulePath, ESymbolLoadState state)
{
    {
        const System::MutexLock lock{mHintsLock};
        for (auto& [key, hint] : mPendingHints)
        {
            if (key.ModulePath == modulePath)
                hint.mIsAnnounced = state != ESymbolLoadState::Finished;
        }
    }
    mStateEvent.Fire(modulePath, state);
}

void SymbolCache::OnConvertResult(
    const PDBKey& key, std::unique_ptr<SymbolModule> module, ConvertPDBResult::EResult result)
{
    if (result == ConvertPDBResult::EResult::Canceled)
        return;
    const bool isDone = result == ConvertPDBResult::EResult::Success;
    EndHint(key, std::move(module), isDone ? EStatus::Done : EStatus::Failed);
}

void SymbolCache::OnHintCanceled(const PDBKey& key)
{
    Utility::gTrace("Hint was canceled for file %s", key.ModulePath.c_str());
    EndHint(key, nullptr, EStatus::Cancelled);
}

void SymbolCache::OnReadCanceled(const PDBKey& key, uint64_t attempt)
{
    {
        const System::MutexLock lock{mHintsLock};
        const PendingHint* const hint = FindHint(key, attempt);
        if (hint == nullptr || hint->mIsConversion || hint->mIsReading)
            return;
    }
    OnHintCanceled(key);
}

void SymbolCache::EndHint(const PDBKey& key, std::unique_ptr<SymbolModule> module, EStatus status)
{
    bool isAnnounced = false;
    {
        const System::MutexLock lock{mHintsLock};
        const auto hint = mPendingHints.find(key);
        if (hint == mPendingHints.end())
            return;
        isAnnounced = std::exchange(hint->second.mIsAnnounced, false);
    }
    if (isAnnounced)
        mStateEvent.Fire(key.ModulePath, ESymbolLoadState::Finished);
    const System::MutexLock lock{mHintsLock};
    if (mPendingHints.erase(key) == 0)
        return;
    LoadedModule& loaded = mLoadedModules[key];
    loaded.mSymbolModule = std::move(module);
    loaded.mStatus = status;
    mHintsChanged.NotifyAll();
}

ResolveRequest SymbolCache::ResolveFunctionData(const PDBKey& key, uint64_t moduleBase,
    const ResolvedAddress& resolvedAddress, uint64_t functionLineAddress, uint64_t cursorLineAddress,
    FunctionDataHandler onFunctionData, LineDataHandler onLineData, CancelHandler onCancelled)
{
    if (!sIsIdentified(key))
    {
        FunctionData nothing;
        nothing.Result = EResolveFunctionDataResult::PDBNotFound;
        onFunctionData(nothing);
        return {};
    }
    Locations locations = GetLocations();
    const System::MutexLock lock{mResolveLock};
    mResolver.SetResolveCallbacks(
        [onFunctionData = std::move(onFunctionData)](std::unique_ptr<FunctionData> data) { onFunctionData(*data); },
        [onLineData = std::move(onLineData)](std::unique_ptr<FunctionLineData> data) { onLineData(*data); });
    const uint32_t job = mResolver.SubmitResolveFunctionData(key, moduleBase, resolvedAddress, functionLineAddress,
        cursorLineAddress, std::move(locations.mSymbolServerPath), std::move(locations.mCacheDirectory),
        std::move(locations.mLocalSymbolDirectories), std::move(onCancelled));
    return {&mResolver, static_cast<int32_t>(job)};
}

ResolveRequest SymbolCache::ResolveLineData(const PDBKey& key, uint64_t moduleBase,
    const std::vector<uint64_t>& addresses, LineDataHandler onLineData, CancelHandler onCancelled)
{
    if (!sIsIdentified(key))
    {
        FunctionLineData nothing;
        nothing.Result = EResolveLineDataResult::PDBNotFound;
        onLineData(nothing);
        return {};
    }
    Locations locations = GetLocations();
    const System::MutexLock lock{mResolveLock};
    mResolver.SetResolveCallbacks(
        nullptr, [onLineData = std::move(onLineData)](std::unique_ptr<FunctionLineData> data) { onLineData(*data); });
    const uint32_t job =
        mResolver.SubmitResolveLineData(key, moduleBase, addresses, std::move(locations.mSymbolServerPath),
            std::move(locations.mCacheDirectory), std::move(locations.mLocalSymbolDirectories), std::move(onCancelled));
    return {&mResolver, static_cast<int32_t>(job)};
}

namespace
{

/// An answer without lines; a worker that says "success" and has none is wrong.
SourceLineData MakeFailure(const FunctionLineData& data)
{
    SourceLineData failure;
    const bool isWrong = data.Result == EResolveLineDataResult::Success;
    failure.Result = isWrong ? EResolveLineDataResult::CriticalError : data.Result;
    failure.ErrorMessage = isWrong ? "The answer of the symbol worker does not fit the question" : data.ErrorMessage;
    return failure;
}

}

ResolveRequest SymbolCache::ResolveSourceLines(
    const PDBKey& key, const std::vector<uint64_t>& addresses, SourceLineHandler onLines, CancelHandler onCancelled)
{
    Locations locations = GetLocations();
    const std::string path = gMakeSourceLinesPath(locations.mCacheDirectory, key);
    if (!sIsIdentified(key) || locations.mCacheDirectory.empty() ||
        !gIsInsideSymbolCache(locations.mCacheDirectory, path))
    {
        onLines({});
        return {};
    }
    Utility::Result result;
    std::shared_ptr<SourceLines> lines = SourceLines::Load(path, mRegistry, key, locations.mSymbolSettingsHash, result);
    if (lines == nullptr)
        lines = std::make_shared<SourceLines>(key, locations.mSymbolSettingsHash);
    std::vector<uint64_t> unknown = lines->ListUnknown(addresses);
    if (unknown.empty())
    {
        Utility::gTrace("All lines are in %s", path.c_str());
        onLines(lines->Find(addresses));
        return {};
    }
    const auto onAnswer = [path, lines, addresses, unknown, onLines = std::move(onLines)](
                              std::unique_ptr<FunctionLineData> data) {
        const bool isGood = data->Result == EResolveLineDataResult::Success && RTTI::gIsA<SourceLineData>(*data) &&
                            lines->Add(unknown, static_cast<const SourceLineData&>(*data));
        if (!isGood)
            return onLines(MakeFailure(*data));
        Utility::Result saving;
        if (!lines->Save(path, saving))
            Utility::gTrace("The source lines are not kept: %s", saving.ToString().c_str());
        onLines(lines->Find(addresses));
    };
    const uint32_t job = mResolver.SubmitResolveSourceLines(key, unknown, std::move(locations.mSymbolServerPath),
        std::move(locations.mCacheDirectory), std::move(locations.mLocalSymbolDirectories), onAnswer,
        std::move(onCancelled));
    return {&mResolver, static_cast<int32_t>(job)};
}

}
