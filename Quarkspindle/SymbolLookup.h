#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "ProfilerLib/settings/Settings.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/SymbolCache.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "System/JobScheduler.h"
#include "Utility/Result.h"

namespace Quarkspindle
{

/// What a person may say about where symbols come from, beside the settings.
struct SymbolPlaces
{
    std::string mCacheDirectory;         ///< empty for that of the settings
    std::vector<std::string> mLocations; ///< folders and servers, searched first
};

/// The symbols of one binary, by way of the cache and its workers. One thread; every operation waits, and ends soon
/// when the user interrupts it.
class SymbolLookup
{
public:
    explicit SymbolLookup(const std::atomic<bool>& interrupted) : mInterrupted{interrupted} {}

    /// False with the reason when there are no symbols for that file.
    [[nodiscard]] bool Open(const std::string& binary, const SymbolPlaces& places, Utility::Result& result);

    /// Addresses of its functions count from the image's base.
    const Profiler::SymbolModule& GetModule() const { return *mModule; }

    /// An address as people know it, counted from where the linker placed the image or from the image's base, as the
    /// latter.
    uint64_t MakeOffset(uint64_t address) const
    {
        return address >= mIdentity.mBase ? address - mIdentity.mBase : address;
    }
    /// And back, as other tools show it.
    uint64_t MakeAddress(uint64_t offset) const { return offset + mIdentity.mBase; }

    /// Source and instructions of a function, and the line of one place in it; instructions have addresses as other
    /// tools show them. Null with the reason when no worker answers.
    std::unique_ptr<Profiler::FunctionData> Resolve(
        const Profiler::Symbol& function, uint64_t offset, Utility::Result& result);

    /// The source lines of places in the image. Null with the reason when no worker answers.
    std::unique_ptr<Profiler::SourceLineData> FindLines(const std::vector<uint64_t>& offsets, Utility::Result& result);

private:
    void RegisterTypes();
    void ApplySettings(const SymbolPlaces& places);
    bool FindModule(Utility::Result& result);
    template <class Data>
    std::unique_ptr<Data> Await(std::promise<std::unique_ptr<Data>>& promise, Utility::Result& result) const;

    const std::atomic<bool>& mInterrupted;
    RTTI::TypeRegistry mRegistry;
    Profiler::Settings mSettings;
    Symbols::ImageIdentity mIdentity;
    std::string mBinary;
    std::unique_ptr<System::JobScheduler> mScheduler;
    std::unique_ptr<Profiler::SymbolCache> mCache;
    const Profiler::SymbolModule* mModule = nullptr;
};

}
