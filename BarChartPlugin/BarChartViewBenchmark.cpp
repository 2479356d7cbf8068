#include "BarChartPlugin/BarChartContentsControl.h"
#include "BarChartPlugin/BarChartControl.h"
#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartWidget.h"
#include "ProfilerLib/controls/ControlHostWidget.h"
#include "ProfilerLib/controls/RootControl.h"
#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "ProfilerLib/settings/KeyboardState.h"
#include "ProfilerLib/settings/Settings.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "System/JobScheduler.h"
#include "Utility/FileSystem.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <QtGui/QOpenGLContext>
#include <QtGui/QOpenGLFunctions>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// What a frame of a chart costs, short or long, and how much showing a chart adds to the job that computes it.

namespace
{

using namespace Profiler;

constexpr int cWidth = 1400;
constexpr int cHeight = 900;
constexpr int32_t cThread = 1;
constexpr int32_t cShort = 1000;

/// A frame of the long chart against one of the short chart. Both draw about a bar a slot, but how many of the two bars
/// that could stand on a slot there are depends on the length.
constexpr double cFrameLimit = 1.5;

void gRequire(bool condition, const char* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

void gStartApplication()
{
    static int sArgumentCount = 1;
    static char sName[] = "Benchmark";
    static char* sArguments[] = {sName, nullptr};
    // It never ends: the end of the process is too late for that.
    [[maybe_unused]] static QApplication& sApplication = *new QApplication{sArgumentCount, sArguments};
    Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
}

class EmptyPlugin final : public Plugin
{
public:
    explicit EmptyPlugin(MessageBus* bus) : Plugin{bus, nullptr} {}
    std::unique_ptr<Model> CreateModel(Session&) override { return nullptr; }
    std::unique_ptr<Model> LoadModel(Session&) override { return nullptr; }
    std::unique_ptr<View> CreateView(ViewHost&, ViewContext&, Model&) override { return nullptr; }
};

/// All that a view needs of a host, with a capture in a folder that goes with it.
struct Services
{
    Services()
        : mFolder{FileSystem::gCombinePath(
              std::filesystem::temp_directory_path().string(), "qs-" + Utility::gFormatGUID(Utility::gMakeGUID()))}
    {
        static RTTI::TypeRegistry sRegistry;
        [[maybe_unused]] static const bool sFilled = [] {
            gRegisterCaptureTypes(sRegistry);
            return true;
        }();
        gRequire(FileSystem::gCreateDirectoryTree(mFolder), "the folder cannot be made");
        mSession = std::make_unique<Session>(mFolder + "/x.session", nullptr, &mScheduler, &mPlugins);
        mContext.Settings = &mSettings;
        mContext.KeyboardState = &mKeyboard;
        mContext.RenderContext = &mRenderContext;
    }
    ~Services()
    {
        mSession.reset();
        FileSystem::gDeleteDirectoryTree(mFolder);
    }

    std::string mFolder;
    MessageBus mBus;
    EmptyPlugin mPlugin{&mBus};
    PluginList mPlugins;
    Settings mSettings;
    Input::KeyboardState mKeyboard;
    ViewHost mViewHost;
    ViewContext mContext;
    System::JobScheduler mScheduler{1};
    Renderer::RenderContext mRenderContext;
    std::unique_ptr<Session> mSession;
};

/// Occurrence `index` of the event: its begin or its end, which leave a context and durations that vary.
TraceEventView gMakeEvent(int64_t index, bool isBegin)
{
    TraceEventView event;
    event.mType = isBegin ? ETraceEventType::InstrumentationBegin : ETraceEventType::InstrumentationEnd;
    event.mThreadID = cThread;
    event.mTime = static_cast<double>(index) + (isBegin ? 0.0 : 0.1 + 0.001 * static_cast<double>(index * 7919 % 797));
    if (isBegin)
    {
        event.mName = "Update";
        event.mContext = "a context";
    }
    return event;
}

BarChart gMakeChart(int32_t numEvents)
{
    BarChart chart{{"Update", cThread}};
    for (int32_t i = 0; i < numEvents; ++i)
    {
        chart.ProcessEvent(gMakeEvent(i, true));
        chart.ProcessEvent(gMakeEvent(i, false));
    }
    return chart;
}

/// A control tree that shows a chart, with rasterising switched off: the CPU of a software driver would do that too.
class ChartFrame
{
public:
    ChartFrame(Services& services, BarChartModel& model, const BarChart& chart)
        : mRenderer{services.mRenderContext, 1.0F}
    {
        auto control =
            std::make_unique<BarChartControl>(nullptr, services.mContext, model, services.mViewHost.RangeChosen);
        BarChartControl& added = *control;
        mRoot.SetContent(std::move(control));
        mRoot.SetRect({0, 0, cWidth, cHeight});
        mRoot.OnLayout();
        mRenderer.SetViewportSize(cWidth, cHeight);
        added.SetBarChart(&chart);
    }

    void Draw()
    {
        mRoot.Update(0.016);
        mRoot.UpdateVisibleRects({0, 0, cWidth, cHeight});
        mRoot.Render(mRenderer);
        mRenderer.Flush();
    }

private:
    Renderer::PrimitiveRenderer mRenderer;
    RootControl mRoot{nullptr, {}};
};

/// CPU seconds of so many frames.
double gTimeFrames(ChartFrame& frame, int count)
{
    const std::clock_t begin = std::clock();
    for (int i = 0; i < count; ++i)
        frame.Draw();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

void gRunFrame(benchmark::State& state)
{
    gStartApplication();
    Services services;
    Tests::OffscreenGL gl{cWidth, cHeight};
    gRequire(gl.MakeCurrent() && services.mRenderContext.Initialise(), "there is no OpenGL");
    QOpenGLContext::currentContext()->functions()->glEnable(GL_RASTERIZER_DISCARD);
    BarChartModel model{&services.mPlugin, services.mSession.get()};
    const BarChart shortChart = gMakeChart(cShort);
    const BarChart longChart = gMakeChart(static_cast<int32_t>(state.range(0)));
    {
        ChartFrame shortFrame{services, model, shortChart};
        ChartFrame longFrame{services, model, longChart};
        constexpr int numFrames = 200;
        gTimeFrames(shortFrame, numFrames);
        gTimeFrames(longFrame, numFrames);
        double shortSeconds = 0.0;
        double longSeconds = 0.0;
        for (auto _ : state)
        {
            shortSeconds += gTimeFrames(shortFrame, numFrames);
            const double seconds = gTimeFrames(longFrame, numFrames);
            longSeconds += seconds;
            state.SetIterationTime(seconds);
        }
        const double frames = static_cast<double>(state.iterations()) * numFrames;
        state.counters["short_us"] = shortSeconds / frames * 1e6;
        state.counters["long_us"] = longSeconds / frames * 1e6;
        state.counters["ratio"] = longSeconds / shortSeconds;
        state.counters["limit"] = cFrameLimit;
    }
}

using Clock = std::chrono::steady_clock;

double gGetSeconds(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double gTimeJob(Services& services)
{
    BarChartModel model{&services.mPlugin, services.mSession.get()};
    const Clock::time_point begin = Clock::now();
    services.mScheduler.Wait({model.GetOrCreateBarChart(cThread, "Update", {}, [](BarChart&) {})}, false);
    return gGetSeconds(begin);
}

/// The next frame, until it is on the screen.
void gDrawFrame(BarChartWidget& widget, ControlHostWidget& host)
{
    bool isShown = false;
    const auto connection = QObject::connect(&host, &QOpenGLWidget::frameSwapped, &host, [&] { isShown = true; });
    widget.Update(0.0);
    while (!isShown)
        QCoreApplication::processEvents();
    QObject::disconnect(connection);
}

/// From picking the event in the combo box until its chart is on the screen; and for comparison the frame after it.
double gTimePick(Services& services, double& outFrameSeconds)
{
    BarChartModel model{&services.mPlugin, services.mSession.get()};
    model.ProcessEvent(TraceEvent{gMakeEvent(0, true)});
    BarChartWidget widget{services.mContext, model, services.mViewHost.RangeChosen, nullptr};
    auto& host = *widget.findChild<ControlHostWidget*>("mControlHostWidget");
    host.setFixedSize(cWidth, cHeight);
    widget.show();
    while (!host.IsInitialised())
        QCoreApplication::processEvents();
    // The driver compiles what a first frame needs.
    gDrawFrame(widget, host);

    bool isReady = false;
    QObject::connect(&widget, &BarChartWidget::OnGetOrCreateBarChartCompleted, &widget, [&] { isReady = true; });
    const Clock::time_point begin = Clock::now();
    widget.findChild<QComboBox*>("mEventComboBox")->setCurrentIndex(0);
    while (!isReady)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    gDrawFrame(widget, host);
    const double seconds = gGetSeconds(begin);
    const Clock::time_point frameBegin = Clock::now();
    gDrawFrame(widget, host);
    outFrameSeconds = gGetSeconds(frameBegin);
    return seconds;
}

void gRunPick(benchmark::State& state)
{
    gStartApplication();
    Services services;
    Utility::Result result;
    for (int64_t i = 0; i < state.range(0); i += 2)
    {
        for (const bool isBegin : {true, false})
            gRequire(services.mSession->GetEventStream().AddEvent(gMakeEvent(i, isBegin), result), "not recorded");
    }
    gRequire(services.mSession->GetEventStream().Flush(result), "not recorded");
    gTimeJob(services); // brings the file into the page cache
    double jobSeconds = 0.0;
    double pickSeconds = 0.0;
    double frameSeconds = 0.0;
    for (auto _ : state)
    {
        jobSeconds += gTimeJob(services);
        double frame = 0.0;
        const double seconds = gTimePick(services, frame);
        pickSeconds += seconds;
        frameSeconds += frame;
        state.SetIterationTime(seconds);
    }
    const auto count = static_cast<double>(state.iterations());
    state.counters["job_ms"] = jobSeconds / count * 1e3;
    state.counters["pick_ms"] = pickSeconds / count * 1e3;
    state.counters["frame_ms"] = frameSeconds / count * 1e3;
    state.counters["ratio"] = pickSeconds / jobSeconds;
}

}

BENCHMARK(gRunFrame)->Arg(100000)->Arg(10000000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(gRunPick)->Arg(100000)->Arg(1000000)->Arg(10000000)->UseManualTime()->Unit(benchmark::kMillisecond);
