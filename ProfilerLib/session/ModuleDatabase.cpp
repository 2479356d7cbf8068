#include "ProfilerLib/session/ModuleDatabase.h"

#include <algorithm>
#include <array>
#include <string>

#include "Utility/Text.h"

namespace Profiler
{

namespace
{

/// The functions of the kernel that are entered by an interrupt, whatever was running.
constexpr std::array cKernelInterruptNames = {
    "KiApcInterrupt",
    "KiSwInterrupt",
    "KiRaiseSecurityCheckFailure",
    "KiRaiseAssertion",
    "KiDebugServiceTrap",
    "KiDpcInterrupt",
    "KiHvInterrupt",
    "KiInterruptDispatch",
    "KiInterruptDispatchNoLockNoEtw",
};

bool IsKernel(const Module& module)
{
    return Utility::gStartsWith("ntoskrnl", module.GetName(), false);
}

bool IsInAny(const std::vector<Module*>& modules, uint64_t address)
{
    return std::ranges::any_of(modules, [address](const Module* module) {
        return module->GetImageBase() <= address && address < module->GetImageEnd();
    });
}

}

ModuleDatabase::ModuleDatabase(SymbolSource* symbolCache) : mSymbolCache{symbolCache}, mUnknownModule{nullptr}
{
    mUnknownModule.SetPlaceholder("<unknown>");
}

ModuleDatabase::~ModuleDatabase() = default;

Module& ModuleDatabase::AddModule(std::string_view path, uint64_t imageBase, int32_t imageSize, int32_t timeStamp,
    int32_t pdbAge, const SerializableGUID& pdbGUID, std::string_view pdbName, double timeMs, double loadTimeMs,
    double unloadTimeMs)
{
    const ModuleImage image{path, imageBase, imageSize, timeStamp, pdbAge, pdbGUID, pdbName, loadTimeMs, unloadTimeMs};
    Module* added = nullptr;
    {
        const Utility::RecursiveMutexLock lock{mLock};
        std::size_t insertIndex = 0;
        if (Module* known = FindModuleAt(imageBase, timeMs, insertIndex))
        {
            known->FillGaps(image);
            return *known;
        }
        auto module = std::make_unique<Module>(mSymbolCache);
        module->SetImage(image);
        Classify(*module);
        added = module.get();
        mModules.insert(mModules.begin() + static_cast<std::ptrdiff_t>(insertIndex), std::move(module));
    }
    // Outside the lock, since it may load symbols, and lookups must not wait for that.
    if (IsKernel(*added))
        CollectKernelInterruptAddresses(*added);
    return *added;
}

Module* ModuleDatabase::FindModule(uint64_t address, double timeMs) const
{
    const Utility::RecursiveMutexLock lock{mLock};
    std::size_t insertIndex = 0;
    return FindModuleAt(address, timeMs, insertIndex);
}

/// `insertIndex` becomes the place of a new module with that base: behind all whose base is not above it.
Module* ModuleDatabase::FindModuleAt(uint64_t address, double timeMs, std::size_t& insertIndex) const
{
    const auto getBase = [](const std::unique_ptr<Module>& module) {
        return module->GetImageBase();
    };
    const auto behind = std::ranges::upper_bound(mModules, address, {}, getBase);
    insertIndex = static_cast<std::size_t>(behind - mModules.begin());

    Module* candidate = nullptr;
    for (std::size_t i = insertIndex; i > 0; --i)
    {
        Module& module = *mModules[i - 1];
        if (!module.Contains(address))
            break;
        const Module::EMapped mapped = module.GetMapped(timeMs);
        if (mapped == Module::EMapped::Yes)
            return &module;
        if (mapped == Module::EMapped::Later)
            candidate = &module;
    }
    return candidate;
}

ResolvedAddress ModuleDatabase::ResolveAddress(uint64_t address, double timeMs, bool cachedOnly)
{
    Module* module = FindModule(address, timeMs);
    return (module != nullptr ? *module : mUnknownModule).ResolveAddress(address, cachedOnly);
}

void ModuleDatabase::FindFunctions(std::string_view text, std::vector<InstrumentationSearchResult>& results) const
{
    const Utility::RecursiveMutexLock lock{mLock};
    for (const std::unique_ptr<Module>& module : mModules)
        module->FindFunctions(text, results);
}

bool ModuleDatabase::IsInNtdll(uint64_t address) const
{
    return IsInAny(mNtdllModules, address);
}

bool ModuleDatabase::IsInKernel32(uint64_t address) const
{
    return IsInAny(mKernel32Modules, address);
}

bool ModuleDatabase::IsInKernelBase(uint64_t address) const
{
    return IsInAny(mKernelBaseModules, address);
}

void ModuleDatabase::OnLoaded()
{
    {
        const Utility::RecursiveMutexLock lock{mLock};
        std::erase(mModules, nullptr);
        std::ranges::stable_sort(
            mModules, {}, [](const std::unique_ptr<Module>& module) { return module->GetImageBase(); });
        for (const std::unique_ptr<Module>& module : mModules)
        {
            module->OnLoaded();
            Classify(*module);
        }
    }
    for (Module* module : GetModules())
    {
        if (IsKernel(*module))
            CollectKernelInterruptAddresses(*module);
    }
}

/// No name here starts with another, so a module has one role at most.
void ModuleDatabase::Classify(Module& module)
{
    const std::string name = module.GetName();
    const auto startsWith = [&name](std::string_view prefix) {
        return Utility::gStartsWith(prefix, name, false);
    };
    if (startsWith("SpindlemarkAPI"))
    {
        if (mInstrumentationModule == nullptr)
            mInstrumentationModule = &module;
    }
    else if (startsWith("ntdll"))
        mNtdllModules.push_back(&module);
    else if (startsWith("kernel32"))
        mKernel32Modules.push_back(&module);
    else if (startsWith("kernelbase"))
        mKernelBaseModules.push_back(&module);
}

void ModuleDatabase::CollectKernelInterruptAddresses(Module& kernel)
{
    std::vector<uint64_t> addresses;
    for (const char* name : cKernelInterruptNames)
        if (const ResolvedAddress resolved = kernel.ResolveFunctionByName(name, true); resolved.HasFunction())
            addresses.push_back(resolved.mFunctionAddress);

    const Utility::RecursiveMutexLock lock{mLock};
    mKernelInterruptAddresses.insert(mKernelInterruptAddresses.end(), addresses.begin(), addresses.end());
    std::ranges::sort(mKernelInterruptAddresses);
}

// The modules' locks are as many as there are modules, which the analysis cannot follow.
ModuleDatabase::Freeze::Freeze(const ModuleDatabase& database) NO_THREAD_SAFETY_ANALYSIS : mDatabase{database}
{
    mDatabase.mLock.Lock();
    for (const std::unique_ptr<Module>& module : mDatabase.mModules)
        module->GetLock().Lock();
}

ModuleDatabase::Freeze::~Freeze() NO_THREAD_SAFETY_ANALYSIS
{
    for (const std::unique_ptr<Module>& module : mDatabase.mModules)
        module->GetLock().Unlock();
    mDatabase.mLock.Unlock();
}

std::size_t ModuleDatabase::GetNumModules() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    return mModules.size();
}

std::vector<Module*> ModuleDatabase::GetModules() const
{
    const Utility::RecursiveMutexLock lock{mLock};
    std::vector<Module*> modules;
    modules.reserve(mModules.size());
    for (const std::unique_ptr<Module>& module : mModules)
        modules.push_back(module.get());
    return modules;
}

}
