#include "BarChartPlugin/BarChartWidget.h"

#include "BarChartPlugin/BarChartControl.h"
#include "BarChartPlugin/ChartCapture.h"
#include "BarChartPlugin/PlaceholderComboBox.h"
#include "ProfilerLib/controls/ControlHostWidget.h"
#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/KeyboardEventFilter.h"
#include "ProfilerLib/controls/MouseFollowTooltip.h"
#include "Renderer/RenderContext.h"
#include "Utility/Trace.h"
#include "tests/support/Pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtGui/QSurfaceFormat>
#include <QtGui/QWindow>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QToolBar>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>

// The real widget on a display, as a person uses it: events come through its window, pictures from its framebuffer.

namespace Profiler
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using EMode = BarChartContentsControl::EMode;

QSize gGetChartSize()
{
    return {1000, 460};
}

double sNow = 0.0;

class BarChartWidgetTest : public testing::Test
{
protected:
    BarChartWidgetTest()
    {
        sNow = 100.0;
        Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
        qApp->installEventFilter(&mKeyboardFilter);
    }

    virtual void FillCapture()
    {
        mCapture.NameThread(7, "Worker");
        mCapture.AddOccurrences("Frame", 1, 500, [](int i) { return 1 + 3 * std::sin(i * 0.05) * std::sin(i * 0.05); });
        mCapture.AddOccurrences("Frame", 7, 40, [](int i) { return 1 + i % 3; });
        mCapture.AddOccurrences("Load", 7, 3, [](int i) { return 2 + i; });
        mCapture.AddOccurrences(
            "std::vector<int>", 1, 12, [](int i) { return 1 + i % 4; }, "R&D <b>");
        mCapture.Finish();
    }

    void MakeWidget()
    {
        mCapture.mContext.RenderContext = &mRenderContext;
        mWidget = std::make_unique<BarChartWidget>(
            mCapture.mContext, mCapture.GetModel(), mCapture.mViewHost.RangeChosen, nullptr);
        mHost = mWidget->findChild<ControlHostWidget*>("mControlHostWidget");
        // As windows get it on a desktop that composes them.
        QSurfaceFormat format = mHost->format();
        format.setAlphaBufferSize(8);
        mHost->setFormat(format);
        mEvents = mWidget->findChild<PlaceholderComboBox*>("mEventComboBox");
        mThreads = mWidget->findChild<PlaceholderComboBox*>("mThreadComboBox");
    }
    void Show()
    {
        FillCapture();
        MakeWidget();
        // The chart has the same size whatever the style makes of the column beside it.
        mHost->setFixedSize(gGetChartSize());
        mWidget->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(mWidget.get()));
        FindControl();
        GetContents().SetClock([] { return sNow; });
    }

    /// The host widget tells only what is under the pointer.
    void FindControl()
    {
        Draw();
        ASSERT_TRUE(mHost->IsInitialised());
        // A move to where the pointer is already would be none.
        for (const int x : {50, 2})
            QTest::mouseMove(GetWindow(), GetPoint(x, 2));
        Control* control = mHost->GetHovered();
        while (control != nullptr && dynamic_cast<BarChartControl*>(control) == nullptr)
            control = control->GetParent();
        ASSERT_NE(control, nullptr);
        mControl = static_cast<BarChartControl*>(control);
    }

    /// A frame as the window drives it.
    void Draw(double seconds = 1.0)
    {
        mWidget->Update(seconds);
        mHost->repaint();
        QCoreApplication::processEvents();
    }
    static bool sWaitFor(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 20000); }
    static void sPick(QComboBox& box, const QString& text) { box.setCurrentIndex(box.findText(text)); }
    /// Levels have faded, and pulses are where they were in the picture of before.
    void Settle()
    {
        Draw();
        sNow += 10.0;
        Draw();
    }
    bool WaitForChart(const std::string& name, int32_t threadID)
    {
        const bool isShown = sWaitFor([&] {
            const BarChart* chart = GetControl().GetBarChart();
            return chart != nullptr && chart->GetDescription() == BarChartDescription{name, threadID};
        });
        Settle();
        return isShown;
    }
    void ShowChart(const QString& name, int32_t threadID)
    {
        sPick(*mEvents, name);
        mThreads->setCurrentIndex(mThreads->findData(threadID));
        ASSERT_TRUE(WaitForChart(name.toStdString(), threadID));
    }

    QAction& GetAction(const char* name) { return *mWidget->findChild<QAction*>(name); }
    BarChartControl& GetControl() { return *mControl; }
    BarChartContentsControl& GetContents() { return GetControl().GetContents(); }
    /// The left edge of the plot, and a part of its width.
    int GetPlotX(double part = 0)
    {
        const Renderer::Rectangle& rect = GetContents().GetLocalRect();
        return static_cast<int>(rect.mX + part * rect.mWidth);
    }
    /// Of the plot, in occurrences.
    float GetLength() { return GetContents().GetWindow().GetLength(); }

    // Input comes through the window. Points are those of the chart widget.
    QWindow* GetWindow() { return mWidget->windowHandle(); }
    QPoint GetPoint(int x, int y) { return mHost->mapTo(mWidget.get(), {x, y}); }
    void Move(int x, int y)
    {
        QCursor::setPos(mHost->mapToGlobal({x, y}));
        QTest::mouseMove(GetWindow(), GetPoint(x, y));
        Draw(0.0);
    }
    void Press(int x, int y) { QTest::mousePress(GetWindow(), Qt::LeftButton, mModifiers, GetPoint(x, y)); }
    void Drag(int x, int y)
    {
        const QPoint point = GetPoint(x, y);
        qt_handleMouseEvent(GetWindow(), point, GetWindow()->mapToGlobal(point), Qt::LeftButton, Qt::NoButton,
            QEvent::MouseMove, mModifiers, 0);
        QCoreApplication::processEvents();
        Draw(0.0);
    }
    void Release(int x, int y)
    {
        QTest::mouseRelease(GetWindow(), Qt::LeftButton, mModifiers, GetPoint(x, y));
        Draw(0.0);
    }
    void Click(int x, int y)
    {
        Move(x, y);
        Press(x, y);
        Release(x, y);
    }
    void Wheel(int x, int y, int delta)
    {
        QWheelEvent event{GetPoint(x, y), mWidget->mapToGlobal(GetPoint(x, y)), {}, {0, delta}, Qt::NoButton,
            mModifiers, Qt::NoScrollPhase, false};
        QApplication::sendEvent(GetWindow(), &event);
    }
    void HoldKey(Qt::Key key, Qt::KeyboardModifier modifier)
    {
        mModifiers = modifier;
        QTest::keyPress(mHost, key, modifier);
    }
    void LetGoOfKey(Qt::Key key)
    {
        mModifiers = Qt::NoModifier;
        QTest::keyRelease(mHost, key);
    }

    void ExpectPicture(const std::string& name)
    {
        const QImage picture = mHost->grabFramebuffer();
        EXPECT_TRUE(Tests::gIsPictureAsBefore(picture, name, BARCHART_PICTURES_OUTPUT, BARCHART_PICTURES_REFERENCE));
        // Where a window is drawn into a picture, what lies behind the chart would pale it.
        EXPECT_EQ(picture, picture.convertToFormat(QImage::Format_RGB32).convertToFormat(picture.format()))
            << name << " is not opaque";
    }

    ChartCapture mCapture{1};
    BarChartSelectedListener mListener{mCapture};
    KeyboardEventFilter mKeyboardFilter{mCapture.mKeyboard};
    Renderer::RenderContext mRenderContext;
    std::unique_ptr<BarChartWidget> mWidget;
    ControlHostWidget* mHost = nullptr;
    BarChartControl* mControl = nullptr;
    PlaceholderComboBox* mEvents = nullptr;
    PlaceholderComboBox* mThreads = nullptr;
    Qt::KeyboardModifiers mModifiers;
};

TEST_F(BarChartWidgetTest, FormHasItsNamesTextsAndImages)
{
    FillCapture();
    MakeWidget();
    EXPECT_EQ(mWidget->objectName(), "BarChartWidget");
    EXPECT_EQ(mWidget->windowTitle(), "Instrumentation Timings");
    EXPECT_EQ(mWidget->GetViewKind(), 3);
    EXPECT_FALSE(mWidget->GetIcon().pixmap(16).isNull());
    EXPECT_EQ(mWidget->sizeHint().height(), static_cast<int>(DpiScaleY() * 80));
    EXPECT_TRUE(mWidget->qt_metacast("MessageListener") == static_cast<MessageListener*>(mWidget.get()));
    EXPECT_EQ(mWidget->findChild<QWidget*>("mFrame")->sizeHint().width(), static_cast<int>(ScaledX(300)));
    EXPECT_EQ(mWidget->findChild<QSplitter*>("mSplitter")->styleSheet().size(), 207);

    auto* toolBar = mWidget->findChild<QToolBar*>();
    QStringList order;
    for (const QAction* action : toolBar->actions())
        order << (action->isSeparator() ? "|" : action->text());
    EXPECT_EQ(order.join(' '), "Select Zoom Pan | ZoomToExtents Normalize Average");
    EXPECT_EQ(toolBar->iconSize().width() % 8, 0);
    for (const char* name :
        {"actionSelect", "actionZoom", "actionPan", "actionZoomToExtents", "actionNormalize", "actionAverage"})
        EXPECT_FALSE(GetAction(name).icon().pixmap(32).isNull()) << name;
    EXPECT_TRUE(GetAction("actionSelect").isChecked());
    EXPECT_EQ(GetAction("actionZoom").toolTip(),
        "<p style='white-space:pre'><b>Zoom</b> the instrumentation chart around the mouse cursor <p>"
        "<p style='white-space:pre'>Alt + mouse drag <b>or</b> mouse wheel</p>");
    EXPECT_EQ(GetAction("actionPan").toolTip(), "<p style='white-space:pre'><b>Pan</b> the instrumentation chart<p>"
                                                "<p style='white-space:pre'>Control + mouse drag");
    EXPECT_THAT(GetAction("actionSelect").toolTip().toStdString(), HasSubstr("<b>Select</b> instrumentation events"));

    EXPECT_EQ(mEvents->count(), 3);
    EXPECT_EQ(mEvents->currentIndex(), -1);
    EXPECT_EQ(mEvents->GetPlaceholderText(), "<Select event>");
    EXPECT_EQ(mThreads->GetPlaceholderText(), "<Select thread>");
}

class EmptyBarChartWidgetTest : public BarChartWidgetTest
{
    void FillCapture() override { mCapture.Finish(); }
};

TEST_F(EmptyBarChartWidgetTest, CaptureWithoutEventsSaysSo)
{
    Show();
    EXPECT_FALSE(mEvents->isEnabled());
    EXPECT_FALSE(mThreads->isEnabled());
    EXPECT_EQ(mEvents->GetPlaceholderText(), "<No events>");
    EXPECT_EQ(mThreads->GetPlaceholderText(), "<No threads>");
    ExpectPicture("no-events");
}

TEST_F(BarChartWidgetTest, BeforeItIsShownNothingHappensAndMessagesWait)
{
    FillCapture();
    MakeWidget();
    mEvents->setCurrentIndex(0);
    EXPECT_EQ(mThreads->count(), 0);
    for (const char* name :
        {"actionZoom", "actionPan", "actionSelect", "actionZoomToExtents", "actionNormalize", "actionAverage"})
        GetAction(name).trigger();
    mCapture.SendBarSelected(ChartCapture::cShownChart, 1, 0, 1);
    mCapture.SendBarSelected(ChartCapture::sMakeID("Load"), 7, -1, -1);
    mWidget->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(mWidget.get()));
    FindControl();
    EXPECT_TRUE(WaitForChart("Load", 7)) << "asked for before there was a chart";
    EXPECT_EQ(mEvents->currentText(), "Load");
}

TEST_F(BarChartWidgetTest, PickingAnEventShowsItOnItsFirstThreadAndKeepsTheThread)
{
    Show();
    ExpectPicture("no-chart");
    QTest::keyClicks(mEvents, "Fra");
    EXPECT_EQ(mEvents->currentText(), "Frame");
    EXPECT_EQ(mThreads->count(), 2);
    EXPECT_EQ(mThreads->itemText(0), "1 ()");
    EXPECT_EQ(mThreads->itemText(1), "7 (Worker)");
    EXPECT_TRUE(WaitForChart("Frame", 1));
    ExpectPicture("chart");
    mThreads->setCurrentIndex(1);
    EXPECT_TRUE(WaitForChart("Frame", 7));
    sPick(*mEvents, "Load");
    EXPECT_TRUE(WaitForChart("Load", 7));
    ExpectPicture("few-bars");
    sPick(*mEvents, "std::vector<int>");
    EXPECT_TRUE(WaitForChart("std::vector<int>", 1)) << "the one thread that has it";

    mEvents->setCurrentIndex(-1);
    EXPECT_EQ(GetControl().GetBarChart(), nullptr);
}

TEST_F(BarChartWidgetTest, NewRequestCancelsTheOneBefore)
{
    Show();
    std::atomic<bool> goOn = false;
    System::JobDescription block;
    block.mWork = [&](const bool&) {
        while (!goOn)
            std::this_thread::yield();
    };
    const System::JobHandle blocker = mCapture.mScheduler.Schedule(std::move(block));
    const QSignalSpy spy{mWidget.get(), &BarChartWidget::OnGetOrCreateBarChartCompleted};
    sPick(*mEvents, "Frame");
    sPick(*mEvents, "Load");
    goOn = true;
    mCapture.mScheduler.Wait({blocker}, false);
    EXPECT_TRUE(WaitForChart("Load", 7));
    EXPECT_THAT(spy, SizeIs(1));
    EXPECT_EQ(mCapture.GetModel().FindBarChart(1, "Frame"), nullptr);
}

TEST_F(BarChartWidgetTest, ChartThatCameTooLateIsNotShown)
{
    Show();
    mCapture.GetChart("Load", 7);
    sPick(*mEvents, "Frame");
    while (mCapture.GetModel().FindBarChart(1, "Frame") == nullptr)
        std::this_thread::yield();
    // Its signal waits in the queue, or is about to.
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    mEvents->setCurrentIndex(mEvents->findText("Load"));
    ASSERT_NE(GetControl().GetBarChart(), nullptr) << "computed before, so there at once";
    QCoreApplication::processEvents();
    EXPECT_EQ(GetControl().GetBarChart()->GetDescription(), (BarChartDescription{"Load", 7}));
}

TEST_F(BarChartWidgetTest, HoverShowsATooltipAndAClickTellsTheOthers)
{
    Show();
    ShowChart("std::vector<int>", 1);
    Move(GetPlotX() + 15, 300);
    ExpectPicture("hovered");
    const auto* tooltip = mHost->findChild<MouseFollowTooltip*>();
    ASSERT_TRUE(tooltip->isVisible());
    EXPECT_THAT(tooltip->text().toStdString(), HasSubstr("std::vector&lt;int&gt; - R&amp;D &lt;b&gt;<br>"));
    EXPECT_THAT(tooltip->text().toStdString(), HasSubstr("<td>2ms </td>"));
    EXPECT_EQ(tooltip->textFormat(), Qt::AutoText);

    Click(GetPlotX() + 15, 300);
    ASSERT_THAT(mListener.mPicks, SizeIs(1));
    EXPECT_EQ(mListener.mPicks[0].mThreadID, 1);
    EXPECT_EQ(mListener.mPicks[0].mEndTime - mListener.mPicks[0].mStartTime, 2);
    EXPECT_THAT(
        mListener.mPicks[0].mAddresses, ElementsAre(AddressElement{ChartCapture::sMakeID("std::vector<int>"), true}));

    Move(GetPlotX(0.5), 300);
    EXPECT_FALSE(tooltip->isVisible()) << "no bar there";
}

TEST_F(BarChartWidgetTest, MessageOfAnotherViewSwitchesTheChartAndSelects)
{
    Show();
    const QSignalSpy spy{mWidget.get(), &BarChartWidget::OnGetOrCreateBarChartCompleted};
    const std::vector<BarChartLOD::Bar> bars = mCapture.GetChart("Frame", 7).GetLOD(0).Bars;
    mCapture.SendBarSelected(ChartCapture::sMakeID("Frame"), 7, bars[3].StartTimeMs, bars[5].EndTimeMs);
    EXPECT_TRUE(WaitForChart("Frame", 7));
    EXPECT_EQ(mEvents->currentText(), "Frame");
    EXPECT_EQ(mThreads->currentText(), "7 (Worker)");
    EXPECT_THAT(spy, SizeIs(1)) << "one request, not three";
    ExpectPicture("selected");

    mCapture.SendBarSelected(ChartCapture::sMakeID("Frame"), 7, bars[9].StartTimeMs, bars[9].EndTimeMs);
    mCapture.SendBarSelected(ChartCapture::sMakeID("unknown"), 7, 0, 0);
    Draw();
    EXPECT_THAT(spy, SizeIs(1)) << "the chart on show";
    EXPECT_THAT(GetContents().GetSelection(), ElementsAre(9, 10));
    mCapture.SendBarSelected(ChartCapture::cShownChart, -1, bars[1].StartTimeMs, bars[2].EndTimeMs);
    EXPECT_THAT(GetContents().GetSelection(), ElementsAre(1, 3));
    mCapture.mViewHost.RangeChosen.Fire(0, 1);
    EXPECT_THAT(GetContents().GetSelection(), ElementsAre(-1, -1));
}

TEST_F(BarChartWidgetTest, KeyHeldModesLastForOneDragAndShowInTheToolBar)
{
    Show();
    ShowChart("Frame", 1);
    const int middle = GetPlotX(0.5);
    Move(middle, 200);
    HoldKey(Qt::Key_Alt, Qt::AltModifier);
    Press(middle, 200);
    EXPECT_TRUE(GetAction("actionZoom").isChecked());
    EXPECT_EQ(GetContents().GetCursor(), ECursor::Zoom);
    Drag(middle + 100, 200);
    EXPECT_NEAR(GetLength(), 500 / std::pow(10, 0.2175), 0.1);
    ExpectPicture("zooming");
    Release(middle + 100, 200);
    LetGoOfKey(Qt::Key_Alt);
    EXPECT_TRUE(GetAction("actionSelect").isChecked());
    EXPECT_EQ(GetContents().GetCursor(), ECursor::Default);

    const ZoomRange before = GetContents().GetWindow();
    HoldKey(Qt::Key_Control, Qt::ControlModifier);
    Press(middle, 200);
    EXPECT_TRUE(GetAction("actionPan").isChecked());
    Drag(middle - 100, 200);
    EXPECT_NEAR(
        GetContents().GetWindow().mStart, before.mStart + before.GetLength() * 100 / GetContents().GetWidth(), 0.01);
    Release(middle - 100, 200);
    LetGoOfKey(Qt::Key_Control);
    EXPECT_TRUE(GetAction("actionSelect").isChecked());
    EXPECT_THAT(mListener.mPicks, IsEmpty());
}

TEST_F(BarChartWidgetTest, WheelZoomsAroundThePointerWithTheKey)
{
    Show();
    ShowChart("Frame", 1);
    Move(GetPlotX(0.25), 200);
    Wheel(GetPlotX(0.25), 200, 120);
    Draw();
    EXPECT_EQ(GetLength(), 500);
    HoldKey(Qt::Key_Alt, Qt::AltModifier);
    Wheel(GetPlotX(0.25), 200, 120);
    Draw(0.1);
    EXPECT_LT(GetLength(), 500);
    EXPECT_GT(GetLength(), 500 / std::pow(10, 0.1305) + 1) << "on its way";
    Draw(0.5);
    EXPECT_NEAR(GetLength(), 500 / std::pow(10, 0.1305), 0.1);
    const ZoomRange window = GetContents().GetWindow();
    EXPECT_NEAR((124 - window.mStart) / window.GetLength(), 0.25, 0.005);
    LetGoOfKey(Qt::Key_Alt);
}

TEST_F(BarChartWidgetTest, BarsAndToolBarMoveTheSameWindow)
{
    Show();
    ShowChart("Frame", 1);
    const int zoomBar = gGetChartSize().height() - 8;
    Move(GetPlotX() + 5, zoomBar);
    Press(GetPlotX() + 5, zoomBar);
    Drag(GetPlotX(0.4) + 5, zoomBar);
    EXPECT_NEAR(GetContents().GetWindow().mStart, 200, 1);
    Release(GetPlotX(0.4) + 5, zoomBar);
    const int scrollBar = GetPlotX() - 8;
    Move(scrollBar, 8);
    Press(scrollBar, 8);
    Drag(scrollBar, 230);
    Release(scrollBar, 230);
    Settle();
    ExpectPicture("zoomed");

    GetAction("actionZoomToExtents").trigger();
    EXPECT_EQ(GetLength(), 500);
    GetAction("actionAverage").trigger();
    Settle();
    Move(GetPlotX(0.999), 2);
    GetContents().SetMode(EMode::Pan);
    Settle();
    ExpectPicture("average");
    GetAction("actionNormalize").trigger();
    GetAction("actionSelect").trigger();
    EXPECT_EQ(GetContents().GetMode(), EMode::Select);
    Move(2, zoomBar);
    Draw();
    ExpectPicture("chart");
}

TEST_F(BarChartWidgetTest, KeyMappingShowsInTheToolTips)
{
    Show();
    InputSettings& input = mCapture.mSettings.GetInputSettings();
    input.SetKeyMappings({{EAction::Zoom, Input::EKeyCode::Shift}, {EAction::Pan, Input::EKeyCode::Less}});
    mCapture.mSettings.ChangeListeners.Fire();
    EXPECT_THAT(GetAction("actionZoom").toolTip().toStdString(), HasSubstr("pre'>Shift + mouse drag"));
    EXPECT_THAT(GetAction("actionPan").toolTip().toStdString(), HasSubstr("pre'>&lt; + mouse drag"));
}

TEST_F(BarChartWidgetTest, WidgetMayEndWhileItsJobRuns)
{
    Show();
    for (const char* name : {"Frame", "Load", "std::vector<int>"})
    {
        sPick(*mEvents, name);
        mWidget.reset();
        QCoreApplication::processEvents();
        MakeWidget();
        mWidget->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(mWidget.get()));
        Draw();
    }
    EXPECT_EQ(mEvents->currentIndex(), -1);
}

TEST_F(BarChartWidgetTest, PlaceholderIsSeenWhileNothingIsPicked)
{
    PlaceholderComboBox box;
    box.addItem("an item");
    box.resize(200, 30);
    const QImage picked = box.grab().toImage();
    box.SetPlaceholderText("<Select event>");
    EXPECT_EQ(box.grab().toImage(), picked) << "the item, not the placeholder";
    box.setCurrentIndex(-1);
    const QImage placeholder = box.grab().toImage();
    box.SetPlaceholderText("");
    EXPECT_NE(box.grab().toImage(), placeholder);
}

}
}
