#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/controls/ControlHostWidget.h"
#include "ProfilerLib/plugin/MessageBuilder.h"
#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/PluginDescriptor.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/plugin/ViewWidget.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "ProfilerLib/settings/KeyboardState.h"
#include "ProfilerLib/settings/Settings.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Renderer/RenderContext.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "System/DynamicLibrary.h"
#include "System/JobScheduler.h"
#include "Utility/TemporaryFolder.h"
#include "Utility/Trace.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtTest/QTest>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QOpenGLWidget>

#include <memory>
#include <vector>

// The view of the module as a host shows it: the widget's code is that of the module, everything it works with is this
// program's.

namespace Profiler
{
namespace
{

class PluginViewTest : public testing::Test
{
protected:
    static constexpr const char* cResource = ":/BarChartPlugin/Resources/instrumentationtimings.png";

    PluginViewTest()
    {
        Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
        mContext.Settings = &mSettings;
        mContext.KeyboardState = &mKeyboard;
    }

    /// Loads the module, as if it were the first time.
    void Load()
    {
        std::string error;
        ASSERT_TRUE(mModule.Open(BARCHARTPLUGIN_MODULE, error)) << error;
        const auto* descriptor = static_cast<const PluginDescriptor*>(mModule.Find("descriptor"));
        descriptor->InitializeTracing(Utility::gGetTraceSinks());
        mRegistry = std::make_unique<RTTI::TypeRegistry>();
        {
            const auto scope = mRegistry->BeginRegistration(RTTI::gGetOwnerID());
            RTTI::gRegisterTypes(*mRegistry);
            gRegisterProfilerTypes(*mRegistry);
            gRegisterSymbolTypes(*mRegistry);
            Serialization::gRegisterTypes(*mRegistry);
            gRegisterBarChartTypes(*mRegistry);
        }
        mPlugins = {descriptor->CreatePlugin(&mBus, mRegistry.get())};
        mRegistry->Finalize();
        mRenderContext = std::make_unique<Renderer::RenderContext>();
        mContext.RenderContext = mRenderContext.get();
    }
    void Record()
    {
        mSession = std::make_unique<Session>(mFolder / "x.session", nullptr, &mScheduler, &mPlugins);
        mSession->CreateModels();
        Utility::Result result;
        mSession->GetInstrumentationDatabase().AddEvent(5, "Frame", "");
        for (int i = 0; i < 200; ++i)
        {
            TraceEvent event;
            event.mType = i % 2 == 0 ? ETraceEventType::InstrumentationBegin : ETraceEventType::InstrumentationEnd;
            event.mTime = i;
            event.mThreadID = 3;
            event.mID = 5;
            event.mName = i % 2 == 0 ? "Frame" : "";
            EXPECT_TRUE(mSession->AddEvent(event, result)) << result.ToString();
        }
        EXPECT_TRUE(mSession->GetEventStream().Flush(result)) << result.ToString();
    }
    void SelectFromOutside()
    {
        static const MessageSchema sSchema{"BarSelected",
            {{"ThreadID", EMessageFieldType::Int32}, {"StartTime", EMessageFieldType::Double},
                {"EndTime", EMessageFieldType::Double}, {"InstrumentationID", EMessageFieldType::UInt64}}};
        MessageBuilder builder{sSchema};
        builder.WriteInt32("ThreadID", 3);
        builder.WriteDouble("StartTime", 0.0);
        builder.WriteDouble("EndTime", 21.0);
        builder.WriteUInt64("InstrumentationID", 5);
        mBus.Send(gGetMessageScope(*mSession), *builder.Finish());
    }

    TemporaryFolder mFolder;
    // In the order in which a host lets them go, last first.
    System::DynamicLibrary mModule;
    std::unique_ptr<RTTI::TypeRegistry> mRegistry;
    MessageBus mBus;
    PluginList mPlugins;
    Settings mSettings;
    Input::KeyboardState mKeyboard;
    System::JobScheduler mScheduler{1};
    std::unique_ptr<Renderer::RenderContext> mRenderContext;
    ViewHost mViewHost;
    ViewContext mContext;
    std::unique_ptr<Session> mSession;
};

TEST_F(PluginViewTest, ModuleGivesAViewThatWorksAndCanBeUnloaded)
{
    for (const char* time : {"first", "loaded again"})
    {
        SCOPED_TRACE(time);
        Load();
        EXPECT_TRUE(QFile::exists(cResource));
        Record();
        {
            const std::unique_ptr<View> view =
                mPlugins[0]->CreateView(mViewHost, mContext, *mSession->GetModels().at(0));
            ASSERT_EQ(view->GetWidgets().size(), 1U);
            EXPECT_TRUE(view->GetExtraWidgets().empty());
            ViewWidget& widget = *view->GetWidgets()[0];
            EXPECT_EQ(widget.GetViewKind(), 3);
            EXPECT_FALSE(widget.GetIcon().isNull());
            widget.resize(1000, 400);
            widget.show();
            SelectFromOutside();
            ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
            auto* chart = widget.findChild<QOpenGLWidget*>("mControlHostWidget");
            // The plot is white; bars are bluish.
            EXPECT_TRUE(QTest::qWaitFor(
                [&] {
                    widget.Update(0.016);
                    const QColor colour = chart->grabFramebuffer().pixelColor(400, 350);
                    return colour.blue() > colour.red() + 20;
                },
                20000));
            EXPECT_EQ(widget.findChild<QComboBox*>("mEventComboBox")->currentText(), "Frame");
            EXPECT_EQ(widget.findChild<QComboBox*>("mThreadComboBox")->currentText(), "3 ()");
        }
        mSession.reset();
        // What it keeps (fonts, watchers of contexts) was made by the module's code.
        mRenderContext.reset();
        mPlugins.clear();
        mRegistry.reset();
        mModule = {};
        EXPECT_FALSE(QFile::exists(cResource)) << "taken back with the module";
    }
}

}
}
