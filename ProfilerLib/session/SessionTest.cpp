#include "ProfilerLib/session/Session.h"

#include "ProfilerLib/plugin/Model.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/Progress.h"
#include "ProfilerLib/session/SessionFixture.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Utility/Damage.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <fstream>
#include <functional>

namespace Profiler
{
namespace
{
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Log = std::vector<std::string>;

/// What a test asks of the models of one plug-in.
struct Behaviour
{
    std::string mName;
    Log* mCalls;
    std::string mFailing;                ///< the operation that fails
    bool mCanLoad = true;                ///< restores what `Save` has stored
    std::function<void(int)> mOnEvent{}; ///< told of the number of events by now
};

/// Keeps a line for each event that it has seen, and stores them.
class LineModel final : public Model
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<LineModel>("Tests::LineModel", RTTI::Version{1}, RTTI::Base<Model>{}, RTTI::NoCreate{});
    }

public:
    LineModel(Plugin& plugin, Session& session, Behaviour& behaviour) : Model{&plugin, &session}, mBehaviour{behaviour}
    {}

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<LineModel>(); }

    const ModelResult& ProcessEvent(const TraceEvent& event) override
    {
        mLines += std::to_string(static_cast<int>(event.mType)) + " " + std::to_string(event.mTime) + " " +
                  std::to_string(event.mThreadID) + " " + std::to_string(event.mValue) + event.mName + "/" +
                  event.mContext + "\n";
        ++mNumEvents;
        if (mBehaviour.mOnEvent)
        {
            mBehaviour.mOnEvent(mNumEvents);
        }
        return Report("ProcessEvent");
    }
    const ModelResult& BeginEvents() override { return Report("BeginEvents"); }
    const ModelResult& EndEvents() override { return Report("EndEvents"); }
    void OnSessionPhaseA() override { Report("PhaseA"); }
    void OnSessionPhaseB() override { Report("PhaseB"); }
    void Reset() override { Report("Reset"); }
    const ModelResult& Save() override
    {
        std::ofstream{GetFile()} << mLines;
        return Report("Save");
    }

    bool Load() { return FileSystem::gReadTextFile(GetFile(), mLines); }

    std::string GetFile() const { return GetSession()->GetPluginFile(mBehaviour.mName, "lines.txt"); }

    std::string mLines;
    int mNumEvents = 0;

private:
    const ModelResult& Report(const std::string& operation)
    {
        if (operation != "ProcessEvent")
        {
            mBehaviour.mCalls->push_back(mBehaviour.mName + "." + operation);
        }
        if (operation != mBehaviour.mFailing)
        {
            return SetSuccess();
        }
        GetResult().SetFailure();
        GetResult().mErrors.FailText(42, mBehaviour.mName + " cannot do it");
        return GetResult();
    }

    Behaviour& mBehaviour;
};

class LinePlugin final : public Plugin
{
public:
    LinePlugin(const char* name, Log& calls) : Plugin{nullptr, nullptr}, mBehaviour{name, &calls, {}} {}

    std::unique_ptr<Model> CreateModel(Session& session) override
    {
        mBehaviour.mCalls->push_back(mBehaviour.mName + ".Create");
        return std::make_unique<LineModel>(*this, session, mBehaviour);
    }
    std::unique_ptr<Model> LoadModel(Session& session) override
    {
        auto model = std::make_unique<LineModel>(*this, session, mBehaviour);
        return mBehaviour.mCanLoad && model->Load() ? std::move(model) : nullptr;
    }
    std::unique_ptr<View> CreateView(ViewHost&, ViewContext&, Model&) override { return nullptr; }

    Behaviour mBehaviour;
};

struct ProgressLog final : Progress
{
    void Report(std::int32_t kind, float fraction, const std::string& text, std::int32_t extra) override
    {
        EXPECT_EQ(kind, 3);
        EXPECT_EQ(text, "");
        EXPECT_EQ(extra, 0);
        EXPECT_GT(fraction, mFractions.empty() ? 0.0f : mFractions.back());
        mFractions.push_back(fraction);
    }

    std::vector<float> mFractions;
};

class SessionTest : public SessionFixture
{
protected:
    std::unique_ptr<Session> Create()
    {
        return std::make_unique<Session>(GetSessionPath(), nullptr, nullptr, &mPlugins);
    }

    std::int32_t Load(std::unique_ptr<Session>& session)
    {
        mResult.Clear();
        return Session::sLoad(GetSessionPath(), mRegistry, nullptr, nullptr, &mPlugins, session, mResult);
    }

    /// A whole recording of that many events.
    std::unique_ptr<Session> Record(int numEvents)
    {
        std::unique_ptr<Session> session = Create();
        session->CreateModels();
        EXPECT_TRUE(session->BeginModels(mResult));
        for (int i = 0; i < numEvents; ++i)
        {
            EXPECT_TRUE(session->AddEvent(MakeBegin(i, "event", std::to_string(i), i % 3), mResult));
        }
        EXPECT_TRUE(session->EndModels(mResult)) << mResult.ToString();
        mCalls.clear();
        return session;
    }

    static const LineModel& GetModel(const Session& session, std::size_t index)
    {
        return static_cast<const LineModel&>(*session.GetModels().at(index));
    }

    Log mCalls;
    LinePlugin mA{"A", mCalls};
    LinePlugin mB{"B", mCalls};
    LinePlugin mC{"C", mCalls};
    PluginList mPlugins{&mA, &mB, &mC};
};

void ExpectEqual(const Session& a, const Session& b)
{
    EXPECT_EQ(a.GetThreadOrder(), b.GetThreadOrder());
    ASSERT_EQ(a.GetThreads().size(), b.GetThreads().size());
    for (const auto& [id, thread] : a.GetThreads())
    {
        const Thread* const other = b.FindThread(id);
        ASSERT_NE(other, nullptr);
        EXPECT_EQ(thread.ThreadID, id);
        EXPECT_EQ(thread.ThreadID, other->ThreadID);
        EXPECT_EQ(thread.ThreadName, other->ThreadName);
        EXPECT_EQ(thread.StartTimeMs, other->StartTimeMs);
        EXPECT_EQ(thread.EndTimeMs, other->EndTimeMs);
        EXPECT_EQ(thread.NumSamples, other->NumSamples);
    }
    const SessionInfo& info = a.GetSessionInfo();
    const SessionInfo& otherInfo = b.GetSessionInfo();
    EXPECT_EQ(info.ProcessID, otherInfo.ProcessID);
    EXPECT_EQ(info.Is64BitProcess, otherInfo.Is64BitProcess);
    EXPECT_EQ(info.SampleIntervalMs, otherInfo.SampleIntervalMs);
    EXPECT_EQ(info.SessionEndTimeMs, otherInfo.SessionEndTimeMs);
    EXPECT_EQ(a.GetModuleDatabase().GetNumModules(), b.GetModuleDatabase().GetNumModules());
    EXPECT_EQ(a.GetCallstackDatabase().GetSize(), b.GetCallstackDatabase().GetSize());
    EXPECT_EQ(a.GetInstrumentationDatabase().GetNumEvents(), b.GetInstrumentationDatabase().GetNumEvents());
    EXPECT_EQ(a.GetInstrumentationDatabase().GetNumContexts(), b.GetInstrumentationDatabase().GetNumContexts());
    EXPECT_EQ(a.GetEventStream().GetNumEvents(), b.GetEventStream().GetNumEvents());
    EXPECT_EQ(a.GetEventStream().GetChunks(), b.GetEventStream().GetChunks());
}

TEST_F(SessionTest, StoredTypesHaveTheirNamesVersionsAndOrder)
{
    const struct
    {
        const char* mType;
        std::int32_t mVersion;
        std::vector<std::string> mProperties;
    } rows[] = {
        {"Profiler::Session", 3,
            {"Threads: Map_Profiler::ThreadID_To_Profiler::Thread", "ThreadOrder: Array_int32_t",
                "ModuleDatabase: Profiler::ModuleDatabase", "CallstackDatabase: Profiler::CallstackDatabase",
                "IntrumentationDatabase: Profiler::InstrumentationDatabase", "SessionInfo: Profiler::SessionInfo"}},
        {"Profiler::SessionInfo", 1,
            {"ProcessID: int32_t", "Is64BitProcess: bool", "SampleIntervalMs: double", "SessionEndTimeMs: double"}},
        {"Profiler::Thread", 1,
            {"ThreadID: int32_t", "ThreadName: std::string", "StartTimeMs: double", "EndTimeMs: double",
                "NumSamples: uint64_t"}},
        {"Profiler::TraceEventStream", 2, {"NumEvents: uint64_t", "Chunks: Array_Profiler::TraceEventStream::Chunk"}},
        {"Profiler::TraceEventStream::Chunk", 1,
            {"StartTime: double", "EndTime: double", "FileOffset: uint64_t", "Size: uint64_t"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mType);
        const RTTI::TypeHandle* const type = mRegistry.FindType(row.mType);
        ASSERT_NE(type, nullptr);
        EXPECT_EQ(RTTI::gGetCompound(*type).Version, row.mVersion);
        std::vector<std::string> properties;
        for (const RTTI::Property* property : RTTI::gGetAllProperties(*type))
        {
            properties.push_back(std::string{property->Name} + ": " + property->Type->Info->Name);
        }
        EXPECT_EQ(properties, row.mProperties);
    }
    for (const char* const type : {"Profiler::TraceEventStream", "Profiler::TraceEventStream::Chunk"})
    {
        EXPECT_EQ(mRegistry.FindType(type)->Info->Create, nullptr) << type;
    }
}

TEST_F(SessionTest, RecordingComesBackWhole)
{
    std::unique_ptr<Session> recorded = Create();
    recorded->GetSessionInfo() = {7, false, 0.5, 90.0};
    recorded->CreateModels();
    ASSERT_TRUE(recorded->BeginModels(mResult));
    recorded->NotifyPhaseA();
    recorded->NotifyPhaseB();
    recorded->GetModuleDatabase().AddModule("/opt/game", 0x1000, 0x1000, 1, 1, {}, "game.pdb", 0.0, 0.0, 1e9);
    recorded->GetCallstackDatabase().AddCallstack(5, {1, 2, 3});
    recorded->GetInstrumentationDatabase().AddEvent(77, "Load", "level 1");
    std::vector<TraceEvent> events = {MakeThreadStart(1.0, 11, 0x1800), MakeThreadName(2.0, 12, "io"),
        MakeBegin(3.0, "Load", "level 1", 11), MakeEvent(ETraceEventType::Sample, 4.0, 12),
        MakeEvent(ETraceEventType::InstrumentationEnd, 5.0, 11), MakeEvent(ETraceEventType::ThreadEnd, 6.0, 11)};
    for (TraceEvent& event : events)
    {
        event.mProcessID = 7;
        ASSERT_TRUE(recorded->AddEvent(event, mResult));
    }
    EXPECT_FALSE(FileSystem::gFileExists(GetSessionPath()));
    ASSERT_TRUE(recorded->EndModels(mResult)) << mResult.ToString();
    EXPECT_THAT(
        mCalls, ElementsAre("A.Create", "A.Reset", "B.Create", "B.Reset", "C.Create", "C.Reset", "A.BeginEvents",
                    "B.BeginEvents", "C.BeginEvents", "A.PhaseA", "B.PhaseA", "C.PhaseA", "A.PhaseB", "B.PhaseB",
                    "C.PhaseB", "A.EndEvents", "B.EndEvents", "C.EndEvents", "A.Save", "B.Save", "C.Save"));
    EXPECT_EQ(GetModel(*recorded, 1).mNumEvents, 6);
    EXPECT_THAT(mFolder.List(),
        ElementsAre("A/lines.txt", "B/lines.txt", "C/lines.txt", "capture.session", "events.dat", "events.index"));
    mCalls.clear();

    std::unique_ptr<Session> loaded;
    ASSERT_EQ(Load(loaded), Session::Loaded) << mResult.ToString();
    ExpectEqual(*recorded, *loaded);
    EXPECT_EQ(loaded->GetPath(), GetSessionPath());
    EXPECT_EQ(loaded->FindThread(11)->ThreadName, "game");
    EXPECT_NE(loaded->GetModuleDatabase().FindModule(0x1800, 50.0), nullptr);
    EXPECT_EQ(loaded->GetInstrumentationDatabase().GetEventName(77), "Load");
    EXPECT_EQ(GetModel(*loaded, 1).mLines, GetModel(*recorded, 1).mLines);

    // With nothing pending the events are not read.
    ProgressLog progress;
    EXPECT_TRUE(loaded->ProcessPendingModels(mResult, nullptr, &progress));
    EXPECT_THAT(mCalls, ElementsAre("A.Save", "B.Save", "C.Save"));
    EXPECT_THAT(progress.mFractions, IsEmpty());
}

TEST_F(SessionTest, ModelThatCannotBeLoadedIsRebuiltFromTheEvents)
{
    const std::unique_ptr<Session> recorded = Record(2000);
    mB.mBehaviour.mCanLoad = false;
    std::unique_ptr<Session> loaded;
    ASSERT_EQ(Load(loaded), Session::LoadedWithPendingModels) << mResult.ToString();
    EXPECT_EQ(GetModel(*loaded, 1).mLines, "");
    ASSERT_TRUE(loaded->ProcessPendingModels(mResult, nullptr, nullptr)) << mResult.ToString();
    EXPECT_THAT(
        mCalls, ElementsAre("B.Create", "B.Reset", "B.BeginEvents", "B.EndEvents", "A.Save", "B.Save", "C.Save"));
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(GetModel(*loaded, i).mLines, GetModel(*recorded, i).mLines);
    }
    EXPECT_EQ(GetModel(*loaded, 0).mNumEvents, 0);
    ExpectEqual(*recorded, *loaded);

    mB.mBehaviour.mCanLoad = true;
    EXPECT_EQ(Load(loaded), Session::Loaded) << "the rebuilt model was stored";
}

TEST_F(SessionTest, ModelOfAPartOfTheEventsIsNotStored)
{
    const std::unique_ptr<Session> recorded = Record(20);
    // The type of the last record, whose texts are "event" and two digits.
    std::string events = mFolder.Read("events.dat");
    events[events.size() - 48] = '\x7F';
    mFolder.Write("events.dat", events);

    mB.mBehaviour.mCanLoad = false;
    std::unique_ptr<Session> loaded;
    ASSERT_EQ(Load(loaded), Session::LoadedWithPendingModels) << mResult.ToString();
    EXPECT_FALSE(loaded->ProcessPendingModels(mResult, nullptr, nullptr));
    EXPECT_THAT(mResult.ToString(), HasSubstr("all from there on is missing"));
    EXPECT_THAT(mCalls, ElementsAre("B.Create", "B.Reset", "B.BeginEvents"));
}

TEST_F(SessionTest, ProgressIsReportedPerPercent)
{
    mPlugins = {&mA};
    mA.mBehaviour.mCanLoad = false;
    for (const auto& [numEvents, numReports] : {std::pair{1, 1}, {50, 50}, {100, 100}, {3000, 100}})
    {
        SCOPED_TRACE(numEvents);
        Record(numEvents);
        std::unique_ptr<Session> loaded;
        ASSERT_EQ(Load(loaded), Session::LoadedWithPendingModels);
        ProgressLog progress;
        EXPECT_TRUE(loaded->ProcessPendingModels(mResult, nullptr, &progress));
        // Rounding may join two percents.
        EXPECT_LE(progress.mFractions.size(), static_cast<std::size_t>(numReports));
        EXPECT_GE(progress.mFractions.size(), static_cast<std::size_t>(std::min(numReports, 50)));
        EXPECT_EQ(progress.mFractions.back(), 1.0f);
    }
}

TEST_F(SessionTest, CancelledRebuildingStopsAtTheNextEvent)
{
    Record(100);
    mB.mBehaviour.mCanLoad = false;
    for (const int cancelAt : {0, 40})
    {
        std::unique_ptr<Session> loaded;
        ASSERT_EQ(Load(loaded), Session::LoadedWithPendingModels);
        std::atomic<bool> cancelled{cancelAt == 0};
        mB.mBehaviour.mOnEvent = [&](int numEvents) {
            cancelled = numEvents == cancelAt;
        };
        mCalls.clear();
        EXPECT_FALSE(loaded->ProcessPendingModels(mResult, &cancelled, nullptr));
        EXPECT_FALSE(mResult.HasErrors());
        EXPECT_EQ(GetModel(*loaded, 1).mNumEvents, cancelAt);
        EXPECT_THAT(mCalls, ElementsAre("B.Reset", "B.BeginEvents")) << "neither ended nor saved";

        mCalls.clear();
        EXPECT_TRUE(loaded->ProcessPendingModels(mResult, nullptr, nullptr));
        EXPECT_THAT(mCalls, ElementsAre("A.Save", "B.Save", "C.Save")) << "no longer pending";
        FileSystem::gDeleteDirectoryTree(mFolder / "B");
    }
}

TEST_F(SessionTest, FirstModelThatFailsEndsTheOperation)
{
    const struct
    {
        const char* mFailing;
        bool (*mRun)(Session&, Utility::Result&);
        Log mCalls;
    } rows[] = {
        {"BeginEvents", [](Session& session, Utility::Result& result) { return session.BeginModels(result); },
            {"A.BeginEvents", "B.BeginEvents"}},
        {"ProcessEvent",
            [](Session& session, Utility::Result& result) { return session.AddEvent(MakeBegin(1.0, "x"), result); },
            {}},
        {"EndEvents", [](Session& session, Utility::Result& result) { return session.EndModels(result); },
            {"A.EndEvents", "B.EndEvents"}},
        {"Save", [](Session& session, Utility::Result& result) { return session.EndModels(result); },
            {"A.EndEvents", "B.EndEvents", "C.EndEvents", "A.Save", "B.Save"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mFailing);
        const std::unique_ptr<Session> session = Create();
        session->CreateModels();
        mCalls.clear();
        mB.mBehaviour.mFailing = row.mFailing;
        mResult.Clear();
        const auto context = mResult.PushContext("the caller's");
        mResult.FailText(1, "earlier");
        EXPECT_FALSE(row.mRun(*session, mResult));
        EXPECT_EQ(mCalls, row.mCalls);
        EXPECT_THAT(mResult.GetEntries(), ElementsAre(Utility::Result::Entry{1, "the caller's", "earlier"},
                                              Utility::Result::Entry{42, "the caller's", "B cannot do it"}));
        EXPECT_EQ(session->GetEventStream().GetNumEvents(), 0u);
        EXPECT_EQ(GetModel(*session, 2).mNumEvents, 0);
        EXPECT_FALSE(FileSystem::gFileExists(GetSessionPath()));
    }
}

TEST_F(SessionTest, FailedRebuildingKeepsModelsPendingOnlyBeforeTheFirstEvent)
{
    Record(10);
    mA.mBehaviour.mCanLoad = mB.mBehaviour.mCanLoad = false;
    for (const char* const failing : {"BeginEvents", "ProcessEvent", "EndEvents", "Save"})
    {
        SCOPED_TRACE(failing);
        std::unique_ptr<Session> loaded;
        ASSERT_EQ(Load(loaded), Session::LoadedWithPendingModels);
        mB.mBehaviour.mFailing = failing;
        EXPECT_FALSE(loaded->ProcessPendingModels(mResult, nullptr, nullptr));
        EXPECT_EQ(mResult.GetEntries().size(), 1u);

        mB.mBehaviour.mFailing.clear();
        mCalls.clear();
        EXPECT_TRUE(loaded->ProcessPendingModels(mResult, nullptr, nullptr));
        const bool wasPending = std::string_view{failing} == "BeginEvents";
        EXPECT_EQ(mCalls.front(), wasPending ? "A.Reset" : "A.Save");
    }
}

TEST_F(SessionTest, UnreadableCaptureIsReported)
{
    const struct
    {
        const char* mTitle;
        std::function<void()> mDamage;
        std::int32_t mCode;
        const char* mMessage;
    } rows[] = {
        {"no session file", [&] { FileSystem::gDeleteFile(GetSessionPath()); }, Serialization::FileNotFound,
            "does not exist"},
        {"damaged session file", [&] { mFolder.Write("capture.session", mFolder.Read("capture.session") + "x"); },
            Serialization::CorruptData, "CRC check failed"},
        {"another file", [&] { ASSERT_TRUE(Serialization::gWriteBinaryFile(GetSessionPath(), {}, mResult)); },
            Serialization::CorruptData, "The file does not appear to be a session file (missing Session object)"},
        {"no events", [&] { FileSystem::gDeleteFile(mFolder / "events.dat"); }, Serialization::FileNotFound,
            "Unable to open events data file"},
        {"no index", [&] { FileSystem::gDeleteFile(mFolder / "events.index"); }, Serialization::FileNotFound,
            "does not exist"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mTitle);
        Record(10);
        row.mDamage();
        std::unique_ptr<Session> session;
        EXPECT_EQ(Load(session), Session::Failed);
        EXPECT_EQ(session, nullptr);
        ASSERT_EQ(mResult.GetEntries().size(), 1u);
        EXPECT_EQ(mResult.GetEntries()[0].mCode, row.mCode);
        EXPECT_THAT(mResult.GetEntries()[0].mMessage, HasSubstr(row.mMessage));
        EXPECT_THAT(mResult.GetEntries()[0].mContext, HasSubstr(mFolder.GetPath()));
        EXPECT_THAT(mCalls, IsEmpty());
    }
}

TEST_F(SessionTest, EveryDamageOfTheSessionFileIsReported)
{
    mPlugins.clear();
    Record(3);
    Damage::gExpectEachRefused(GetSessionPath(), [&] {
        std::unique_ptr<Session> session;
        const bool isLoaded = Load(session) != Session::Failed;
        EXPECT_EQ(mResult.GetEntries().size(), isLoaded ? 0u : 1u);
        return !isLoaded;
    });
}

TEST_F(SessionTest, EventsOfTheProcessFillTheThreadTable)
{
    mPlugins.clear();
    const std::unique_ptr<Session> session = Create();
    session->GetSessionInfo() = {7, true, 1.0, 500.0};
    session->GetModuleDatabase().AddModule("/opt/game", 0x1000, 0x1000, 1, 1, {}, "", 0.0, 0.0, 1e9);
    const auto add = [&](TraceEvent event) {
        event.mProcessID = 7;
        session->UpdateThreads(event);
    };
    TraceEvent outlived = MakeEvent(ETraceEventType::ThreadEnd, 20.0, 4);
    outlived.mOutlivedCapture = 1;

    session->UpdateThreads(MakeThreadName(1.0, 1, "of another process"));
    EXPECT_THAT(session->GetThreads(), IsEmpty());
    EXPECT_EQ(session->FindThread(1), nullptr);

    add(MakeEvent(ETraceEventType::Sample, 2.0, 2));
    add(MakeEvent(ETraceEventType::Sample, 3.0, 2));
    add(MakeThreadName(4.0, 3, "named"));
    add(MakeThreadStart(5.0, 3, 0x1800));
    add(MakeThreadStart(6.0, 4, 0x1800, true));
    add(outlived);
    add(MakeThreadStart(30.0, 5, 0x9999999));
    add(MakeThreadStart(31.0, 5, 0x1800));
    add(MakeThreadName(32.0, 5, "renamed"));
    add(MakeEvent(ETraceEventType::ThreadEnd, 40.0, 5));
    add(MakeBegin(41.0, "x", {}, 1));
    session->UpdateThreads(MakeThreadName(42.0, 3, "of another process"));

    const struct
    {
        std::int32_t mID;
        const char* mName;
        double mStart;
        double mEnd;
        std::uint64_t mNumSamples;
    } rows[] = {
        {2, "", 0.0, 0.0, 2},
        {3, "named", 5.0, 0.0, 0},
        {4, "game", 0.0, 500.0, 0},
        {5, "renamed", 31.0, 40.0, 0},
        {1, "", 0.0, 0.0, 0},
    };
    std::vector<std::int32_t> order;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mID);
        order.push_back(row.mID);
        const Thread* const thread = session->FindThread(row.mID);
        ASSERT_NE(thread, nullptr);
        EXPECT_EQ(thread, &session->GetThread(row.mID));
        EXPECT_EQ(thread->ThreadID, row.mID);
        EXPECT_EQ(thread->ThreadName, row.mName);
        EXPECT_EQ(thread->StartTimeMs, row.mStart);
        EXPECT_EQ(thread->EndTimeMs, row.mEnd);
        EXPECT_EQ(thread->NumSamples, row.mNumSamples);
    }
    EXPECT_EQ(session->GetThreadOrder(), order);

    // By time * 10 + samples * 100 * interval: 200, 500 - 5 = -50, 5000, 90, 0.
    session->SortThreads();
    EXPECT_THAT(session->GetThreadOrder(), ElementsAre(4, 2, 5, 1, 3));
    session->GetThread(4).EndTimeMs = std::nan("");
    session->SortThreads();
    EXPECT_THAT(session->GetThreadOrder(), ElementsAre(2, 5, 1, 3, 4)) << "no number goes to the end";
}

TEST_F(SessionTest, PathsOfTheCaptureFollowFromTheSessionFile)
{
    const std::unique_ptr<Session> session = Create();
    EXPECT_EQ(session->GetFile("events.dat"), mFolder / "events.dat");
    EXPECT_EQ(session->GetPluginFile("BarChart", ""), mFolder / "BarChart");
    EXPECT_TRUE(FileSystem::gFileExists(mFolder / "BarChart"));
    EXPECT_EQ(session->GetPluginFile("a/b", "c.dat"), mFolder / "a/b/c.dat");
    EXPECT_TRUE(FileSystem::gFileExists(mFolder / "a/b"));
    EXPECT_EQ(Session{}.GetFile("x"), "x");
    EXPECT_EQ((Session{"/x.session", nullptr, nullptr, nullptr}.GetFile("events.dat")), "/events.dat");

    const std::pair<const char*, const char*> rows[] = {
        {"/captures/capture.ETL", "/captures/capture/capture.session"},
        {"/captures/./x/../capture.etl", "/captures/capture/capture.session"},
        {"capture.v2.etl", "capture.v2/capture.v2.session"},
        {"/captures/capture/capture.session", "/captures/capture/capture.session"},
        {"/captures/capture.json", "/captures/capture.json"},
        {"/capture.etl", "/capture/capture.session"},
    };
    for (const auto& [path, expected] : rows)
    {
        EXPECT_EQ(gGetSessionPath(path), expected);
    }
    EXPECT_TRUE(gIsSameSession("/captures/capture.etl", "/captures/capture/capture.session"));
    EXPECT_TRUE(gIsSameSession("/captures/capture.etl", "/captures/capture.ETL"));
    EXPECT_TRUE(gIsSameSession("/a/b.json", "/a\\b.json"));
    EXPECT_FALSE(gIsSameSession("/captures/capture.etl", "/captures/other.etl"));
}
}
}
