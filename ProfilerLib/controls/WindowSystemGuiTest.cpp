#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/KeyboardEventFilter.h"
#include "ProfilerLib/controls/MouseFollowTooltip.h"
#include "ProfilerLib/controls/QtCursor.h"

#include <cmath>

#include <QtGui/QPixmap>
#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <gtest/gtest.h>

#include "ProfilerLib/settings/KeyboardState.h"
#include "Utility/LogCapture.h"

// The macro has to stand outside all namespaces.
static void RemoveCursorPictures()
{
    Q_CLEANUP_RESOURCE(Cursors);
}

namespace Profiler
{
namespace
{

using Input::EKeyCode;

TEST(DpiScaleGuiTest, SizesAreWholePixelsOfTheDesktop)
{
    const QScreen& screen = *QGuiApplication::primaryScreen();
    EXPECT_NEAR(DpiScaleX() * 96, screen.physicalDotsPerInchX(), 1);
    EXPECT_NEAR(DpiScaleY() * 96, screen.physicalDotsPerInchY(), 1);
    EXPECT_EQ(ScaledX(100.3f), std::round(DpiScaleX() * 100.3f));
    EXPECT_EQ(ScaledY(100.3f, 3.0f), std::round(DpiScaleY() * 3.0f * 100.3f));
    EXPECT_EQ(ScaledX(10.0f, 0.1f), 10.0f) << "with a factor a size never becomes smaller";
}

TEST(QtCursorGuiTest, EveryCursorHasItsShape)
{
    const struct
    {
        int mCursor;
        Qt::CursorShape mShape;
        QPoint mHotSpot;
    } rows[] = {{0, Qt::ArrowCursor, {}}, {1, Qt::ArrowCursor, {}}, {2, Qt::WaitCursor, {}}, {3, Qt::SizeVerCursor, {}},
        {4, Qt::SizeHorCursor, {}}, {5, Qt::SizeAllCursor, {}}, {6, Qt::BusyCursor, {}}, {7, Qt::OpenHandCursor, {}},
        {8, Qt::ClosedHandCursor, {}}, {9, Qt::BitmapCursor, {10, 10}}, {10, Qt::BitmapCursor, {7, 7}},
        {11, Qt::BitmapCursor, {9, 7}}, {12, Qt::BlankCursor, {}}, {13, Qt::ArrowCursor, {}},
        {255, Qt::ArrowCursor, {}}};
    for (const auto& row : rows)
    {
        const QCursor cursor = gGetQtCursor(static_cast<ECursor>(row.mCursor));
        EXPECT_EQ(cursor.shape(), row.mShape) << row.mCursor;
        if (row.mShape == Qt::BitmapCursor)
        {
            EXPECT_EQ(cursor.hotSpot(), row.mHotSpot) << row.mCursor;
            EXPECT_EQ(cursor.pixmap().size(), QSize(32, 32)) << row.mCursor;
        }
    }
}

TEST(QtCursorGuiTest, AProgramWithoutThePicturesHasArrows)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ask = [] {
        RemoveCursorPictures();
        const LogCapture log;
        for (const ECursor cursor : {ECursor::Pan, ECursor::Zoom, ECursor::Measure})
        {
            if (gGetQtCursor(cursor).shape() != Qt::ArrowCursor)
                std::_Exit(1);
        }
        std::_Exit(0);
    };
    EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}

class KeyboardEventFilterGuiTest : public testing::Test
{
protected:
    KeyboardEventFilterGuiTest() { qApp->installEventFilter(&mFilter); }

    Input::KeyboardState mState;
    KeyboardEventFilter mFilter{mState};
    QLineEdit mEdit;
};

TEST_F(KeyboardEventFilterGuiTest, KeysAreDownFromPressToRelease)
{
    QTest::keyPress(&mEdit, Qt::Key_7, Qt::KeypadModifier);
    EXPECT_TRUE(mState.IsKeyDown(EKeyCode::Digit7));
    // A key that repeats is pressed and released all the time, and held.
    for (const QEvent::Type type : {QEvent::KeyRelease, QEvent::KeyPress})
    {
        QKeyEvent repeat(type, Qt::Key_7, Qt::NoModifier, "7", true);
        QCoreApplication::sendEvent(&mEdit, &repeat);
        EXPECT_TRUE(mState.IsKeyDown(EKeyCode::Digit7));
    }
    QTest::keyRelease(&mEdit, Qt::Key_7);
    EXPECT_FALSE(mState.IsKeyDown(EKeyCode::Digit7));
    EXPECT_EQ(mEdit.text(), "77") << "nothing was taken away";

    // Two switches of one key.
    const auto send = [this](QEvent::Type type, quint32 scanCode) {
        QKeyEvent event(type, Qt::Key_Control, Qt::NoModifier, scanCode, 0, 0);
        QCoreApplication::sendEvent(&mEdit, &event);
        return mState.IsKeyDown(EKeyCode::Control);
    };
    EXPECT_TRUE(send(QEvent::KeyPress, 37));
    EXPECT_TRUE(send(QEvent::KeyPress, 105));
    EXPECT_TRUE(send(QEvent::KeyRelease, 37));
    EXPECT_FALSE(send(QEvent::KeyRelease, 105));
}

TEST_F(KeyboardEventFilterGuiTest, KeysThatAreReleasedElsewhereAreNotHeld)
{
    QTest::keyPress(&mEdit, Qt::Key_Alt);
    QTest::mouseMove(&mEdit, {3, 3});
    QTest::mousePress(&mEdit, Qt::LeftButton, Qt::AltModifier);
    EXPECT_TRUE(mState.IsKeyDown(EKeyCode::Alt));
    QTest::mouseRelease(&mEdit, Qt::LeftButton, Qt::NoModifier);
    QTest::mousePress(&mEdit, Qt::LeftButton, Qt::NoModifier);
    EXPECT_FALSE(mState.IsKeyDown(EKeyCode::Alt));

    QTest::keyPress(&mEdit, Qt::Key_A);
    QApplicationStateChangeEvent active(Qt::ApplicationActive);
    QCoreApplication::sendEvent(qApp, &active);
    EXPECT_TRUE(mState.IsKeyDown(EKeyCode::A));
    QApplicationStateChangeEvent inactive(Qt::ApplicationInactive);
    QCoreApplication::sendEvent(qApp, &inactive);
    EXPECT_FALSE(mState.IsKeyDown(EKeyCode::A));
}

class MouseFollowTooltipGuiTest : public testing::Test
{
protected:
    MouseFollowTooltipGuiTest()
    {
        QCursor::setPos(1200, 1000);
        mWidget.resize(200, 100);
        mWidget.move(100, 100);
        mWidget.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&mWidget));
    }

    void Show(const QString& text) { mTooltip.Show(mWidget.mapToGlobal({10, 10}), text, &mWidget, mWidget.rect()); }

    QWidget mWidget;
    MouseFollowTooltip mTooltip{&mWidget};
};

TEST_F(MouseFollowTooltipGuiTest, TheSameTextOnlyMoves)
{
    Show("<b>one</b> line");
    EXPECT_TRUE(mTooltip.isVisible());
    EXPECT_TRUE(mTooltip.wordWrap());
    const QSize size = mTooltip.size();
    const QPoint place = mTooltip.pos();
    mTooltip.resize(7, 7);
    mTooltip.Show(mWidget.mapToGlobal({30, 20}), "<b>one</b> line", &mWidget, mWidget.rect());
    EXPECT_EQ(mTooltip.size(), QSize(7, 7));
    EXPECT_EQ(mTooltip.pos(), place + QPoint(20, 10));
    Show("plain");
    EXPECT_FALSE(mTooltip.wordWrap());
    EXPECT_LT(mTooltip.width(), size.width());
    EXPECT_GE(mTooltip.height(), mTooltip.sizeHint().height());
}

TEST_F(MouseFollowTooltipGuiTest, WhatEndsThePointingHidesIt)
{
    QLineEdit other;
    const struct
    {
        QEvent::Type mType;
        bool mHides;
    } rows[] = {{QEvent::MouseButtonPress, true}, {QEvent::MouseButtonRelease, true},
        {QEvent::MouseButtonDblClick, true}, {QEvent::FocusIn, true}, {QEvent::FocusOut, true}, {QEvent::Leave, true},
        {QEvent::Close, true}, {QEvent::WindowActivate, true}, {QEvent::WindowDeactivate, true}, {QEvent::Wheel, true},
        {QEvent::KeyPress, false}, {QEvent::KeyRelease, false}, {QEvent::Enter, false}, {QEvent::Paint, false},
        {QEvent::Timer, false}};
    for (const auto& row : rows)
    {
        Show("text");
        // The filter is asked as the application asks it; what the event does to its receiver is another matter.
        QEvent event(row.mType);
        EXPECT_FALSE(static_cast<QObject&>(mTooltip).eventFilter(&other, &event));
        EXPECT_EQ(mTooltip.isVisible(), !row.mHides) << row.mType;
    }
    // It hears of the whole application.
    Show("text");
    QTest::mousePress(&other, Qt::LeftButton);
    EXPECT_FALSE(mTooltip.isVisible());
}

TEST_F(MouseFollowTooltipGuiTest, AMouseOutsideTheAreaHidesIt)
{
    const auto move = [this](QPoint inWidget) {
        const QPoint global = mWidget.mapToGlobal(inWidget);
        QMouseEvent event(QEvent::MouseMove, QPointF(0, 0), global, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&mTooltip, &event);
        return mTooltip.isVisible();
    };
    Show("text");
    EXPECT_TRUE(move({0, 0}));
    EXPECT_TRUE(move({199, 99}));
    EXPECT_FALSE(move({200, 50}));
    EXPECT_FALSE(move({20, 20}));
}

}
}
