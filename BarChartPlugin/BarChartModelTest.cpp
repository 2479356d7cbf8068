#include "BarChartPlugin/BarChartModel.h"

#include "BarChartPlugin/BarChartJob.h"
#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Utility/Damage.h"
#include "Utility/FailureSweep.h"
#include "Utility/Hash.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/TemporaryFolder.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

namespace Profiler
{
namespace
{

RTTI::TypeRegistry& gGetRegistry()
{
    static RTTI::TypeRegistry sRegistry;
    [[maybe_unused]] static const bool sFilled = [] {
        {
            const RTTI::TypeRegistry::OwnerScope scope = sRegistry.BeginRegistration(RTTI::gGetOwnerID());
            RTTI::gRegisterTypes(sRegistry);
            gRegisterProfilerTypes(sRegistry);
            gRegisterSymbolTypes(sRegistry);
            Serialization::gRegisterTypes(sRegistry);
            gRegisterBarChartTypes(sRegistry);
        }
        sRegistry.Finalize();
        return true;
    }();
    return sRegistry;
}

class TestPlugin final : public Plugin
{
public:
    TestPlugin() : Plugin{nullptr, &gGetRegistry()} {}

    std::unique_ptr<Model> CreateModel(Session& session) override
    {
        return std::make_unique<BarChartModel>(this, &session);
    }
    std::unique_ptr<Model> LoadModel(Session& session) override
    {
        mResult.Clear();
        std::unique_ptr<BarChartModel> model;
        return BarChartModel::sLoad(*this, session, model, mResult) ? std::move(model) : nullptr;
    }
    std::unique_ptr<View> CreateView(ViewHost&, ViewContext&, Model&) override { return nullptr; }

    Utility::Result mResult;
};

class BarChartModelTest : public testing::Test
{
protected:
    explicit BarChartModelTest(int threadCount = 0) : mScheduler{threadCount}
    {
        mSession = std::make_unique<Session>(mFolder / "x.session", nullptr, &mScheduler, &mPlugins);
        mSession->CreateModels();
    }

    BarChartModel& GetModel() { return *gAsBarChartModel(*mSession->GetModels().at(0)); }

    void Begin(const std::string& name, int32_t threadID, const std::string& context = {})
    {
        TraceEvent event;
        event.mType = ETraceEventType::InstrumentationBegin;
        event.mName = name;
        event.mContext = context;
        Add(event, threadID);
    }
    void End(int32_t threadID)
    {
        TraceEvent event;
        event.mType = ETraceEventType::InstrumentationEnd;
        Add(event, threadID);
    }
    void Add(TraceEvent& event, int32_t threadID)
    {
        event.mTime = mTime;
        event.mThreadID = threadID;
        mTime += 0.25;
        Utility::Result result;
        ASSERT_TRUE(mSession->AddEvent(event, result)) << result.ToString();
    }

    /// Two threads with events of the same names, nested.
    void AddSomeEvents(int count = 10)
    {
        for (int i = 0; i < count; ++i)
        {
            Begin("Frame", 2, "frame " + std::to_string(i));
            Begin("Draw", 1);
            Begin("Draw", 2);
            End(1);
            End(2);
            End(2);
        }
    }
    void Finish()
    {
        Utility::Result result;
        ASSERT_TRUE(mSession->EndModels(result)) << result.ToString();
    }

    /// Writes the capture, and reads it into a session of its own.
    void Reopen()
    {
        mSession.reset();
        Utility::Result result;
        const int32_t loaded =
            Session::sLoad(mFolder / "x.session", gGetRegistry(), nullptr, &mScheduler, &mPlugins, mSession, result);
        ASSERT_NE(loaded, Session::Failed) << result.ToString();
        mIsModelLoaded = loaded == Session::Loaded;
    }

    BarChart* Compute(int32_t threadID, const std::string& name)
    {
        BarChart* computed = nullptr;
        const System::JobHandle job =
            GetModel().GetOrCreateBarChart(threadID, name, {}, [&](BarChart& chart) { computed = &chart; });
        mScheduler.Wait({job}, false);
        return computed;
    }

    TemporaryFolder mFolder;
    System::JobScheduler mScheduler;
    TestPlugin mPlugin;
    PluginList mPlugins{&mPlugin};
    std::unique_ptr<Session> mSession;
    bool mIsModelLoaded = false;
    double mTime = 0.0;
};

void gExpectEqual(const BarChart& a, const BarChart& b)
{
    EXPECT_EQ(a.GetDescription(), b.GetDescription());
    EXPECT_EQ(a.GetLargestTime(), b.GetLargestTime());
    EXPECT_EQ(a.GetTotalTime(), b.GetTotalTime());
    ASSERT_EQ(a.GetNumLODs(), b.GetNumLODs());
    for (int32_t level = 0; level < a.GetNumLODs(); ++level)
    {
        const BarChartLOD& x = a.GetLOD(level);
        const BarChartLOD& y = b.GetLOD(level);
        EXPECT_EQ(x.LODLevel, y.LODLevel);
        EXPECT_EQ(x.NumEvents, y.NumEvents);
        ASSERT_EQ(x.Bars.size(), y.Bars.size());
        for (std::size_t i = 0; i < x.Bars.size(); ++i)
        {
            EXPECT_EQ(x.Bars[i].StartTimeMs, y.Bars[i].StartTimeMs);
            EXPECT_EQ(x.Bars[i].EndTimeMs, y.Bars[i].EndTimeMs);
            EXPECT_EQ(x.Bars[i].Minimum, y.Bars[i].Minimum);
            EXPECT_EQ(x.Bars[i].TotalTimeMs, y.Bars[i].TotalTimeMs);
            EXPECT_EQ(x.Bars[i].Maximum, y.Bars[i].Maximum);
            EXPECT_EQ(x.Bars[i].Context, y.Bars[i].Context);
        }
    }
}

TEST_F(BarChartModelTest, PairsAreListedInTheOrderOfTheirFirstBegin)
{
    EXPECT_TRUE(GetModel().GetAllBarCharts().empty());
    End(1);
    TraceEvent named;
    named.mType = ETraceEventType::ThreadName;
    named.mName = "Draw";
    Add(named, 5);
    EXPECT_TRUE(GetModel().GetAllBarCharts().empty());

    AddSomeEvents(3);
    Begin("draw", 1);
    const std::vector<BarChartDescription> expected{{"Frame", 2}, {"Draw", 1}, {"Draw", 2}, {"draw", 1}};
    EXPECT_EQ(GetModel().GetAllBarCharts(), expected);
}

// Recorders are free in what they use as identifiers: the same for all, or another one each time.
TEST_F(BarChartModelTest, PairsDoNotDependOnTheIdentifiersOfEvents)
{
    std::vector<BarChartDescription> expected;
    TraceEvent event;
    event.mType = ETraceEventType::InstrumentationBegin;
    for (int round = 0; round < 3; ++round)
    {
        for (int32_t i = 0; i < 6000; ++i)
        {
            event.mID = round == 0 ? 0 : static_cast<uint64_t>(i * round);
            event.mName = "Event " + std::to_string(i % 3000);
            event.mThreadID = i / 3000;
            ASSERT_TRUE(GetModel().ProcessEvent(event).mSuccess);
            if (round == 0)
                expected.push_back({event.mName, event.mThreadID});
        }
    }
    EXPECT_EQ(GetModel().GetAllBarCharts(), expected);
}

TEST_F(BarChartModelTest, ResultIsRewrittenByEachOperation)
{
    TraceEvent event;
    const ModelResult& result = GetModel().ProcessEvent(event);
    EXPECT_TRUE(result.mSuccess);

    // A file in the way of the model's folder.
    mFolder.Write("BarChart", "");
    EXPECT_FALSE(GetModel().Save().mSuccess);
    EXPECT_EQ(result.mErrors.GetEntries().size(), 1U);
    EXPECT_FALSE(result.mSuccess);
    EXPECT_TRUE(GetModel().ProcessEvent(event).mSuccess);
    EXPECT_FALSE(result.mErrors.HasErrors());
}

TEST_F(BarChartModelTest, ComputedChartsSurviveSaveAndLoad)
{
    AddSomeEvents(700);
    Finish();
    BarChart expected{{"Frame", 2}};
    ASSERT_TRUE(gBuildBarChart(mSession->GetEventStream(), expected, false));
    ASSERT_EQ(expected.GetNumEvents(), 700);

    const BarChart* frame = Compute(2, "Frame");
    ASSERT_NE(frame, nullptr);
    gExpectEqual(*frame, expected);
    EXPECT_EQ(frame->GetLOD(0).Bars[699].Context, "frame 699");
    const BarChart* nothing = Compute(3, "Frame");
    ASSERT_NE(nothing, nullptr);
    EXPECT_EQ(nothing->GetNumEvents(), 0);

    const std::vector<BarChartDescription> all = GetModel().GetAllBarCharts();
    ASSERT_TRUE(GetModel().Save().mSuccess);
    Reopen();
    EXPECT_TRUE(mIsModelLoaded) << mPlugin.mResult.ToString();
    EXPECT_EQ(GetModel().GetAllBarCharts(), all);
    const BarChart* loaded = GetModel().FindBarChart(2, "Frame");
    ASSERT_NE(loaded, nullptr);
    gExpectEqual(*loaded, expected);
    ASSERT_NE(GetModel().FindBarChart(3, "Frame"), nullptr);
    EXPECT_EQ(GetModel().FindBarChart(1, "Frame"), nullptr);
    EXPECT_EQ(GetModel().FindBarChart(2, "frame"), nullptr);
}

TEST_F(BarChartModelTest, WhateverFailsTheNextSaveHasAll)
{
    const auto prepare = [&] {
        mSession.reset();
        for (const char* const name : {"x.session", "events.dat", "events.index"})
            FileSystem::gDeleteFile(mFolder / name);
        mTime = 0.0;
        mSession = std::make_unique<Session>(mFolder / "x.session", nullptr, &mScheduler, &mPlugins);
        mSession->CreateModels();
        AddSomeEvents(3);
    };
    const auto write = [&](Utility::Result& result) {
        return mSession->EndModels(result);
    };
    const auto check = [&](bool isWritten) {
        if (!isWritten)
        {
            EXPECT_EQ(mSession->GetEventStream().GetNumEvents(), 18U);
            Utility::Result result;
            EXPECT_TRUE(mSession->Save(result)) << result.ToString();
        }
        const std::vector<BarChartDescription> all = GetModel().GetAllBarCharts();
        Reopen();
        EXPECT_TRUE(mIsModelLoaded) << mPlugin.mResult.ToString();
        EXPECT_EQ(GetModel().GetAllBarCharts(), all);
        const BarChart* const frame = Compute(2, "Frame");
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->GetNumEvents(), 3);
        EXPECT_EQ(mSession->GetEventStream().GetNumEvents(), 18U);
    };
    const std::vector<std::string> entries = {
        "BarChart", "BarChart/Model.dat", "events.dat", "events.index", "x.session"};
    EXPECT_GE(FileSystem::Internal::gTryOnFailingDisks({mFolder, entries, prepare, write, check}), 25);
}

TEST_F(BarChartModelTest, ModelOfAReplayEqualsTheRecordedOne)
{
    AddSomeEvents();
    Finish();
    const std::vector<BarChartDescription> recorded = GetModel().GetAllBarCharts();
    ASSERT_TRUE(FileSystem::gDeleteFile(mFolder / "BarChart/Model.dat"));
    Reopen();
    ASSERT_FALSE(mIsModelLoaded);
    EXPECT_TRUE(GetModel().GetAllBarCharts().empty());
    Utility::Result result;
    ASSERT_TRUE(mSession->ProcessPendingModels(result, nullptr, nullptr)) << result.ToString();
    EXPECT_EQ(GetModel().GetAllBarCharts(), recorded);
    Reopen();
    EXPECT_TRUE(mIsModelLoaded);
    EXPECT_EQ(GetModel().GetAllBarCharts(), recorded);
}

TEST_F(BarChartModelTest, SecondRequestIsAnsweredOnTheSpot)
{
    AddSomeEvents();
    Finish();
    BarChart* first = Compute(1, "Draw");
    ASSERT_NE(first, nullptr);
    BarChart* second = nullptr;
    const System::JobHandle job =
        GetModel().GetOrCreateBarChart(1, "Draw", {}, [&](BarChart& chart) { second = &chart; });
    EXPECT_EQ(second, first);
    EXPECT_EQ(job, System::JobHandle{});
}

TEST_F(BarChartModelTest, NewRequestCancelsTheOneBeforeAndJoinsItsGroup)
{
    AddSomeEvents();
    Finish();
    std::string answered;
    const auto note = [&](BarChart& chart) {
        answered += chart.GetDescription().Name + " ";
    };
    BarChartModel& model = GetModel();
    const System::JobHandle first = model.GetOrCreateBarChart(2, "Frame", {}, note);
    const System::JobHandle second = model.GetOrCreateBarChart(2, "Draw", first, note);
    const System::JobHandle other = model.GetOrCreateBarChart(1, "Draw", {}, note);
    EXPECT_NE(first.mGroup, System::JobHandle::sNone);
    EXPECT_EQ(second.mGroup, first.mGroup);
    EXPECT_NE(other.mGroup, first.mGroup);
    mScheduler.Wait({first, second, other}, false);
    EXPECT_EQ(answered, "Draw Draw ");
    EXPECT_EQ(model.FindBarChart(2, "Frame"), nullptr);

    // A request that is answered at once cancels as well.
    const System::JobHandle third = model.GetOrCreateBarChart(2, "Frame", second, note);
    model.GetOrCreateBarChart(2, "Draw", third, note);
    mScheduler.Wait({third}, false);
    EXPECT_EQ(answered, "Draw Draw Draw ");
}

TEST_F(BarChartModelTest, CancelledBuildStopsBehindTheFirstEvent)
{
    Begin("Draw", 1);
    End(1);
    Finish();
    const bool cancelled = true;
    BarChart chart{{"Draw", 1}};
    EXPECT_FALSE(gBuildBarChart(mSession->GetEventStream(), chart, cancelled));
    EXPECT_EQ(chart.GetNumEvents(), 0);

    // There is nothing behind which the flag would be looked at.
    TemporaryFolder folder;
    Session empty{folder / "y.session", nullptr, &mScheduler, &mPlugins};
    EXPECT_TRUE(gBuildBarChart(empty.GetEventStream(), chart, cancelled));
}

TEST_F(BarChartModelTest, EventsThatDoNotConcernTheChartAllocateNothing)
{
    const std::string context(100, 'x');
    const auto countAllocations = [&](int numEvents) {
        for (int i = 0; i < numEvents; ++i)
        {
            Begin("Frame", 2, context);
            Begin("Other event of the chart's thread", 1, context);
            End(2);
            End(1);
        }
        Utility::Result result;
        EXPECT_TRUE(mSession->GetEventStream().Flush(result)) << result.ToString();
        BarChart chart{{"Frame", 1}};
        const uint64_t before = Tests::gCountAllocations();
        EXPECT_TRUE(gBuildBarChart(mSession->GetEventStream(), chart, false));
        return Tests::gCountAllocations() - before;
    };
    // Several times the block that a reader reads at once.
    const uint64_t expected = countAllocations(3000);
    EXPECT_GT(expected, 0U) << "the reader has memory of its own";
    EXPECT_EQ(countAllocations(10000), expected);
}

class ThreadedBarChartModelTest : public BarChartModelTest
{
protected:
    ThreadedBarChartModelTest() : BarChartModelTest{2} {}
};

TEST_F(ThreadedBarChartModelTest, CallbackRunsOnceOnTheJobsThread)
{
    AddSomeEvents(2000);
    Finish();
    std::atomic<int> calls = 0;
    std::atomic<std::thread::id> thread{};
    const System::JobHandle job = GetModel().GetOrCreateBarChart(2, "Frame", {}, [&](BarChart& chart) {
        EXPECT_EQ(GetModel().FindBarChart(2, "Frame"), &chart) << "it is published before";
        thread = std::this_thread::get_id();
        ++calls;
    });
    EXPECT_TRUE(job.IsValid());
    while (calls == 0)
        std::this_thread::yield();
    mScheduler.Wait({job}, false);
    EXPECT_EQ(calls, 1);
    EXPECT_NE(thread.load(), std::this_thread::get_id());
}

TEST_F(ThreadedBarChartModelTest, SavesBesideJobsThatPublish)
{
    AddSomeEvents(2000);
    Finish();
    constexpr int numCharts = 12;
    std::atomic<int> calls = 0;
    std::vector<System::JobHandle> jobs;
    for (int i = 0; i < numCharts; ++i)
        jobs.push_back(GetModel().GetOrCreateBarChart(i, "Frame", {}, [&](BarChart&) { ++calls; }));
    do
    {
        ASSERT_TRUE(GetModel().Save().mSuccess);
    } while (calls < numCharts);
    mScheduler.Wait(jobs, false);
    ASSERT_TRUE(GetModel().Save().mSuccess);
    Reopen();
    EXPECT_TRUE(mIsModelLoaded) << mPlugin.mResult.ToString();
    for (int i = 0; i < numCharts; ++i)
        EXPECT_NE(GetModel().FindBarChart(i, "Frame"), nullptr);
}

// Two clients that change their minds faster than the jobs are.
TEST_F(ThreadedBarChartModelTest, RequestsAndCancelsAtOnce)
{
    AddSomeEvents(5000);
    Finish();
    BarChartModel& model = GetModel();
    std::atomic<int> calls = 0;
    std::vector<System::JobHandle> jobs[2];
    for (std::vector<System::JobHandle>& own : jobs)
        own.emplace_back();
    for (int i = 0; i < 60; ++i)
    {
        for (std::vector<System::JobHandle>& own : jobs)
        {
            const std::string name = "Event " + std::to_string(i % 20);
            own.push_back(model.GetOrCreateBarChart(1, name, own.back(), [&](BarChart&) { ++calls; }));
        }
        if (i % 7 == 0)
            std::this_thread::yield();
    }
    for (const std::vector<System::JobHandle>& own : jobs)
        mScheduler.Wait(own, false);
    EXPECT_GE(calls, 2) << "the last request of each client was not cancelled";
    EXPECT_NE(model.FindBarChart(1, "Event 19"), nullptr);
}

TEST_F(BarChartModelTest, ResetDeletesTheFolder)
{
    GetModel().Reset();
    mFolder.Write("BarChart/Model.dat", "x");
    mFolder.Write("BarChart/deeper/other", "x");
    GetModel().Reset();
    EXPECT_FALSE(FileSystem::gFileExists(mFolder / "BarChart"));
    GetModel().Reset();
    EXPECT_FALSE(FileSystem::gFileExists(mFolder / "BarChart"));
}

template <class... Parts>
std::string gJoin(const Parts&... parts)
{
    std::string bytes;
    (bytes.append(std::string_view{parts}), ...);
    return bytes;
}

template <class T>
std::string gBytes(T value)
{
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

/// Bytes behind their number: a text, or the body of a class or an array.
std::string gSized(std::string_view bytes)
{
    return gJoin(gBytes(uint64_t{bytes.size()}), bytes);
}

template <class... Elements>
std::string gArray(const Elements&... elements)
{
    return gSized(gJoin(gBytes(uint64_t{sizeof...(elements)}), elements...));
}

std::string gBar(double start, double end, double minimum, double total, double maximum, std::string_view context)
{
    return gSized(gJoin(gBytes(start), gBytes(end), gBytes(minimum), gBytes(total), gBytes(maximum), gSized(context)));
}

std::string gLevel(const std::string& bars, int32_t numEvents, int32_t level)
{
    return gSized(gJoin(bars, gBytes(numEvents), gBytes(level)));
}

/// The bytes of a stored model, taken apart where its last array lies: the computed charts, of which it has none.
class StoredModelTest : public BarChartModelTest
{
protected:
    static constexpr const char* cFile = "BarChart/Model.dat";

    void SetUp() override
    {
        AddSomeEvents();
        Finish();
        mBytes = mFolder.Read(cFile);
    }

    /// Puts one element into the array and makes the sizes and the checksum good again.
    void WriteWithChart(std::string_view element)
    {
        constexpr std::string_view className = "Profiler::BarChartModel";
        std::string bytes = mBytes.substr(0, mBytes.size() - sizeof(uint64_t));
        const std::size_t countAt = bytes.size() - sizeof(uint64_t);
        const std::size_t arraySizeAt = countAt - sizeof(uint64_t);
        const std::size_t bodySizeAt = bytes.rfind(className) + className.size();
        bytes += element;
        AddTo(bytes, countAt, 1);
        AddTo(bytes, arraySizeAt, element.size());
        AddTo(bytes, bodySizeAt, element.size());
        const uint64_t checksum = Utility::gXXH64(bytes);
        bytes.append(reinterpret_cast<const char*>(&checksum), sizeof(checksum));
        mFolder.Write(cFile, bytes);
    }
    static void AddTo(std::string& bytes, std::size_t offset, uint64_t amount)
    {
        uint64_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof(value));
        value += amount;
        std::memcpy(bytes.data() + offset, &value, sizeof(value));
    }

    Utility::Result::Entry LoadAndFail()
    {
        Utility::Result result;
        std::unique_ptr<BarChartModel> model = std::make_unique<BarChartModel>(&mPlugin, mSession.get());
        const BarChartModel* before = model.get();
        EXPECT_FALSE(BarChartModel::sLoad(mPlugin, *mSession, model, result));
        EXPECT_EQ(model.get(), before);
        EXPECT_EQ(result.GetEntries().size(), 1U);
        EXPECT_TRUE(result.GetContexts().empty());
        return result.HasErrors() ? result.GetEntries()[0] : Utility::Result::Entry{};
    }

    std::string mBytes;
};

// The example of docs/format/model-file.md.
TEST_F(BarChartModelTest, StoredBytesAreThoseOfTheFormatPage)
{
    const struct
    {
        double BeginMs;
        double EndMs;
        const char* Context;
    } occurrences[] = {{1.0, 1.5, "red"}, {2.0, 4.0, ""}};
    for (const auto& occurrence : occurrences)
    {
        mTime = occurrence.BeginMs;
        Begin("Draw", 7, occurrence.Context);
        mTime = occurrence.EndMs;
        End(7);
    }
    Finish();
    ASSERT_NE(Compute(7, "Draw"), nullptr);
    ASSERT_TRUE(GetModel().Save().mSuccess);

    const std::string description = gSized(gJoin(gSized("Draw"), gBytes(int32_t{7})));
    const std::string both = gArray(gBar(1.0, 4.0, 0.5, 2.5, 2.0, ""));
    const std::string levels =
        gArray(gLevel(gArray(gBar(1.0, 1.5, 0.5, 0.5, 0.5, "red"), gBar(2.0, 4.0, 2.0, 2.0, 2.0, "")), 2, 0),
            gLevel(both, 2, 1), gLevel(both, 2, 2), gLevel(both, 2, 3), gLevel(both, 2, 4), gLevel(both, 2, 5),
            gLevel(both, 2, 6), gLevel(both, 2, 7), gLevel(both, 2, 8), gLevel(both, 2, 9));
    const std::string chart = gSized(gJoin(description, levels, gBytes(2.0), gBytes(2.5)));
    const std::string model = gSized(gJoin(gArray(description), gArray(gJoin(gSized("Profiler::BarChart"), chart))));
    const std::string expected = gJoin(gBytes(uint64_t{1}), gSized("Profiler::BarChartModel"), model);

    const std::string bytes = mFolder.Read("BarChart/Model.dat");
    uint64_t schemaSize = 0;
    ASSERT_GT(bytes.size(), 16U);
    std::memcpy(&schemaSize, bytes.data() + 8, sizeof(schemaSize));
    ASSERT_EQ(bytes.size(), 16 + schemaSize + expected.size() + sizeof(uint64_t));
    EXPECT_EQ(bytes.substr(16 + static_cast<std::size_t>(schemaSize), expected.size()), expected);
    EXPECT_EQ(expected.size(), 0x46CU);
}

TEST_F(StoredModelTest, MissingFileFailsAndLeavesAnEmptyFolder)
{
    GetModel().Reset();
    const Utility::Result::Entry entry = LoadAndFail();
    EXPECT_EQ(entry.mCode, Serialization::FileNotFound);
    EXPECT_EQ(entry.mMessage, "Unable to open file");
    EXPECT_EQ(entry.mContext, mFolder / cFile);
    EXPECT_TRUE(FileSystem::gFileExists(mFolder / "BarChart"));
}

TEST_F(StoredModelTest, FileOfAnotherKindIsRefused)
{
    Serialization::Schema other;
    Utility::Result result;
    ASSERT_TRUE(Serialization::gWriteBinaryFile(mFolder / cFile, {&other}, result));
    const Utility::Result::Entry entry = LoadAndFail();
    EXPECT_EQ(entry.mCode, Serialization::CorruptData);
    EXPECT_EQ(entry.mMessage, "The file does not appear to be a BarChartModel file (missing BarChartModel object)");
}

TEST_F(StoredModelTest, FirstModelAmongOtherRootsIsTaken)
{
    Serialization::Schema other;
    BarChartModel second{&mPlugin, mSession.get()};
    Utility::Result result;
    ASSERT_TRUE(Serialization::gWriteBinaryFile(mFolder / cFile, {&other, &GetModel(), &second}, result));
    std::unique_ptr<BarChartModel> model;
    ASSERT_TRUE(BarChartModel::sLoad(mPlugin, *mSession, model, result)) << result.ToString();
    EXPECT_EQ(model->GetAllBarCharts(), GetModel().GetAllBarCharts());
    EXPECT_EQ(model->GetSession(), mSession.get());
    EXPECT_EQ(model->GetPlugin(), &mPlugin);
}

TEST_F(StoredModelTest, DamageIsSeen)
{
    Damage::gExpectEachRefused(mFolder / cFile, [&] {
        std::unique_ptr<BarChartModel> model;
        Utility::Result result;
        const bool isLoaded = BarChartModel::sLoad(mPlugin, *mSession, model, result);
        EXPECT_EQ(isLoaded, model != nullptr);
        EXPECT_EQ(result.GetEntries().size(), isLoaded ? 0U : 1U);
        return !isLoaded;
    });
}

// A checksum that is right says nothing of the sense of what it covers.
TEST_F(StoredModelTest, ChartsThatContradictThemselvesAreRefused)
{
    const std::string description = gSized(gJoin(gSized("Frame"), gBytes(int32_t{7})));
    const std::string body = gJoin(description, gArray(), gBytes(0.0), gBytes(0.0));
    WriteWithChart(gJoin(gSized("Profiler::BarChart"), gSized(body)));
    Utility::Result::Entry entry = LoadAndFail();
    EXPECT_EQ(entry.mCode, Serialization::CorruptData);
    EXPECT_EQ(entry.mMessage, "Computed chart 0 (event \"Frame\", thread 7) contradicts itself");

    for (const std::string& element : {gSized("null"), gJoin(gSized("Profiler::OfALaterBuild"), gSized("x"))})
    {
        WriteWithChart(element);
        entry = LoadAndFail();
        EXPECT_EQ(entry.mCode, Serialization::CorruptData);
        EXPECT_EQ(entry.mMessage, "Computed chart 0 is missing");
    }

    BarChart* chart = Compute(2, "Frame");
    ASSERT_NE(chart, nullptr);
    chart->GetLOD(4).Bars.clear();
    ASSERT_TRUE(GetModel().Save().mSuccess);
    entry = LoadAndFail();
    EXPECT_EQ(entry.mMessage, "Computed chart 0 (event \"Frame\", thread 2) contradicts itself");
}

class OtherModel final : public Model
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<OtherModel>("Tests::OtherModel", RTTI::Version{1}, RTTI::Base<Model>{});
    }

public:
    OtherModel() : Model{nullptr, nullptr} {}
    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<OtherModel>(); }
};

TEST_F(BarChartModelTest, OnlyABarChartModelIsTakenForOne)
{
    OtherModel other;
    EXPECT_EQ(gAsBarChartModel(other), nullptr);
    BarChartModel own{&mPlugin, mSession.get()};
    EXPECT_EQ(gAsBarChartModel(own), &own);
}

}
}
