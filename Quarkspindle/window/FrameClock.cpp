#include "Quarkspindle/window/FrameClock.h"

#include <algorithm>

#include <QtCore/QEvent>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QWidget>

namespace Quarkspindle
{

namespace
{

constexpr double cDefaultRate = 60.0;
/// A machine that slept, or a dialog that held everything up, is no reason for animations to jump.
constexpr double cLongestFrame = 0.25;

}

FrameClock::FrameClock(QWidget& window, std::function<void(double)> frame) : mWindow{window}, mFrame{std::move(frame)}
{
    mTimer.setTimerType(Qt::PreciseTimer);
    connect(&mTimer, &QTimer::timeout, this, &FrameClock::OnTimeout);
    mWindow.installEventFilter(this);
    Update();
}

bool FrameClock::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type())
    {
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::Expose:
    case QEvent::WindowStateChange:
    case QEvent::WinIdChange:
        // Looked at when the event has done what it does.
        QMetaObject::invokeMethod(this, &FrameClock::Update, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void FrameClock::Update()
{
    QWindow* handle = mWindow.windowHandle();
    if (handle != mHandle)
    {
        mHandle = handle;
        if (handle != nullptr)
            handle->installEventFilter(this);
    }
    const bool isSeen = handle != nullptr && mWindow.isVisible() && !mWindow.isMinimized() &&
                        (handle->isExposed() || mWindow.testAttribute(Qt::WA_DontShowOnScreen));
    if (!isSeen)
    {
        mTimer.stop();
        return;
    }
    if (mTimer.isActive())
        return;
    const double told = handle->screen() != nullptr ? handle->screen()->refreshRate() : cDefaultRate;
    const double rate = told >= 1.0 ? told : cDefaultRate;
    mSinceLastFrame.start();
    mTimer.start(static_cast<int>(1000.0 / rate));
}

void FrameClock::OnTimeout()
{
    const double seconds = static_cast<double>(mSinceLastFrame.nsecsElapsed()) / 1e9;
    mSinceLastFrame.start();
    mFrame(std::min(seconds, cLongestFrame));
}

}
