#include "BarChartPlugin/BarChartBenchmarkMapping.h"
#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "System/JobScheduler.h"
#include "Utility/FileSystem.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

// How fast a chart comes out of a recorded stream: the job that computes it, through the scheduler, and in turn a bare
// loop over the mapped file that only steps from record to record, as the measure of what the machine can do.

namespace
{

/// What the job has to reach of the bare loop's rate.
constexpr double cRatioLimit = 0.85;

/// The chart's thread. Its "Frame" is rare, its "Update" frequent.
constexpr int32_t cThread = 1;

void gRequire(bool condition, const Utility::Result& result)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", result.ToString().c_str());
    std::exit(1);
}

/// What writing a stream takes.
void gRegisterTypes()
{
    static RTTI::TypeRegistry sRegistry;
    {
        const auto scope = sRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(sRegistry);
        Serialization::gRegisterTypes(sRegistry);
        Profiler::gRegisterProfilerTypes(sRegistry);
    }
    sRegistry.Finalize();
}

/// A capture of so many events, gone with the object: scopes on four threads, 44 bytes an event.
class Recording
{
public:
    explicit Recording(int64_t numEvents)
        : mFolder{FileSystem::gCombinePath(
              std::filesystem::temp_directory_path().string(), "qs-" + Utility::gFormatGUID(Utility::gMakeGUID()))}
    {
        gRegisterTypes();
        Utility::Result result;
        gRequire(FileSystem::gCreateDirectoryTree(mFolder), result);
        mSession = std::make_unique<Profiler::Session>(mFolder + "/x.session", nullptr, &mScheduler, &mPlugins);
        for (int64_t i = 0; i < numEvents; ++i)
            gRequire(mSession->GetEventStream().AddEvent(MakeEvent(i), result), result);
        gRequire(mSession->GetEventStream().Flush(result), result);
    }
    ~Recording()
    {
        mSession.reset();
        FileSystem::gDeleteDirectoryTree(mFolder);
    }

    Profiler::Session& GetSession() { return *mSession; }
    System::JobScheduler& GetScheduler() { return mScheduler; }

private:
    /// Every thread repeats "Update" or "Frame" with one scope inside; the threads take turns.
    Profiler::TraceEvent& MakeEvent(int64_t index)
    {
        const int64_t step = index / 4;
        const int64_t phase = step % 4;
        mEvent.mType =
            phase < 2 ? Profiler::ETraceEventType::InstrumentationBegin : Profiler::ETraceEventType::InstrumentationEnd;
        mEvent.mTime = static_cast<double>(index) * 0.001;
        mEvent.mThreadID = static_cast<int32_t>(index % 4);
        mEvent.mName = phase == 1 ? "Inner" : step % 40000 == 0 ? "Frame" : "Update";
        mEvent.mContext = phase == 1 ? "a text of 24 characters." : "another text of 25 letters";
        return mEvent;
    }

    std::string mFolder;
    System::JobScheduler mScheduler{1};
    Profiler::PluginList mPlugins;
    std::unique_ptr<Profiler::Session> mSession;
    Profiler::TraceEvent mEvent;
};

template <class T>
T gLoad(const std::byte* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

/// Steps over all records without a look at anything but their lengths, and without a check.
int64_t gStepOverRecords(std::span<const std::byte> bytes)
{
    constexpr uint8_t fixedSizes[] = {25, 18, 25, 33, 26, 18, 25, 41, 17};
    int64_t count = 0;
    for (std::size_t offset = 0; offset < bytes.size(); ++count)
    {
        const std::byte* record = bytes.data() + offset;
        const auto type = static_cast<uint8_t>(*record);
        offset += fixedSizes[type];
        if (type == 7)
        {
            const auto name = gLoad<uint64_t>(record + 25);
            offset += name + gLoad<uint64_t>(record + 33 + name);
        }
        else if (type == 6)
            offset += gLoad<uint64_t>(record + 17);
    }
    return count;
}

double gGetSeconds(std::chrono::steady_clock::duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

double gTimeBareLoop(const std::string& path, int64_t numEvents)
{
    const auto begin = std::chrono::steady_clock::now();
    const BenchmarkMapping mapping{path};
    const int64_t count = gStepOverRecords(mapping.GetBytes());
    const double seconds = gGetSeconds(std::chrono::steady_clock::now() - begin);
    if (count != numEvents)
        std::abort();
    return seconds;
}

double gTimeJob(Recording& recording, const std::string& name)
{
    Profiler::BarChartModel model{nullptr, &recording.GetSession()};
    const auto begin = std::chrono::steady_clock::now();
    const System::JobHandle job = model.GetOrCreateBarChart(
        cThread, name, {}, [](Profiler::BarChart& chart) { benchmark::DoNotOptimize(&chart); });
    recording.GetScheduler().Wait({job}, false);
    return gGetSeconds(std::chrono::steady_clock::now() - begin);
}

void gRunChartJob(benchmark::State& state, const std::string& name)
{
    const int64_t numEvents = state.range(0);
    Recording recording{numEvents};
    const std::string path = recording.GetSession().GetEventStream().GetDataPath();
    gTimeBareLoop(path, numEvents); // brings the file into the page cache
    double bareSeconds = 0.0;
    double seconds = 0.0;
    for (auto _ : state)
    {
        bareSeconds += gTimeBareLoop(path, numEvents);
        const double jobSeconds = gTimeJob(recording, name);
        seconds += jobSeconds;
        state.SetIterationTime(jobSeconds);
    }
    const auto events = static_cast<double>(state.iterations() * numEvents);
    state.counters["bare_Mevents/s"] = events / bareSeconds * 1e-6;
    state.counters["job_Mevents/s"] = events / seconds * 1e-6;
    state.counters["ratio"] = bareSeconds / seconds;
}

void gRunRareEvent(benchmark::State& state)
{
    gRunChartJob(state, "Frame");
    state.counters["limit"] = cRatioLimit;
}

/// One event in sixteen opens a bar: for comparison, the limit is for the rare one.
void gRunFrequentEvent(benchmark::State& state)
{
    gRunChartJob(state, "Update");
}

}

BENCHMARK(gRunRareEvent)->Arg(1000000)->Arg(10000000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(gRunFrequentEvent)->Arg(1000000)->UseManualTime()->Unit(benchmark::kMillisecond);
