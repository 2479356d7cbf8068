#include "Importers/CaptureImport.h"
#include "Importers/EventSink.h"
#include "Importers/TraceImporter.h"
#include "ProfilerLib/session/CaptureTypes.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "tests/support/BenchmarkSize.h"

#include <algorithm>
#include <chrono>
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
    /// Complete events in the order of their ends, one thread, a text for most.
    Compiler,
    /// Many members and threads, arguments first, other phases between.
    Browser,
    /// Short begins and ends of several threads.
    BeginEnd,
};

const std::size_t sTextSize = Tests::gGetBenchmarkSize(64 * 1024 * 1024);

/// What clang writes of a large source: an event at its end, behind what is within it, and nine tenths of them with the
/// name of what was compiled, which comes back a dozen times.
class CompilerTrace
{
public:
    explicit CompilerTrace(std::mt19937_64& random) : mRandom(random)
    {
        for (int i = 0; i < 15'000; ++i)
        {
            mDetails.push_back(MakeDetail());
        }
    }

    std::string Make()
    {
        mText = "{\"traceEvents\":[";
        while (mText.size() < sTextSize)
        {
            AddEvent(0);
        }
        mText.back() = ']';
        return mText + ",\"beginningOfTime\":1718000000000000}";
    }

private:
    std::string MakeDetail()
    {
        const auto number = static_cast<unsigned long long>(mRandom() % 3'000);
        switch (mRandom() % 4)
        {
        case 0:
            return Utility::gFormat(
                "/usr/lib/gcc/x86_64-linux-gnu/12/../../../../include/c++/12/bits/part_%llu.h", number);
        case 1:
            return Utility::gFormat("app::Node%llu", number);
        case 2:
            return Utility::gFormat("std::vector<std::pair<const std::string, app::Type%llu>, "
                                    "std::allocator<std::pair<const std::string, app::Type%llu>>>::emplace_back<int>",
                number, number);
        default:
            return Utility::gFormat(
                "app::Visit<%llu>::operator()(const char *)::(lambda at \\\"a.cpp\\\":%llu)", number, number);
        }
    }

    void AddEvent(int depth)
    {
        static const char* const names[] = {
            "Source", "ParseClass", "InstantiateClass", "InstantiateFunction", "ParseTemplate", "OptFunction"};
        const std::int64_t start = mTime;
        mTime += static_cast<std::int64_t>(mRandom() % 40);
        for (std::uint64_t i = depth < 6 ? mRandom() % 3 : 0; i > 0; --i)
        {
            AddEvent(depth + 1);
        }
        mTime += static_cast<std::int64_t>(mRandom() % 40);
        mText += Utility::gFormat("{\"pid\":25327,\"tid\":25327,\"ph\":\"X\",\"ts\":%lld,\"dur\":%lld,\"name\":\"%s\"",
            static_cast<long long>(start), static_cast<long long>(mTime - start), names[mRandom() % std::size(names)]);
        mText +=
            mRandom() % 10 == 0 ? "}," : ",\"args\":{\"detail\":\"" + mDetails[mRandom() % mDetails.size()] + "\"}},";
    }

    std::mt19937_64& mRandom;
    std::vector<std::string> mDetails;
    std::string mText;
    std::int64_t mTime = 5'000;
};

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
            "{\"args\":{\"data\":{\"frame\":\"A7F0%llu\",\"url\":\"https://example.com/app/"
            "%llu.js\\u003Fv\",\"line\":%llu}},"
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
        text += Utility::gFormat(
            R"({"name":"app::Module%u::Update","cat":"app","ph":"%c","pid":1,"tid":%zu,"ts":%lld.%03lld},)", name,
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
            return CompilerTrace(random).Make();
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
    bool OnEnd(TextArena&, Utility::Result&) override { return true; }
};

void SetBytes(benchmark::State& state, ETrace kind)
{
    state.SetBytesProcessed(
        static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(GetText(kind).size()));
}

using Clock = std::chrono::steady_clock;

double GetSeconds(Clock::duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

/// What the import is measured against: another reader of JSON over bytes in memory, doing nothing with them.
double TimeOtherReader(ETrace kind)
{
    std::string text = GetText(kind);
    const Clock::time_point begin = Clock::now();
    rapidjson::Reader reader;
    rapidjson::InsituStringStream stream(text.data());
    rapidjson::BaseReaderHandler<> handler;
    const bool isRead = !reader.Parse<rapidjson::kParseInsituFlag>(stream, handler).IsError();
    benchmark::DoNotOptimize(isRead);
    return GetSeconds(Clock::now() - begin);
}

/// The import that has no more to do than to give events in their order.
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

/// A capture on the disk, as the command makes it, in the time of a clock on the wall. "read" is the part of that until
/// the last event has been read.
void BM_ImportCapture(benchmark::State& state)
{
    constexpr double ratioLimit = 1.6;

    const auto kind = static_cast<ETrace>(state.range(0));
    const TraceFile file(kind);
    RTTI::TypeRegistry registry;
    Profiler::gRegisterCaptureTypes(registry);
    double seconds = 0.0;
    double readSeconds = 0.0;
    double otherSeconds = 0.0;
    for (auto _ : state)
    {
        otherSeconds += TimeOtherReader(kind);
        FileSystem::gDeleteDirectoryTree(file.GetCapture());

        ImportReport report;
        Utility::Result result;
        ImportOptions options;
        const Clock::time_point begin = Clock::now();
        Clock::time_point readEnd = begin;
        options.mProgress = [&readEnd](const ImportProgress& progress) {
            readEnd = progress.mPhase == ImportProgress::EPhase::Reading ? Clock::now() : readEnd;
        };
        if (!gImportCapture(file.GetPath(), file.GetCapture(), false, options, {}, report, result))
        {
            state.SkipWithError(result.ToString().c_str());
        }
        const double duration = GetSeconds(Clock::now() - begin);
        state.SetIterationTime(duration);
        seconds += duration;
        readSeconds += GetSeconds(readEnd - begin);
        otherSeconds += TimeOtherReader(kind);
    }
    SetBytes(state, kind);
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["other_ms"] = otherSeconds / 2 / iterations * 1e3;
    state.counters["read_ms"] = readSeconds / iterations * 1e3;
    state.counters["ratio"] = seconds / (otherSeconds / 2);
    state.counters["limit"] = ratioLimit;
}

// 0 compiler, 1 browser, 2 begins and ends.
BENCHMARK(BM_ReadTrace)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImportCapture)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseManualTime();
}
}
