#include "Quarkspindle/SymbolLookup.h"

#include <chrono>
#include <filesystem>
#include <future>

#include "ProfilerLib/settings/RegisterTypes.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/SettingsPath.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/Schema.h"
#include "Utility/FileError.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

/// How soon an interrupt is noticed.
constexpr std::chrono::milliseconds cPatience{20};

/// False when the user's interrupt came first.
template <class Future>
bool WaitFor(const Future& future, const std::atomic<bool>& interrupted)
{
    while (future.wait_for(cPatience) != std::future_status::ready)
    {
        if (interrupted.load(std::memory_order_relaxed))
            return false;
    }
    return true;
}

std::string MakeAbsolute(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::canonical(path, error);
    return error ? path : absolute.string();
}

/// Of the folders in the settings some may come and go; what is named for this once has to be there.
bool CheckPlaces(const SymbolPlaces& places, Utility::Result& result)
{
    const std::string& cache = places.mCacheDirectory;
    FileSystem::FileError error;
    if (!cache.empty() && !FileSystem::gCreateDirectoryTree(cache, error))
        return result.FailText(Serialization::Unspecified, error.ToString());
    std::error_code ignored;
    if (!cache.empty() && !std::filesystem::is_directory(cache, ignored))
        return result.Fail(Serialization::Unspecified, "%s is no folder to keep symbols in", cache.c_str());
    for (const std::string& location : places.mLocations)
    {
        if (!Profiler::SymbolSettings::IsServerAddress(location) && !std::filesystem::is_directory(location, ignored))
            return result.Fail(
                Serialization::FileNotFound, "%s is neither a folder nor the URL of a server", location.c_str());
    }
    return true;
}

}

bool SymbolLookup::Open(const std::string& binary, const SymbolPlaces& places, Utility::Result& result)
{
    mBinary = MakeAbsolute(binary);
    const std::string worker = gFindPrivateFile("SymbolResolverWorker");
    if (!CheckPlaces(places, result) || !mIdentity.Read(mBinary, result) ||
        !result.Check(FileSystem::gFileExists(worker), Serialization::FileNotFound,
            "Unable to find SymbolResolverWorker executable: %s", worker.c_str()))
        return false;
    RegisterTypes();
    ApplySettings(places);
    mScheduler = std::make_unique<System::JobScheduler>(1);
    mCache = std::make_unique<Profiler::SymbolCache>("", worker, mSettings, *mScheduler, mRegistry, [] {});
    return FindModule(result);
}

void SymbolLookup::RegisterTypes()
{
    {
        const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(mRegistry);
        Profiler::gRegisterSettingsTypes(mRegistry);
        Profiler::gRegisterSymbolTypes(mRegistry);
        Serialization::gRegisterTypes(mRegistry);
    }
    mRegistry.Finalize();
}

void SymbolLookup::ApplySettings(const SymbolPlaces& places)
{
    const std::string path = gGetSettingsPath();
    const bool hasFile = FileSystem::gFileExists(path);
    (void)mSettings.Load(path, mRegistry);
    Profiler::SymbolSettings& settings = mSettings.GetSymbolSettings();
    // Nothing is asked of a server that nobody has named.
    if (!hasFile)
        settings.UseMicrosoftSymbolServers = false;
    if (!places.mCacheDirectory.empty())
        settings.SetSymbolCacheDirectory(MakeAbsolute(places.mCacheDirectory));
    std::vector<Profiler::SymbolLocation> locations;
    for (const std::string& location : places.mLocations)
        locations.push_back(
            {Profiler::SymbolSettings::IsServerAddress(location) ? location : MakeAbsolute(location), true});
    settings.SymbolLocations.insert(settings.SymbolLocations.begin(), locations.begin(), locations.end());
}

bool SymbolLookup::FindModule(Utility::Result& result)
{
    const Profiler::PDBKey& key = mIdentity.mKey;
    const auto found = std::async(std::launch::async, [this, &key] {
        return mCache->FindSymbolModule(
            mBinary, key.ModuleTimeStamp, key.ModuleSize, key.PDBAge, key.PDBGUID, key.PDBName);
    }).share();
    if (!WaitFor(found, mInterrupted))
        mCache->CancelAllPendingModuleLoads();
    mModule = found.get();
    const auto context = result.PushContext(mBinary);
    if (mInterrupted.load(std::memory_order_relaxed))
        return result.Fail(Serialization::Unspecified, "Interrupted");
    const bool hasSymbols = mModule != nullptr && mModule->GetSourcePDBStatus() == Profiler::ESymbolSource::Found;
    return result.Check(hasSymbols, Serialization::FileNotFound,
               "There are no symbols for this file; --verbose shows where they were looked for") &&
           result.Check(!mModule->GetFunctions().empty(), Serialization::FileNotFound,
               "No function of this file is known: it has neither a symbol table nor an unwind table that can be read");
}

std::unique_ptr<Profiler::FunctionData> SymbolLookup::Resolve(
    const Profiler::Symbol& function, uint64_t offset, Utility::Result& result)
{
    using Profiler::FunctionData;

    Profiler::ResolvedAddress address;
    address.mFunctionAddress = MakeAddress(function.Address);
    address.mFunctionSize = function.Size;
    address.mAddress = MakeAddress(offset);
    const auto promise = std::make_shared<std::promise<std::unique_ptr<FunctionData>>>();
    mCache->ResolveFunctionData(
        mIdentity.mKey, mIdentity.mBase, address, address.mAddress, address.mAddress,
        [promise](const FunctionData& data) { promise->set_value(std::make_unique<FunctionData>(data)); },
        [](const Profiler::FunctionLineData&) {}, [promise] { promise->set_value(nullptr); });
    return Await(*promise, result);
}

std::unique_ptr<Profiler::SourceLineData> SymbolLookup::FindLines(
    const std::vector<uint64_t>& offsets, Utility::Result& result)
{
    using Profiler::SourceLineData;

    const auto promise = std::make_shared<std::promise<std::unique_ptr<SourceLineData>>>();
    mCache->ResolveSourceLines(
        mIdentity.mKey, offsets,
        [promise](const SourceLineData& data) { promise->set_value(std::make_unique<SourceLineData>(data)); },
        [promise] { promise->set_value(nullptr); });
    auto data = Await(*promise, result);
    const auto context = result.PushContext(mBinary);
    if (data != nullptr && data->Result != Profiler::EResolveLineDataResult::Success)
    {
        result.Fail(Serialization::Unspecified, "The source lines cannot be found: %s", data->ErrorMessage.c_str());
        return nullptr;
    }
    return data;
}

/// The promise is shared with handlers, which may be called after an interrupt.
template <class Data>
std::unique_ptr<Data> SymbolLookup::Await(std::promise<std::unique_ptr<Data>>& promise, Utility::Result& result) const
{
    auto answer = promise.get_future();
    if (!WaitFor(answer, mInterrupted))
    {
        result.Fail(Serialization::Unspecified, "Interrupted");
        return nullptr;
    }
    auto data = answer.get();
    if (data == nullptr)
        result.Fail(Serialization::Unspecified, "No symbol worker answered");
    return data;
}

}
