#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "ProfilerLib/session/InstrumentationSearchResult.h"
#include "ProfilerLib/session/Module.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SerializableGUID.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Mutex.h"

namespace Profiler
{

class SymbolSource;

/// Every image that was mapped into the recorded process or the kernel, and when: an address with a time finds its
/// module. A member of its session. Modules are added by the thread that records; lookups come from any thread. Modules
/// stay until the end of the database, so a pointer to one may be kept as long.
class ModuleDatabase
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ModuleDatabase>(
            "Profiler::ModuleDatabase", RTTI::Version{1}, RTTI::Field<&ModuleDatabase::mModules>{"Modules"});
    }

public:
    /// Keeps the database and all its modules as they are while it lives, for a reader that walks their members.
    /// Lookups wait.
    class Freeze
    {
    public:
        explicit Freeze(const ModuleDatabase& database);
        Freeze(const Freeze&) = delete;
        Freeze& operator=(const Freeze&) = delete;
        ~Freeze();

    private:
        const ModuleDatabase& mDatabase;
    };

    /// `symbolCache` must outlive the database; null for one that finds no symbols.
    explicit ModuleDatabase(SymbolSource* symbolCache = nullptr);
    ModuleDatabase(const ModuleDatabase&) = delete;
    ModuleDatabase& operator=(const ModuleDatabase&) = delete;
    ~ModuleDatabase();

    /// Adds a module, or completes the one that `FindModule` finds at `imageBase` and `timeMs`, and returns it. The
    /// kernel's own image is asked for its interrupt functions here, which may load its symbols.
    Module& AddModule(std::string_view path, uint64_t imageBase, int32_t imageSize, int32_t timeStamp, int32_t pdbAge,
        const SerializableGUID& pdbGUID, std::string_view pdbName, double timeMs, double loadTimeMs,
        double unloadTimeMs);

    /// The module that was mapped at the address at that time; else one that was loaded there later, the first of them
    /// in the list; else null.
    Module* FindModule(uint64_t address, double timeMs) const;

    /// The function at an address at a time. Never without a module: one named "<unknown>" stands for none.
    ResolvedAddress ResolveAddress(uint64_t address, double timeMs, bool cachedOnly);

    /// Appends the functions resolved so far whose name contains `text`, whatever the case.
    void FindFunctions(std::string_view text, std::vector<InstrumentationSearchResult>& results) const;

    /// Whether the address lies in a module of that name, at any time. Without a lock: not beside `AddModule`.
    bool IsInNtdll(uint64_t address) const;
    bool IsInKernel32(uint64_t address) const;
    bool IsInKernelBase(uint64_t address) const;

    /// Once, by the session, after it was read. Null entries are dropped and modules that are not in order are sorted:
    /// a file can hold both.
    void OnLoaded();

    /// Of the instrumentation library; null when the process had none. Under the same rule as `IsInNtdll`.
    Module* GetInstrumentationModule() const { return mInstrumentationModule; }
    /// Sorted. Under the same rule as `IsInNtdll`.
    const std::vector<uint64_t>& GetKernelInterruptAddresses() const { return mKernelInterruptAddresses; }

    std::size_t GetNumModules() const;
    /// In the order of their bases.
    std::vector<Module*> GetModules() const;

private:
    Module* FindModuleAt(uint64_t address, double timeMs, std::size_t& insertIndex) const REQUIRES(mLock);
    void Classify(Module& module) REQUIRES(mLock);
    void CollectKernelInterruptAddresses(Module& kernel) EXCLUDES(mLock);

    mutable Utility::RecursiveMutex mLock; ///< taken before a module's
    SymbolSource* const mSymbolCache;
    Module mUnknownModule;
    std::vector<std::unique_ptr<Module>> mModules GUARDED_BY(mLock); ///< by image base

    // Written under the lock, read without: they are complete before anyone reads them.
    Module* mInstrumentationModule = nullptr;
    std::vector<Module*> mNtdllModules;
    std::vector<Module*> mKernel32Modules;
    std::vector<Module*> mKernelBaseModules;
    std::vector<uint64_t> mKernelInterruptAddresses;
};

}
