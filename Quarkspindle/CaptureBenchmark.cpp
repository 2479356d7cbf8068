#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Quarkspindle/Capture.h"
#include "Quarkspindle/Host.h"
#include "Utility/FileSystem.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "tests/support/BenchmarkSize.h"

// How long it takes to open a saved capture, with its chart model. A large one and one of a hundredth of its events are
// opened in turn: "growth" is how much longer the large one takes, at best.

namespace
{

const auto cNumEvents = static_cast<int64_t>(Tests::gGetBenchmarkSize(10'000'000));
const int64_t cNumFewEvents = cNumEvents / 100;

/// What opening may take, and how much longer for a hundred times the events.
constexpr double cMillisecondsLimit = 20.0;
constexpr double cGrowthLimit = 1.5;

void gRequire(bool condition, const Utility::Result& result)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", result.ToString().c_str());
    std::exit(1);
}

Quarkspindle::Host& gGetHost()
{
    static Quarkspindle::Host sHost;
    [[maybe_unused]] static const bool sIsLoaded = [] {
        Utility::Result result;
        gRequire(sHost.LoadPlugins(Quarkspindle::Host::EViews::Without, result), result);
        return true;
    }();
    return sHost;
}

/// A saved capture of so many events, gone with the object: scopes of 32 names on four threads.
class SavedCapture
{
public:
    explicit SavedCapture(int64_t numEvents)
        : mFolder{FileSystem::gCombinePath(
              std::filesystem::temp_directory_path().string(), "qs-" + Utility::gFormatGUID(Utility::gMakeGUID()))}
    {
        Utility::Result result;
        gRequire(FileSystem::gCreateDirectoryTree(mFolder), result);
        Profiler::Session session{GetPath(), nullptr, &gGetHost().GetJobScheduler(), &gGetHost().GetPlugins()};
        session.CreateModels();
        gRequire(session.BeginModels(result), result);
        Profiler::TraceEvent event;
        for (int64_t i = 0; i < numEvents; ++i)
        {
            const int64_t step = i / 4;
            event.mType = step % 2 == 0 ? Profiler::ETraceEventType::InstrumentationBegin
                                        : Profiler::ETraceEventType::InstrumentationEnd;
            event.mTime = static_cast<double>(i) * 0.001;
            event.mThreadID = static_cast<int32_t>(i % 4);
            event.mID = static_cast<uint64_t>(step / 2 % 32);
            event.mName = "Event " + std::to_string(event.mID);
            gRequire(session.AddEvent(event, result), result);
        }
        gRequire(session.EndModels(result), result);
    }
    ~SavedCapture() { FileSystem::gDeleteDirectoryTree(mFolder); }
    SavedCapture(const SavedCapture&) = delete;
    SavedCapture& operator=(const SavedCapture&) = delete;

    std::string GetPath() const { return mFolder + "/x.session"; }

private:
    std::string mFolder;
};

double gTimeOpening(const SavedCapture& capture)
{
    const std::atomic<bool> interrupted{false};
    Utility::Result result;
    const auto begin = std::chrono::steady_clock::now();
    const std::unique_ptr<Profiler::Session> session =
        Quarkspindle::gOpenCapture(gGetHost(), capture.GetPath(), interrupted, result);
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    gRequire(session != nullptr, result);
    return duration.count();
}

void gOpenSavedCapture(benchmark::State& state)
{
    const SavedCapture small{cNumFewEvents};
    const SavedCapture large{cNumEvents};
    double seconds = 0.0;
    double best = std::numeric_limits<double>::max();
    double bestOfFew = best;
    for (auto _ : state)
    {
        bestOfFew = std::min(bestOfFew, gTimeOpening(small));
        const double duration = gTimeOpening(large);
        best = std::min(best, duration);
        seconds += duration;
        state.SetIterationTime(duration);
    }
    state.counters["ms"] = seconds * 1e3 / static_cast<double>(state.iterations());
    state.counters["limit_ms"] = cMillisecondsLimit;
    state.counters["growth"] = best / bestOfFew;
    state.counters["limit_growth"] = cGrowthLimit;
}

BENCHMARK(gOpenSavedCapture)->Name("open 10M events")->UseManualTime()->Unit(benchmark::kMillisecond);

}
