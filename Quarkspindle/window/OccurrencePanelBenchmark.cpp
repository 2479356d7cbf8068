#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <QtCore/QElapsedTimer>
#include <QtGui/QWindow>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QScrollBar>
#include <benchmark/benchmark.h>

#include "BarChartPlugin/BarChart.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Quarkspindle/window/OccurrencePanel.h"
#include "System/JobScheduler.h"
#include "Utility/Trace.h"
#include "tests/support/BenchmarkSize.h"

// For how long the table of occurrences holds up the thread of the widgets, with many rows beside few.

namespace Quarkspindle
{

namespace
{

constexpr int32_t cFewRows = 1000;
/// After it a filter that was typed is looked at.
const auto cTypingPauseMs = static_cast<int>(Tests::gGetBenchmarkSize(400));

void StartApplication()
{
    static int sArgumentCount = 1;
    static char sName[] = "Benchmark";
    static char* sArguments[] = {sName, nullptr};
    // It never ends: the end of the process is too late for that.
    [[maybe_unused]] static QApplication& sApplication = *new QApplication{sArgumentCount, sArguments};
    Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
}

/// Occurrence i lasts between 0.1 and 0.9 ms, in no order, and one in a hundred has a context of its own.
std::unique_ptr<Profiler::BarChart> MakeChart(int32_t numEvents)
{
    auto chart = std::make_unique<Profiler::BarChart>(Profiler::BarChartDescription{"work", 1});
    Profiler::TraceEventView event;
    event.mThreadID = 1;
    for (int32_t i = 0; i < numEvents; ++i)
    {
        event.mType = Profiler::ETraceEventType::InstrumentationBegin;
        event.mTime = i;
        event.mName = "work";
        event.mContext = i % 100 == 0 ? "rare" : "usual";
        chart->ProcessEvent(event);
        event.mType = Profiler::ETraceEventType::InstrumentationEnd;
        event.mTime = i + 0.1 + 0.001 * (static_cast<int64_t>(i) * 7919 % 797);
        chart->ProcessEvent(event);
    }
    return chart;
}

/// The panel on a screen, and the longest time that it has kept events waiting.
class Screen
{
public:
    explicit Screen(const Profiler::BarChart& chart) : mChart{chart}
    {
        mPanel.resize(1200, 400);
        mPanel.show();
        while (!mPanel.windowHandle()->isExposed())
            QCoreApplication::processEvents();
    }

    /// Milliseconds of the longest piece of `act`, and of all that follows until the rows are there and painted.
    double Measure(const std::function<void(OccurrencePanel&, QAbstractItemView&)>& act)
    {
        double longest = Time([&] { act(mPanel, GetTable()); });
        QElapsedTimer elapsed;
        elapsed.start();
        while (mPanel.IsBusy() || elapsed.elapsed() < cTypingPauseMs)
            longest = std::max(longest, Time([] { QCoreApplication::processEvents(); }));
        return std::max(longest, Time([&] { GetTable().viewport()->repaint(); }));
    }

    void Load()
    {
        Measure([this](OccurrencePanel& panel, QAbstractItemView&) { panel.SetChart(&mChart); });
    }

private:
    static double Time(const std::function<void()>& work)
    {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    }

    QAbstractItemView& GetTable() const { return *mPanel.findChild<QAbstractItemView*>("occurrenceTable"); }

    const Profiler::BarChart& mChart;
    System::JobScheduler mScheduler{1};
    OccurrencePanel mPanel{mScheduler, nullptr};
};

using Act = void (*)(OccurrencePanel& panel, QAbstractItemView& table, const Profiler::BarChart& chart);

void RunAct(benchmark::State& state, Act act, bool isLoaded)
{
    StartApplication();
    static std::unique_ptr<Profiler::BarChart> sFew = MakeChart(cFewRows);
    static std::unique_ptr<Profiler::BarChart> sMany;
    if (sMany == nullptr || sMany->GetNumEvents() != state.range(0))
        sMany = MakeChart(static_cast<int32_t>(state.range(0)));
    double few = 0.0;
    double many = 0.0;
    const auto measure = [&](const Profiler::BarChart& chart) {
        Screen screen{chart};
        if (isLoaded)
            screen.Load();
        return screen.Measure([&](OccurrencePanel& panel, QAbstractItemView& table) { act(panel, table, chart); });
    };
    for (auto _ : state)
    {
        few = std::max(few, measure(*sFew));
        const double time = measure(*sMany);
        many = std::max(many, time);
        state.SetIterationTime(time / 1e3);
    }
    state.counters["few_ms"] = few;
    state.counters["many_ms"] = many;
    state.counters["ratio"] = many / few;
}

void Load(benchmark::State& state)
{
    RunAct(
        state,
        [](OccurrencePanel& panel, QAbstractItemView&, const Profiler::BarChart& chart) { panel.SetChart(&chart); },
        false);
}

void Sort(benchmark::State& state)
{
    RunAct(
        state,
        [](OccurrencePanel& panel, QAbstractItemView&, const Profiler::BarChart&) {
            panel.SortBy(EOccurrenceOrder::Duration);
        },
        true);
}

void Filter(benchmark::State& state)
{
    RunAct(
        state,
        [](OccurrencePanel& panel, QAbstractItemView&, const Profiler::BarChart&) {
            panel.findChild<QLineEdit*>("occurrenceFilter")->setText("usual");
        },
        true);
}

void Scroll(benchmark::State& state)
{
    RunAct(
        state,
        [](OccurrencePanel&, QAbstractItemView& table, const Profiler::BarChart&) {
            QScrollBar& bar = *table.verticalScrollBar();
            bar.setValue(bar.maximum() / 2);
        },
        true);
}

void SelectAll(benchmark::State& state)
{
    RunAct(
        state, [](OccurrencePanel&, QAbstractItemView& table, const Profiler::BarChart&) { table.selectAll(); }, true);
}

void SelectSlowest(benchmark::State& state)
{
    RunAct(
        state, [](OccurrencePanel& panel, QAbstractItemView&, const Profiler::BarChart&) { panel.SelectSlowest(); },
        true);
}

}

BENCHMARK(Load)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Sort)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Filter)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Scroll)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(SelectAll)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(SelectSlowest)->Arg(10000)->Arg(10000000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}
