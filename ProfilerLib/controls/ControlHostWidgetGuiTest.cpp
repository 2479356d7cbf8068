#include "ProfilerLib/controls/ControlHostWidget.h"

#include <memory>
#include <vector>

#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QVBoxLayout>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProfilerLib/controls/ListeningControl.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/RenderContext.h"
#include "Utility/LogCapture.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ScopedVariable.h"

namespace Profiler
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Fills itself with a colour, and keeps what a frame tells it.
class PaintedControl final : public ListeningControl
{
public:
    PaintedControl(std::string name, const Renderer::Rectangle& rect, Log& log, const Renderer::Colour& colour)
        : ListeningControl(std::move(name), rect, log),
          mColour(colour)
    {}

    void Update(double deltaSeconds) override
    {
        mDelta = deltaSeconds;
        Control::Update(deltaSeconds);
    }
    void Render(Renderer::PrimitiveRenderer& renderer) override
    {
        ++mNumFrames;
        BeginRender(renderer, mPrimitives);
        mPrimitives.FillRect({0, 0}, {GetWidth(), GetHeight()}, mColour, mLayer);
        Control::Render(renderer);
    }

    double mDelta = -1.0;
    int mNumFrames = 0;
    uint32_t mLayer = 100;

private:
    Renderer::Colour mColour;
    Renderer::PrimitiveList mPrimitives{100};
};

/// The widget with its frame in reach.
class Host final : public ControlHostWidget
{
public:
    using ControlHostWidget::ControlHostWidget;
    using ControlHostWidget::paintGL;
};

/// What the widget stands in: it counts what comes through to it.
class Surroundings final : public QWidget
{
public:
    int mNumWheels = 0;
    int mNumKeys = 0;

private:
    void wheelEvent(QWheelEvent*) override { ++mNumWheels; }
    void keyPressEvent(QKeyEvent*) override { ++mNumKeys; }
};

/// A window with a host widget of 300 by 200 and a line of text to type in below. The content of the host is blue and
/// has a red panel of 50 by 50 at 100, 50.
class ControlHostWidgetGuiTest : public testing::Test
{
protected:
    ControlHostWidgetGuiTest()
    {
        QCursor::setPos(1200, 1000);
        auto* const layout = new QVBoxLayout(&mWindow);
        layout->setContentsMargins(0, 0, 0, 0);
        mHost = new Host;
        mHost->setFixedSize(300, 200);
        mEdit = new QLineEdit;
        layout->addWidget(mHost);
        layout->addWidget(mEdit);
        mHost->SetInitialiseCallback([this] { MakeContent(); });
    }

    ~ControlHostWidgetGuiTest() override { delete mHost; }

    void MakeContent()
    {
        auto content =
            std::make_unique<PaintedControl>("content", Renderer::Rectangle{}, mLog, Renderer::Colour{0, 0, 1, 1});
        mContent = content.get();
        mPanel = mContent->AddChild(std::make_unique<PaintedControl>(
            "panel", Renderer::Rectangle{100, 50, 50, 50}, mLog, Renderer::Colour{1, 0, 0, 1}));
        mPanel->mLayer = 50;
        mHost->SetContent(std::move(content));
        ++mNumCallbacks;
    }

    void Show()
    {
        mHost->SetRenderContext(&mContext);
        mWindow.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&mWindow));
        mWindow.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&mWindow));
        ASSERT_TRUE(mHost->IsInitialised());
        Take();
    }

    void Paint()
    {
        mHost->update();
        QCoreApplication::processEvents();
    }

    QColor GetPixel(int x, int y) { return mHost->grabFramebuffer().pixelColor(x, y); }

    Log Take() { return std::exchange(mLog, {}); }

    const LogCapture mTrace;
    Renderer::RenderContext mContext;
    Surroundings mWindow;
    Host* mHost;
    QLineEdit* mEdit;
    PaintedControl* mContent = nullptr;
    PaintedControl* mPanel = nullptr;
    int mNumCallbacks = 0;
    Log mLog;
};

constexpr QPoint cOnPanel{120, 60};
constexpr QPoint cOnContent{20, 30};

TEST_F(ControlHostWidgetGuiTest, InputBeforeTheFirstShowGoesToQt)
{
    QTest::mousePress(mHost, Qt::LeftButton, {}, cOnPanel);
    QTest::mouseMove(mHost, cOnContent);
    QTest::mouseDClick(mHost, Qt::LeftButton, {}, cOnPanel);
    QTest::mouseRelease(mHost, Qt::LeftButton, {}, cOnPanel);
    QTest::keyClick(mHost, Qt::Key_A);
    for (const QEvent::Type type : {QEvent::Move, QEvent::Leave})
    {
        QEvent event(type);
        QCoreApplication::sendEvent(mHost, &event);
    }
    for (const QEvent::Type type : {QEvent::FocusIn, QEvent::FocusOut})
    {
        QFocusEvent event(type);
        QCoreApplication::sendEvent(mHost, &event);
    }
    EXPECT_FALSE(mHost->IsInitialised());
    EXPECT_EQ(mHost->GetContext(), nullptr);
    EXPECT_EQ(mHost->GetHovered(), nullptr);
    EXPECT_EQ(mNumCallbacks, 0);
    EXPECT_EQ(mWindow.mNumKeys, 1);
}

TEST_F(ControlHostWidgetGuiTest, AFrameUpdatesLaysOutAndDraws)
{
    Show();
    mHost->SetDelta(0.25);
    Paint();
    EXPECT_EQ(mContent->mDelta, 0.25);
    EXPECT_EQ(mPanel->mDelta, 0.25);
    EXPECT_EQ(mContent->GetLocalRect(), (Renderer::Rectangle{0, 0, 300, 200}));
    EXPECT_EQ(mContent->GetVisibleRect(), (Renderer::Rectangle{0, 0, 300, 200}));
    const QPoint origin = mHost->mapToGlobal({0, 0});
    const Renderer::Rectangle onScreen = mPanel->GetRect(true, true);
    EXPECT_EQ(QPoint(static_cast<int>(onScreen.mX), static_cast<int>(onScreen.mY)), origin + QPoint(100, 50));
    EXPECT_EQ(GetPixel(20, 30), QColor(0, 0, 255));
    EXPECT_EQ(GetPixel(100, 50), QColor(255, 0, 0));
    EXPECT_EQ(GetPixel(150, 99), QColor(0, 0, 255));

    mHost->setFixedSize(400, 120);
    ASSERT_TRUE(QTest::qWaitFor([this] { return mHost->width() == 400; }));
    EXPECT_EQ(mContent->GetLocalRect(), (Renderer::Rectangle{0, 0, 400, 120}));
    mContent->SetRect({0, 0, 200, 120});
    EXPECT_EQ(GetPixel(390, 110), QColor(255, 255, 255));
    EXPECT_EQ(GetPixel(120, 99), QColor(255, 0, 0));

    // A repaint that Qt asks for takes the last delta; an idle widget draws nothing.
    mContent->mDelta = -1;
    GetPixel(0, 0);
    EXPECT_EQ(mContent->mDelta, 0.25);
    Paint();
    const int numFrames = mContent->mNumFrames;
    QTest::qWait(50);
    EXPECT_EQ(mContent->mNumFrames, numFrames);
}

TEST_F(ControlHostWidgetGuiTest, OnlyWhatTheWidgetsAroundItLeaveIsVisible)
{
    mWindow.setMinimumSize(320, 240);
    QWidget port(&mWindow);
    port.setGeometry(10, 10, 100, 80);
    mHost->setParent(&port);
    mHost->move(-20, 5);
    mHost->show();
    Show();
    port.show();
    Paint();
    EXPECT_EQ(mHost->visibleRegion().boundingRect(), QRect(20, 0, 100, 75));
    EXPECT_EQ(mContent->GetVisibleRect(), (Renderer::Rectangle{20, 0, 100, 75}));
    delete mHost;
    mHost = nullptr;
}

TEST_F(ControlHostWidgetGuiTest, MouseEventsBecomeRecords)
{
    Show();
    mPanel->mHandles = true;
    QTest::mousePress(mHost, Qt::MiddleButton, Qt::ShiftModifier | Qt::AltModifier, cOnPanel);
    EXPECT_THAT(Take(), Contains("panel press 20,10"));
    EXPECT_EQ(mPanel->mLastMouse.buttons, MouseButton::cMiddle);
    EXPECT_EQ(mPanel->mLastMouse.modifiers, Modifier::cShift | Modifier::cAlt);
    EXPECT_EQ(mHost->GetCaptured(), mPanel);
    EXPECT_EQ(mHost->GetFocused(), mPanel);

    QMouseEvent move(QEvent::MouseMove, QPointF(-5, 250), Qt::NoButton, Qt::LeftButton | Qt::RightButton,
        Qt::ControlModifier | Qt::MetaModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier);
    QCoreApplication::sendEvent(mHost, &move);
    EXPECT_THAT(Take(), ElementsAre("panel move -105,200"));
    EXPECT_EQ(mPanel->mLastMouse.buttons, MouseButton::cLeft | MouseButton::cRight);
    EXPECT_EQ(mPanel->mLastMouse.modifiers,
        Modifier::cControl | Modifier::cMeta | Modifier::cKeypad | Modifier::cGroupSwitch);

    QTest::mouseRelease(mHost, Qt::MiddleButton, {}, QPoint(-5, 250));
    EXPECT_EQ(mHost->GetCaptured(), nullptr);
    EXPECT_EQ(mHost->GetHovered(), nullptr);
    QTest::mouseDClick(mHost, Qt::BackButton, {}, cOnPanel);
    EXPECT_EQ(mPanel->mLastMouse.buttons, 0);
    EXPECT_THAT(Take(), Contains("panel double 20,10"));
}

TEST_F(ControlHostWidgetGuiTest, OnlyAnUnusedWheelGoesOnToTheParent)
{
    Show();
    const auto turn = [this](QPoint angle, Qt::KeyboardModifiers modifiers) {
        QWheelEvent event(
            cOnPanel, mHost->mapToGlobal(cOnPanel), {}, angle, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
        // Only an event of the window system goes on to parents.
        QSpontaneKeyEvent::setSpontaneous(&event);
        qApp->notify(mHost, &event);
        return mPanel->mLastWheel.delta;
    };
    EXPECT_EQ(turn({0, -120}, {}), -120);
    EXPECT_EQ(mWindow.mNumWheels, 1);
    mPanel->mHandles = true;
    // As X11 gives it when Alt is held.
    EXPECT_EQ(turn({240, 0}, Qt::AltModifier), 240);
    EXPECT_EQ(mPanel->mLastWheel.modifiers, Modifier::cAlt);
    EXPECT_EQ(mWindow.mNumWheels, 1);
    EXPECT_EQ(turn({30, -240}, {}), -240);
    EXPECT_EQ(turn({}, {}), -240) << "the rest of a slanted turn";
}

TEST_F(ControlHostWidgetGuiTest, OnlyAnUnusedKeyGoesOnToTheParent)
{
    Show();
    QTest::mouseClick(mHost, Qt::LeftButton, {}, cOnPanel);
    Take();
    const auto send = [this](QEvent::Type type, int key, Qt::KeyboardModifiers modifiers) {
        QKeyEvent event(type, key, modifiers);
        QApplication::sendEvent(mHost, &event);
        return Take();
    };
    EXPECT_THAT(
        send(QEvent::KeyPress, Qt::Key_QuoteLeft, Qt::ControlModifier), ElementsAre("panel key", "content key"));
    EXPECT_EQ(mPanel->mLastKey.key, Input::EKeyCode::Grave);
    EXPECT_EQ(mPanel->mLastKey.modifiers, Modifier::cControl);
    EXPECT_TRUE(mPanel->mLastKey.accepted);
    EXPECT_EQ(mWindow.mNumKeys, 1);
    mPanel->mHandles = true;
    EXPECT_THAT(send(QEvent::KeyRelease, Qt::Key_QuoteLeft, {}), ElementsAre("panel keyup"));
    EXPECT_THAT(send(QEvent::KeyPress, Qt::Key_AltGr, {}), ElementsAre("panel key"));
    EXPECT_EQ(mPanel->mLastKey.key, Input::EKeyCode::None);
    EXPECT_EQ(mWindow.mNumKeys, 1);
}

TEST_F(ControlHostWidgetGuiTest, TheFocusComesAndGoesWithThatOfQt)
{
    Show();
    mEdit->setFocus();
    Take();
    // A press brings the keyboard along, to what was pressed.
    QTest::mouseClick(mHost, Qt::LeftButton, {}, cOnPanel);
    EXPECT_TRUE(mHost->hasFocus());
    EXPECT_EQ(mHost->GetFocused(), mPanel);
    mEdit->setFocus();
    EXPECT_EQ(mHost->GetFocused(), nullptr);
    EXPECT_THAT(Take(), testing::AllOf(Contains("panel focus"), Contains("panel blur")));
    // Without a press it is the content's.
    mHost->setFocus();
    EXPECT_EQ(mHost->GetFocused(), mContent);

    // A menu only borrows it.
    {
        QFocusEvent toMenu(QEvent::FocusOut, Qt::PopupFocusReason);
        QCoreApplication::sendEvent(mHost, &toMenu);
        QFocusEvent toMenuBar(QEvent::FocusOut, Qt::MenuBarFocusReason);
        QCoreApplication::sendEvent(mHost, &toMenuBar);
        EXPECT_EQ(mHost->GetFocused(), mContent);
        QFocusEvent back(QEvent::FocusIn, Qt::PopupFocusReason);
        QCoreApplication::sendEvent(mHost, &back);
    }
    QWidget other;
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    EXPECT_EQ(mHost->GetFocused(), nullptr);
}

TEST_F(ControlHostWidgetGuiTest, ThePointerHoversAndTheWidgetShowsItsCursor)
{
    Show();
    mPanel->SetCursor(ECursor::SizeAll);
    mContent->SetCursor(ECursor::Zoom);
    QTest::mouseMove(mHost, cOnPanel);
    ASSERT_TRUE(QTest::qWaitFor([this] { return mHost->GetHovered() == mPanel; }));
    EXPECT_EQ(mHost->cursor().shape(), Qt::SizeAllCursor);
    QTest::mouseMove(mHost, cOnContent);
    ASSERT_TRUE(QTest::qWaitFor([this] { return mHost->GetHovered() == mContent; }));
    EXPECT_EQ(mHost->cursor().shape(), Qt::BitmapCursor);
    EXPECT_EQ(mHost->cursor().hotSpot(), QPoint(7, 7));
    QTest::mouseMove(mEdit);
    ASSERT_TRUE(QTest::qWaitFor([this] { return mHost->GetHovered() == nullptr; }));
    EXPECT_FALSE(mContent->IsMouseInside());
}

TEST_F(ControlHostWidgetGuiTest, TheTooltipFollowsTheHoverFromFrameToFrame)
{
    Show();
    const auto getTooltip = [this]() -> QLabel* {
        Paint();
        auto* const tooltip = mHost->findChild<MouseFollowTooltip*>();
        return tooltip != nullptr && tooltip->isVisible() ? tooltip : nullptr;
    };
    mPanel->mTooltip = "<b>panel</b>";
    EXPECT_EQ(getTooltip(), nullptr);
    QCursor::setPos(mHost->mapToGlobal(cOnPanel));
    ASSERT_TRUE(QTest::qWaitFor([&] { return getTooltip() != nullptr; }));
    EXPECT_EQ(getTooltip()->text(), "<b>panel</b> at 20,10");
    EXPECT_EQ(getTooltip()->pos(), gPlaceTooltip(QCursor::pos(), getTooltip()->size(), mHost->screen()->geometry()));
    // Without any event of the mouse.
    mPanel->mTooltip = "other";
    EXPECT_EQ(getTooltip()->text(), "other at 20,10");

    QTest::mousePress(mHost, Qt::LeftButton, {}, cOnPanel);
    EXPECT_NE(getTooltip(), nullptr) << "a press that captures nothing hides it until the next frame";
    mPanel->mHandles = true;
    QTest::mousePress(mHost, Qt::LeftButton, {}, cOnPanel);
    EXPECT_EQ(getTooltip(), nullptr);
    QTest::mouseRelease(mHost, Qt::LeftButton, {}, cOnPanel);
    EXPECT_NE(getTooltip(), nullptr);
    mPanel->mTooltip.clear();
    EXPECT_EQ(getTooltip(), nullptr);
    mPanel->mTooltip = "again";
    EXPECT_NE(getTooltip(), nullptr);
    QCursor::setPos(mEdit->mapToGlobal({5, 5}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return getTooltip() == nullptr; }));
}

TEST_F(ControlHostWidgetGuiTest, ASteadyFrameAllocatesNothing)
{
    Show();
    Paint();
    mHost->makeCurrent();
    mHost->paintGL();
    const std::uint64_t before = Tests::gCountAllocations();
    mHost->paintGL();
    EXPECT_EQ(Tests::gCountAllocations(), before);
    mHost->doneCurrent();
}

TEST_F(ControlHostWidgetGuiTest, MovedToAnotherWindowItDrawsTheSameTree)
{
    Show();
    QWidget other;
    auto* const layout = new QVBoxLayout(&other);
    layout->addWidget(mHost);
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
    Paint();
    EXPECT_EQ(mNumCallbacks, 1);
    EXPECT_EQ(mContext.GetFailure(), "");
    EXPECT_EQ(GetPixel(20, 30), QColor(0, 0, 255));
    EXPECT_EQ(GetPixel(120, 60), QColor(255, 0, 0));
    delete mHost;
    mHost = nullptr;
}

TEST_F(ControlHostWidgetGuiTest, TwoWidgetsDrawWithOneRenderContext)
{
    Show();
    auto* const second = new Host;
    Log log;
    second->SetRenderContext(&mContext);
    second->setFixedSize(50, 50);
    second->SetInitialiseCallback([&] {
        second->SetContent(
            std::make_unique<PaintedControl>("second", Renderer::Rectangle{}, log, Renderer::Colour{0, 1, 0, 1}));
    });
    mWindow.layout()->addWidget(second);
    ASSERT_TRUE(QTest::qWaitFor([&] { return second->IsInitialised(); }));
    EXPECT_EQ(second->grabFramebuffer().pixelColor(25, 25), QColor(0, 255, 0));
    delete second;
    Paint();
    EXPECT_EQ(GetPixel(120, 60), QColor(255, 0, 0));
}

TEST_F(ControlHostWidgetGuiTest, OnAScaledDesktopEverythingIsInItsPlace)
{
    // The scale is settled once in a process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto draw = [this] {
        mHost->setFixedSize(301, 201);
        Show();
        const QImage image = mHost->grabFramebuffer();
        std::string colours;
        for (const QPoint pixel : {QPoint(148, 80), QPoint(151, 76), QPoint(223, 148), QPoint(226, 148), QPoint(0, 0),
                 QPoint(451, 0), QPoint(0, 301), QPoint(451, 301)})
            colours += image.pixelColor(pixel).name().toStdString() + " ";
        std::fprintf(stderr, "[%d %d %s]", image.width(), image.height(), colours.c_str());
        std::_Exit(0);
    };
    const ScopedVariable scale("QT_SCALE_FACTOR", "1.5");
    EXPECT_EXIT(draw(), testing::ExitedWithCode(0),
        "\\[452 302 #0000ff #ff0000 #ff0000 #0000ff #0000ff #0000ff #0000ff #0000ff \\]");
}

/// Shows the window where OpenGL does not start, uses it, and says what is on it.
class ControlHostWidgetFailureGuiTest : public ControlHostWidgetGuiTest
{
protected:
    QString ShowAndUse()
    {
        mWindow.show();
        if (!QTest::qWaitForWindowExposed(&mWindow))
            return "The window does not come";
        QTest::mouseClick(mHost, Qt::LeftButton, {}, cOnPanel);
        QTest::keyClick(mHost, Qt::Key_A);
        QTest::keyClicks(mEdit, "typed");
        mHost->setFixedSize(310, 210);
        Paint();
        if (mHost->IsInitialised() || mNumCallbacks != 0 || mEdit->text() != "typed")
            return "The widget has started, or the window does not work";
        auto* const label = mHost->findChild<QLabel*>({}, Qt::FindDirectChildrenOnly);
        for (QLabel* child : mHost->findChildren<QLabel*>())
        {
            if (child->isVisible() && child->size() == QSize(310, 210))
                return child->text();
        }
        return label != nullptr ? "The message is not over all of the widget" : "There is no message";
    }
};

TEST_F(ControlHostWidgetFailureGuiTest, WithoutARenderContextThereIsAMessage)
{
    EXPECT_THAT(ShowAndUse().toStdString(), HasSubstr("The chart cannot be drawn."));
}

TEST_F(ControlHostWidgetFailureGuiTest, WithoutAUsableDriverThereIsAMessageThatSaysWhy)
{
    // What there is of OpenGL is settled once in a process, so each takes another one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto show = [this] {
        mHost->SetRenderContext(&mContext);
        std::fprintf(stderr, "[%s]", ShowAndUse().replace('\n', ' ').toUtf8().constData());
        std::_Exit(0);
    };
    {
        const ScopedVariable version("MESA_GL_VERSION_OVERRIDE", "2.1");
        EXPECT_EXIT(show(), testing::ExitedWithCode(0), "The chart cannot be drawn\\. .*OpenGL 3.3 is needed");
    }
    const ScopedVariable none("QT_XCB_GL_INTEGRATION", "none");
    EXPECT_EXIT(show(), testing::ExitedWithCode(0), "The chart cannot be drawn\\. There is no OpenGL context");
}

}
}
