#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/SymbolResolver.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/JobControl.h"
#include "SymbolResolverWorker/JobExecutor.h"
#include "Utility/FileWriter.h"
#include "Utility/Format.h"
#include "Utility/Guid.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"
#include "tests/support/BenchmarkSize.h"

/// From a binary to a ".symcache" on the disk, beside a tool that only prints what the binary has.
namespace
{

using Clock = std::chrono::steady_clock;

class Scratch
{
public:
    Scratch() : mPath{std::filesystem::temp_directory_path() / Utility::gFormatGUID(Utility::gMakeGUID())}
    {
        std::filesystem::create_directories(mPath);
    }
    ~Scratch() { std::filesystem::remove_all(mPath); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    std::string operator/(const std::string& name) const { return mPath / name; }

private:
    const std::filesystem::path mPath;
};

RTTI::TypeRegistry& GetRegistry()
{
    static RTTI::TypeRegistry sRegistry;
    static const bool sIsReady = [] {
        Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
        Profiler::gReadySymbolRegistry(sRegistry);
        return true;
    }();
    (void)sIsReady;
    return sRegistry;
}

double Measure(const std::function<void()>& work)
{
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Converts an image and runs a command in turn. `ratio` is the command's time through ours: above 1 we are faster.
void CompareConversion(benchmark::State& state, const std::string& image, const std::string& command)
{
    (void)GetRegistry();
    const Scratch folder;
    Utility::Result result;
    Symbols::ImageIdentity identity;
    if (!identity.Read(image, result))
        return state.SkipWithError(result.ToString().c_str());
    const Profiler::ConvertPDBJob job{identity.mKey, 0, folder / "a.symcache", "", "", {}};
    double ours = 0;
    double theirs = 0;
    for (auto _ : state)
    {
        ours += Measure([&] { (void)Symbols::gConvert(job, Symbols::JobControl{}); });
        theirs += Measure([&] {
            if (std::system(command.c_str()) != 0)
                state.SkipWithError("the tool failed");
        });
    }
    const auto module = Profiler::SymbolModule::Load(job.CacheFilePath, GetRegistry(), 0, result);
    if (module == nullptr)
        return state.SkipWithError("nothing was converted");
    const auto count = static_cast<double>(module->GetFunctions().size());
    state.counters["functions"] = count;
    state.counters["functions/s"] = count * static_cast<double>(state.iterations()) / ours;
    state.counters["ratio"] = theirs / ours;
}

/// A library of a hundred thousand functions with names as C++ programs have them.
bool MakeImage(const Scratch& folder)
{
    std::string source = ".text\n";
    const auto numFunctions = static_cast<int>(Tests::gGetBenchmarkSize(100000));
    for (int i = 0; i < numFunctions; ++i)
    {
        const std::string name = Utility::gFormat("_ZN9Namespace5Class14Function%06dERKSt6vectorIiSaIiEEi", i);
        source +=
            ".globl " + name + "\n.type " + name + ", @function\n.size " + name + ", 16\n" + name + ": ret\n.skip 15\n";
    }
    FileSystem::FileError error;
    return FileSystem::gReplaceFile(folder / "big.s", std::as_bytes(std::span{source}), error) &&
           std::system(
               ("g++ -shared -nostdlib -Wl,--build-id " + folder / "big.s" + " -o " + folder / "big.so").c_str()) == 0;
}

void ConvertElf(benchmark::State& state)
{
    const Scratch folder;
    if (!MakeImage(folder))
        return state.SkipWithError("g++ is needed");
    const std::string image = folder / "big.so";
    CompareConversion(state, image, "readelf -sW " + image + " > /dev/null");
}
BENCHMARK(ConvertElf)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Twenty units of a thousand functions, made by clang and lld.
bool MakeDatabase(const Scratch& folder)
{
    std::string command = "cd " + folder / "" + " && ";
    const auto numFunctions = static_cast<int>(Tests::gGetBenchmarkSize(1000));
    for (int unit = 0; unit < 20; ++unit)
    {
        std::string source = unit == 0 ? "extern \"C\" int start() { return 0; }\n" : "";
        for (int i = 0; i < numFunctions; ++i)
            source += Utility::gFormat("namespace N%d { int Function%d(int v) { return v * %d; } }\n", unit, i, i);
        FileSystem::FileError error;
        const auto name = folder / Utility::gFormat("u%d.cpp", unit);
        if (!FileSystem::gReplaceFile(name, std::as_bytes(std::span{source}), error))
            return false;
    }
    command += "clang-14 --target=x86_64-pc-windows-msvc -g -gcodeview -c *.cpp && lld-link-14 -debug -nodefaultlib "
               "-entry:start -subsystem:console -opt:noref,noicf -out:big.exe *.o";
    return std::system((command + " > /dev/null 2>&1").c_str()) == 0;
}

void ConvertPdb(benchmark::State& state)
{
    const Scratch folder;
    if (!MakeDatabase(folder))
        return state.SkipWithError("clang-14 and lld-link-14 are needed");
    CompareConversion(
        state, folder / "big.exe", "llvm-pdbutil-14 dump -symbols -publics " + folder / "big.pdb" + " > /dev/null");
}
BENCHMARK(ConvertPdb)->Unit(benchmark::kMillisecond)->UseRealTime();

double ConvertByPool(uint32_t numWorkers, const Profiler::PDBKey& key, const Scratch& folder, int numJobs)
{
    Profiler::SymbolResolver pool{numWorkers, "", SYMBOL_WORKER, GetRegistry()};
    return Measure([&] {
        std::vector<uint32_t> jobs;
        for (int i = 0; i < numJobs; ++i)
            jobs.push_back(pool.SubmitConvertPDB(
                key, 0, folder / Utility::gFormat("%u-%d.symcache", numWorkers, i), "", "", {}, {}));
        pool.CancelAndWait(jobs, false);
    });
}

/// Eight conversions with one worker and with two, the start of their processes included. `ratio` is the former
/// through the latter.
void TwoWorkers(benchmark::State& state)
{
    const Scratch folder;
    Utility::Result result;
    Symbols::ImageIdentity identity;
    if (!MakeImage(folder) || !identity.Read(folder / "big.so", result))
        return state.SkipWithError("g++ is needed");
    double one = 0;
    double two = 0;
    for (auto _ : state)
    {
        one += ConvertByPool(1, identity.mKey, folder, 8);
        two += ConvertByPool(2, identity.mKey, folder, 8);
    }
    state.counters["ratio"] = one / two;
}
BENCHMARK(TwoWorkers)->Unit(benchmark::kMillisecond)->UseRealTime();

}
