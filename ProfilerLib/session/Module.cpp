#include "ProfilerLib/session/Module.h"

#include <algorithm>
#include <utility>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "SpindlemarkAPI/InstrumentationScope.h"
#include "Utility/Path.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"

namespace Profiler
{

Module::Module(SymbolSource* symbolCache)
    : mSymbolCache{symbolCache},
      mUnknownFunction{ResolvedAddress::cNoFunction, 0, "Unknown"}
{}

Module::~Module() = default;

ResolvedAddress Module::ResolveAddress(uint64_t address, bool cachedOnly)
{
    {
        const Utility::RecursiveMutexLock lock{mLock};
        if (const ResolvedFunction* function = FindFunction(address))
            return MakeResolved(*function, address);
    }
    if (!IsLoaded(cachedOnly))
        return MakeResolved(mUnknownFunction, address);
    const Symbol* symbol = mSymbolModule.load(std::memory_order_acquire)->FindByAddress(mImageBase, address);
    if (symbol == nullptr)
        return MakeResolved(mUnknownFunction, address);

    const uint64_t start = symbol->Address + mImageBase;
    const Utility::RecursiveMutexLock lock{mLock};
    auto position = std::ranges::lower_bound(mFunctions, start, {}, &ResolvedFunction::Address);
    if (position == mFunctions.end() || position->Address != start)
        position = mFunctions.insert(position, {start, symbol->Size, symbol->Name});
    return MakeResolved(*position, address);
}

ResolvedAddress Module::ResolveFunctionByName(std::string_view name, bool cachedOnly)
{
    {
        const Utility::RecursiveMutexLock lock{mLock};
        const auto found = std::ranges::find(mFunctions, name, &ResolvedFunction::Name);
        if (found != mFunctions.end())
            return MakeResolved(*found, found->Address);
    }
    if (IsLoaded(cachedOnly))
        if (const Symbol* symbol = mSymbolModule.load(std::memory_order_acquire)->FindByName(name))
            return ResolveAddress(symbol->Address + mImageBase, cachedOnly);
    return {};
}

bool Module::LoadPDB()
{
    // A copy, since nothing may be locked while the source works.
    const Identity identity = GetIdentity();
    const SpindlemarkAPI::InstrumentationScope scope{"Profiler::Module::LoadPDB", identity.mPDBName.c_str()};

    const SymbolModule* symbols = nullptr;
    if (mSymbolCache != nullptr)
        symbols = mSymbolCache->FindSymbolModule(identity.mPath, identity.mImageTimeStamp, mImageSize, identity.mPDBAge,
            identity.mPDBGUID, identity.mPDBName);
    const std::string guid = identity.mPDBGUID.ToString();
    if (symbols == nullptr)
    {
        Utility::gTrace("Failed to find PDB for module %s (%s) - GUID: %s, Age: %d", identity.mName.c_str(),
            identity.mPDBName.c_str(), guid.c_str(), identity.mPDBAge);
        mLoadState.store(ELoadState::Failed, std::memory_order_release);
        return false;
    }
    mSymbolModule.store(symbols, std::memory_order_release);
    Utility::gTrace(
        "Loaded PDB for module %s - GUID: %s, Age: %d", identity.mName.c_str(), guid.c_str(), identity.mPDBAge);
    mLoadState.store(ELoadState::Loaded, std::memory_order_release);
    return true;
}

ResolveRequest Module::ResolveFunctionData(const ResolvedAddress& resolvedAddress, uint64_t functionLineAddress,
    uint64_t cursorLineAddress, SymbolSource::FunctionDataHandler onFunctionData,
    SymbolSource::LineDataHandler onLineData, SymbolSource::CancelHandler onCancelled)
{
    if (mSymbolCache != nullptr)
        return mSymbolCache->ResolveFunctionData(GetPDBKey(), mImageBase, resolvedAddress, functionLineAddress,
            cursorLineAddress, std::move(onFunctionData), std::move(onLineData), std::move(onCancelled));
    if (onCancelled)
        onCancelled();
    return {};
}

ResolveRequest Module::ResolveLineData(const std::vector<uint64_t>& addresses, SymbolSource::LineDataHandler onLineData,
    SymbolSource::CancelHandler onCancelled)
{
    if (mSymbolCache != nullptr)
        return mSymbolCache->ResolveLineData(
            GetPDBKey(), mImageBase, addresses, std::move(onLineData), std::move(onCancelled));
    if (onCancelled)
        onCancelled();
    return {};
}

void Module::FindFunctions(std::string_view text, std::vector<InstrumentationSearchResult>& results) const
{
    const Utility::RecursiveMutexLock lock{mLock};
    for (const ResolvedFunction& function : mFunctions)
        if (Utility::gContainsIgnoreCase(function.Name, text))
            results.push_back({function.Name, function.Address, false});
}

void Module::SetImage(const ModuleImage& image)
{
    const Utility::RecursiveMutexLock lock{mLock};
    mPath = image.mPath;
    mName = FileSystem::gGetFileName(mPath);
    mImageBase = image.mImageBase;
    mImageSize = image.mImageSize;
    mImageEnd = mImageBase + static_cast<uint64_t>(std::max(mImageSize, 0));
    mImageTimeStamp = image.mTimeStamp;
    mPDBAge = image.mPDBAge;
    mPDBGUID = image.mPDBGUID;
    mPDBName = image.mPDBName;
    mLoadTimeMs = image.mLoadTimeMs;
    mUnloadTimeMs = image.mUnloadTimeMs;
}

void Module::FillGaps(const ModuleImage& image)
{
    const Utility::RecursiveMutexLock lock{mLock};
    if (mLoadTimeMs == ModuleImage::cAlwaysLoaded)
        mLoadTimeMs = image.mLoadTimeMs;
    if (mUnloadTimeMs == ModuleImage::cNeverUnloaded)
        mUnloadTimeMs = image.mUnloadTimeMs;
    if (mImageTimeStamp == 0)
        mImageTimeStamp = image.mTimeStamp;
    if (mPDBAge == -1)
        mPDBAge = image.mPDBAge;
    if (mPDBGUID.Data1 == 0 || mPDBGUID.Data2 == 0)
        mPDBGUID = image.mPDBGUID;
    if (mPDBName.empty())
        mPDBName = image.mPDBName;
    if (mPath != image.mPath)
        mPath = image.mPath;
}

void Module::OnLoaded()
{
    const Utility::RecursiveMutexLock lock{mLock};
    mName = FileSystem::gGetFileName(mPath);
    if (mFunctions.empty())
    {
        mFunctions.reserve(mResolvedFunctions.size());
        for (auto& [address, function] : mResolvedFunctions)
            mFunctions.push_back(std::move(function));
        mResolvedFunctions = FunctionMap{};
    }
    SortFunctions();
    mLoadState.store(ELoadState::Stored, std::memory_order_release);
}

void Module::SortFunctions()
{
    const auto isOutOfOrder = [](const ResolvedFunction& a, const ResolvedFunction& b) {
        return a.Address >= b.Address;
    };
    if (std::adjacent_find(mFunctions.begin(), mFunctions.end(), isOutOfOrder) == mFunctions.end())
        return;
    std::ranges::stable_sort(mFunctions, {}, &ResolvedFunction::Address);
    const auto isSame = [](const ResolvedFunction& a, const ResolvedFunction& b) {
        return a.Address == b.Address;
    };
    mFunctions.erase(std::unique(mFunctions.begin(), mFunctions.end(), isSame), mFunctions.end());
}

void Module::SetPlaceholder(std::string_view name)
{
    const Utility::RecursiveMutexLock lock{mLock};
    mName = name;
    mPath = name;
    mLoadState.store(ELoadState::Failed, std::memory_order_release);
}

bool Module::Contains(uint64_t address) const
{
    // Not by the end, which lies below the base when the image reaches over the top of the address space.
    return address >= mImageBase && address - mImageBase < static_cast<uint64_t>(std::max(mImageSize, 0));
}

Module::EMapped Module::GetMapped(double timeMs) const
{
    const Utility::RecursiveMutexLock lock{mLock};
    if (mLoadTimeMs > timeMs)
        return EMapped::Later;
    return mLoadTimeMs <= timeMs && timeMs <= mUnloadTimeMs ? EMapped::Yes : EMapped::Before;
}

std::string Module::GetName() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mName;
}

std::string Module::GetPath() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mPath;
}

PDBKey Module::GetPDBKey() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return PDBKey::sMake(mPath, mImageTimeStamp, mImageSize, mPDBAge, mPDBGUID, mPDBName);
}

double Module::GetLoadTimeMs() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mLoadTimeMs;
}

double Module::GetUnloadTimeMs() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mUnloadTimeMs;
}

std::vector<ResolvedFunction> Module::GetFunctions() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mFunctions;
}

Module::Identity Module::GetIdentity() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return {mName, mPath, mPDBName, mImageTimeStamp, mPDBAge, mPDBGUID};
}

/// Loads the symbols when this lookup may and nobody has tried yet; true when they are there.
bool Module::IsLoaded(bool cachedOnly)
{
    const ELoadState state = GetLoadState();
    if (state == ELoadState::Unknown || (state == ELoadState::Stored && !cachedOnly))
        LoadPDB();
    return GetLoadState() == ELoadState::Loaded;
}

ResolvedAddress Module::MakeResolved(const ResolvedFunction& function, uint64_t address)
{
    return {this, function.Address, function.Size, address, function.Name};
}

/// The function that covers the address, by binary search; null for none.
const ResolvedFunction* Module::FindFunction(uint64_t address) const
{
    const auto behind = std::ranges::upper_bound(mFunctions, address, {}, &ResolvedFunction::Address);
    if (behind == mFunctions.begin())
        return nullptr;
    const ResolvedFunction& function = *std::prev(behind);
    return address - function.Address < function.Size ? &function : nullptr;
}

}
