#pragma once

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/plugin/MessageBuilder.h"
#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "ProfilerLib/settings/KeyboardState.h"
#include "ProfilerLib/settings/Settings.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "System/JobScheduler.h"
#include "Utility/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Profiler
{

/// A small capture with all that a view of it needs, for tests.
class ChartCapture
{
public:
    static constexpr uint64_t cShownChart = ~uint64_t{0};

    /// Without threads a chart is computed by `Wait` and `GetChart`.
    explicit ChartCapture(int numThreads = 0) : mScheduler{numThreads}
    {
        sRegisterTypes();
        mSession = std::make_unique<Session>(mFolder / "x.session", nullptr, &mScheduler, &mPlugins);
        mSession->CreateModels();
        mContext.Settings = &mSettings;
        mContext.KeyboardState = &mKeyboard;
    }

    void NameThread(int32_t threadID, const std::string& name)
    {
        TraceEvent event;
        event.mType = ETraceEventType::ThreadName;
        event.mThreadID = threadID;
        event.mTime = mTime;
        event.mName = name;
        Add(event);
    }

    /// Occurrence i begins 10 ms after the one before and takes `getDuration(i)`, below that.
    void AddOccurrences(const std::string& name, int32_t threadID, int count,
        const std::function<double(int)>& getDuration, const std::string& context = {})
    {
        mSession->GetInstrumentationDatabase().AddEvent(sMakeID(name), name, context);
        for (int i = 0; i < count; ++i, mTime += 10.0)
        {
            TraceEvent event;
            event.mType = ETraceEventType::InstrumentationBegin;
            event.mThreadID = threadID;
            event.mTime = mTime;
            event.mID = sMakeID(name);
            event.mName = name;
            event.mContext = context;
            Add(event);
            event = {};
            event.mType = ETraceEventType::InstrumentationEnd;
            event.mThreadID = threadID;
            event.mTime = mTime + getDuration(i);
            Add(event);
        }
    }

    /// After the last event.
    void Finish()
    {
        Utility::Result result;
        EXPECT_TRUE(mSession->GetEventStream().Flush(result)) << result.ToString();
    }

    Session& GetSession() { return *mSession; }
    BarChartModel& GetModel() { return static_cast<BarChartModel&>(*mSession->GetModels().at(0)); }
    BarChart& GetChart(const std::string& name, int32_t threadID)
    {
        mScheduler.Wait({GetModel().GetOrCreateBarChart(threadID, name, {}, [](BarChart&) {})}, false);
        return *GetModel().FindBarChart(threadID, name);
    }

    static uint64_t sMakeID(const std::string& name) { return std::hash<std::string>{}(name); }

    /// What another view sends when something was picked in it.
    void SendBarSelected(uint64_t eventID, int32_t threadID, double startTime, double endTime)
    {
        static const MessageSchema sSchema{"BarSelected",
            {{"StartTime", EMessageFieldType::Double}, {"EndTime", EMessageFieldType::Double},
                {"ThreadID", EMessageFieldType::Int32}, {"InstrumentationID", EMessageFieldType::UInt64}}};
        MessageBuilder builder{sSchema};
        builder.WriteDouble("StartTime", startTime);
        builder.WriteDouble("EndTime", endTime);
        builder.WriteInt32("ThreadID", threadID);
        builder.WriteUInt64("InstrumentationID", eventID);
        mBus.Send(gGetMessageScope(*mSession), *builder.Finish());
    }

    TemporaryFolder mFolder;
    MessageBus mBus;
    Settings mSettings;
    Input::KeyboardState mKeyboard;
    ViewHost mViewHost;
    ViewContext mContext;
    System::JobScheduler mScheduler;

private:
    class TestPlugin final : public Plugin
    {
    public:
        explicit TestPlugin(MessageBus* bus) : Plugin{bus, nullptr} {}
        std::unique_ptr<Model> CreateModel(Session& session) override
        {
            return std::make_unique<BarChartModel>(this, &session);
        }
        std::unique_ptr<Model> LoadModel(Session&) override { return nullptr; }
        std::unique_ptr<View> CreateView(ViewHost&, ViewContext&, Model&) override { return nullptr; }
    };

    /// What writing a stream takes.
    static void sRegisterTypes()
    {
        static RTTI::TypeRegistry sRegistry;
        [[maybe_unused]] static const bool sFilled = [] {
            gRegisterCaptureTypes(sRegistry);
            return true;
        }();
    }

    void Add(const TraceEvent& event)
    {
        Utility::Result result;
        EXPECT_TRUE(mSession->AddEvent(event, result)) << result.ToString();
    }

    TestPlugin mPlugin{&mBus};
    PluginList mPlugins{&mPlugin};
    std::unique_ptr<Session> mSession;
    double mTime = 0.0;
};

/// Keeps what is heard of bars that were clicked.
class BarChartSelectedListener final : public MessageListener
{
public:
    struct Pick
    {
        int32_t mThreadID;
        double mStartTime;
        double mEndTime;
        std::vector<AddressElement> mAddresses;
        bool operator==(const Pick&) const = default;
    };

    explicit BarChartSelectedListener(ChartCapture& capture)
        : MessageListener{gGetMessageScope(capture.GetSession()), &capture.mBus}
    {}

    void OnMessage(const Message& message) override
    {
        if (message.GetSchema().GetName() == "BarChartSelected")
            mPicks.push_back({message.ReadInt32("ThreadID").value(), message.ReadDouble("StartTime").value(),
                message.ReadDouble("EndTime").value(), message.ReadAddresses("Addresses").value()});
    }

    std::vector<Pick> mPicks;
};

}
