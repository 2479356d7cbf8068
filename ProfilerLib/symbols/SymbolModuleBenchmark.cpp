#include "ProfilerLib/symbols/SymbolModule.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/FileSystem.h"
#include "Utility/Result.h"

namespace Profiler
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int cNumFunctions = 100000;

/// A saved module of functions with names as long as those of C++ programs are.
class SavedModule
{
public:
    SavedModule()
    {
        gReadySymbolRegistry(mRegistry);

        std::mt19937_64 random{20261123};
        SymbolModule module{PDBKey::sMake("app", 1, 2, 3, {1, 2}, "app.pdb"), 1, ESymbolSource::Found};
        uint64_t address = 0x1000;
        for (int i = 0; i < cNumFunctions; ++i)
        {
            const uint64_t size = 16 + random() % 500;
            module.AddSymbol(address, size, "Namespace::Class::" + std::string(random() % 60, 'f') + std::to_string(i));
            address += size + random() % 16;
        }
        module.Sort();
        Utility::Result result;
        if (!module.Save(mPath, result))
            std::abort();
    }
    ~SavedModule() { FileSystem::gDeleteFile(mPath); }

    std::unique_ptr<SymbolModule> Load() const
    {
        Utility::Result result;
        std::unique_ptr<SymbolModule> module = SymbolModule::Load(mPath, mRegistry, 1, result);
        if (module == nullptr)
            std::abort();
        return module;
    }
    const std::string& GetPath() const { return mPath; }

private:
    RTTI::TypeRegistry mRegistry;
    const std::string mPath = (std::filesystem::temp_directory_path() / "quarkspindle-benchmark.symcache").string();
};

double GetSeconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void Load(benchmark::State& state)
{
    const SavedModule saved;
    double loading = 0;
    double reading = 0;
    for (auto _ : state)
    {
        const auto start = Clock::now();
        const auto module = saved.Load();
        const double time = GetSeconds(start);
        benchmark::DoNotOptimize(module.get());
        state.SetIterationTime(time);
        loading += time;

        const auto bareStart = Clock::now();
        std::vector<std::byte> bytes;
        if (!FileSystem::gReadFileToBuffer(saved.GetPath(), bytes))
            std::abort();
        benchmark::DoNotOptimize(bytes.data());
        reading += GetSeconds(bareStart);
    }
    state.counters["functions/s"] = static_cast<double>(state.iterations()) * cNumFunctions / loading;
    state.counters["ratio"] = loading / reading;
}

void Find(benchmark::State& state)
{
    const SavedModule saved;
    const auto module = saved.Load();
    std::vector<uint64_t> addresses;
    for (const Symbol& symbol : module->GetFunctions())
        addresses.push_back(symbol.Address);
    std::mt19937_64 random{20261123};
    std::vector<uint64_t> wanted(100000);
    for (uint64_t& address : wanted)
        address = 0x1000 + random() % (addresses.back() - 0x1000);
    double finding = 0;
    double bare = 0;
    for (auto _ : state)
    {
        const auto start = Clock::now();
        for (const uint64_t address : wanted)
            benchmark::DoNotOptimize(module->FindByAddress(0, address));
        const double time = GetSeconds(start);
        state.SetIterationTime(time);
        finding += time;
        const auto bareStart = Clock::now();
        for (const uint64_t address : wanted)
            benchmark::DoNotOptimize(std::ranges::upper_bound(addresses, address));
        bare += GetSeconds(bareStart);
    }
    state.counters["lookups/s"] =
        static_cast<double>(state.iterations()) * static_cast<double>(wanted.size()) / finding;
    state.counters["ratio"] = finding / bare;
}

BENCHMARK(Load)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Find)->UseManualTime()->Unit(benchmark::kMillisecond);

}

}
