#include "Importers/CaptureImport.h"
#include "Importers/EventSink.h"
#include "Importers/TraceImporter.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <rapidjson/reader.h>

namespace Importers
{
namespace
{
/// The kinds of traces that differ most in what an import has to do.
enum class ETrace
{
    /// Complete events in the order of their ends, one thread, a text for each.
    Compiler,
    /// Many members and threads, arguments first, other phases between.
    Browser,
    /// Short begins and ends of several threads.
    BeginEnd,
};

constexpr std::size_t sTextSize = 32 * 1024 * 1024;

std::string MakeCompilerTrace(std::mt19937_64& random)
{
    static const char* const names[] = {
        "Source", "ParseClass", "InstantiateFunction", "CodeGen Function", "OptFunction"};
    std::string text = "{\"traceEvents\":[";
    std::int64_t time = 5'000;
    while (text.size() < sTextSize)
    {
        // A parent ends behind its children and so is written behind them.
        const int numChildren = static_cast<int>(random() % 4);
        const std::int64_t start = time;
        for (int i = 0; i <= numChildren; ++i)
        {
            const std::int64_t duration = 100 + static_cast<std::int64_t>(random() % 900);
            const bool isParent = i == numChildren;
            text +=
                Utility::gFormat("{\"pid\":25327,\"tid\":25327,\"ph\":\"X\",\"ts\":%lld,\"dur\":%lld,\"name\":\"%s\","
                                 "\"args\":{\"detail\":\"/usr/include/c++/12/bits/header_%llu.h\"}},",
                    static_cast<long long>(isParent ? start : time + 1),
                    static_cast<long long>(isParent ? time + 10 - start : duration), names[random() % 5],
                    static_cast<unsigned long long>(random() % 3'000));
            time += isParent ? 20 : duration + 2;
        }
    }
    text.back() = ']';
    return text + ",\"beginningOfTime\":1718000000000000}";
}

std::string MakeBrowserTrace(std::mt19937_64& random)
{
    std::string text = "{\"traceEvents\":[\n";
    std::int64_t time = 361'123'456'789;
    while (text.size() < sTextSize)
    {
        const int thread = static_cast<int>(random() % 12);
        const auto value = static_cast<unsigned long long>(random() % 100'000);
        time += static_cast<std::int64_t>(random() % 40);
        if (random() % 5 == 0)
        {
            text +=
                Utility::gFormat("{\"args\":{\"data\":{\"documents\":%llu,\"jsHeapSizeUsed\":%llu,\"nodes\":[1,2,3]}},"
                                 "\"cat\":\"disabled-by-default-devtools.timeline\",\"name\":\"UpdateCounters\","
                                 "\"ph\":\"I\",\"pid\":%d,\"s\":\"t\",\"tid\":%d,\"ts\":%lld},\n",
                    value % 9, value, 1000 + thread / 4, 20 + thread, static_cast<long long>(time));
            continue;
        }
        text += Utility::gFormat(
            "{\"args\":{\"data\":{\"frame\":\"A7F0%llu\",\"url\":\"https://example.com/app/%llu.js\",\"line\":%llu}},"
            "\"cat\":\"devtools.timeline\",\"dur\":%llu,\"name\":\"FunctionCall%llu\",\"ph\":\"X\",\"pid\":%d,"
            "\"tdur\":%llu,\"tid\":%d,\"ts\":%lld,\"tts\":%lld},\n",
            value, value % 50, value % 700, value % 30, value % 20, 1000 + thread / 4, value % 30, 20 + thread,
            static_cast<long long>(time), static_cast<long long>(time / 3));
    }
    text.resize(text.size() - 2);
    return text + "\n],\"metadata\":{\"clock-domain\":\"LINUX_CLOCK_MONOTONIC\"}}";
}

std::string MakeBeginEndTrace(std::mt19937_64& random)
{
    std::string text = "[";
    std::vector<std::vector<unsigned>> open(8);
    std::int64_t time = 0;
    while (text.size() < sTextSize)
    {
        const std::size_t thread = random() % open.size();
        time += static_cast<std::int64_t>(random() % 3'000);
        const bool isBegin = open[thread].empty() || (open[thread].size() < 12 && random() % 2 == 0);
        const auto name = isBegin ? static_cast<unsigned>(random() % 40) : open[thread].back();
        text +=
            Utility::gFormat(R"({"name":"scope %u","cat":"app","ph":"%c","pid":1,"tid":%zu,"ts":%lld.%03lld},)", name,
                isBegin ? 'B' : 'E', thread, static_cast<long long>(time / 1000), static_cast<long long>(time % 1000));
        isBegin ? open[thread].push_back(name) : open[thread].pop_back();
    }
    text.back() = ']';
    return text;
}

const std::string& GetText(ETrace kind)
{
    static const std::string texts[] = {
        [] {
            std::mt19937_64 random(1);
            return MakeCompilerTrace(random);
        }(),
        [] {
            std::mt19937_64 random(2);
            return MakeBrowserTrace(random);
        }(),
        [] {
            std::mt19937_64 random(3);
            return MakeBeginEndTrace(random);
        }(),
    };
    return texts[static_cast<std::size_t>(kind)];
}

/// A folder with the trace in it, in the page cache.
class TraceFile
{
public:
    explicit TraceFile(ETrace kind)
        : mFolder(FileSystem::gCombinePath(std::filesystem::temp_directory_path().string(),
              "qs-benchmark-" + Utility::gFormatGUID(Utility::gMakeGUID())))
    {
        std::filesystem::create_directory(mFolder);
        const std::string& text = GetText(kind);
        std::ofstream(GetPath(), std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    ~TraceFile() { FileSystem::gDeleteDirectoryTree(mFolder); }
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    std::string GetPath() const { return mFolder + "/trace.json"; }
    std::string GetCapture() const { return mFolder + "/trace"; }

private:
    std::string mFolder;
};

class EmptySink final : public EventSink
{
public:
    bool OnBegin(const RecordingInfo&, Utility::Result&) override { return true; }
    bool OnEvent(const RecordedEvent& event, Utility::Result&) override
    {
        benchmark::DoNotOptimize(event.mTimeMs);
        return true;
    }
    bool OnEnd(Utility::Result&) override { return true; }
};

void SetBytes(benchmark::State& state, ETrace kind)
{
    state.SetBytesProcessed(
        static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(GetText(kind).size()));
}

/// What the import is measured against: another reader of JSON over bytes in memory, doing nothing with them.
void BM_OtherReader(benchmark::State& state)
{
    const auto kind = static_cast<ETrace>(state.range(0));
    std::string text;
    for (auto _ : state)
    {
        state.PauseTiming();
        text = GetText(kind);
        state.ResumeTiming();
        rapidjson::Reader reader;
        rapidjson::InsituStringStream stream(text.data());
        rapidjson::BaseReaderHandler<> handler;
        if (reader.Parse<rapidjson::kParseInsituFlag>(stream, handler).IsError())
        {
            state.SkipWithError("not JSON");
        }
    }
    SetBytes(state, kind);
}

void BM_ReadTrace(benchmark::State& state)
{
    const auto kind = static_cast<ETrace>(state.range(0));
    const TraceFile file(kind);
    for (auto _ : state)
    {
        EmptySink sink;
        ImportReport report;
        Utility::Result result;
        if (!gImportTrace(file.GetPath(), {}, sink, report, result))
        {
            state.SkipWithError(result.ToString().c_str());
        }
        state.counters["events"] = static_cast<double>(report.mNumEvents);
    }
    SetBytes(state, kind);
}

void BM_ImportCapture(benchmark::State& state)
{
    const auto kind = static_cast<ETrace>(state.range(0));
    const TraceFile file(kind);
    RTTI::TypeRegistry registry;
    {
        const auto scope = registry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(registry);
        Profiler::gRegisterProfilerTypes(registry);
        Serialization::gRegisterTypes(registry);
    }
    registry.Finalize();
    for (auto _ : state)
    {
        ImportReport report;
        Utility::Result result;
        if (!gImportCapture(file.GetPath(), file.GetCapture(), true, {}, {}, report, result))
        {
            state.SkipWithError(result.ToString().c_str());
        }
    }
    SetBytes(state, kind);
}

// 0 compiler, 1 browser, 2 begins and ends.
BENCHMARK(BM_OtherReader)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadTrace)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImportCapture)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
}
}
