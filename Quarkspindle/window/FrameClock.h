#pragma once

#include <functional>

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

class QWidget;
class QWindow;

namespace Quarkspindle
{

/// Calls `frame(seconds)` at the rate of the display while the window is exposed, with the time since the last call;
/// not at all while it is hidden or minimised.
class FrameClock final : public QObject
{
    Q_OBJECT

public:
    /// The window must outlive the clock.
    FrameClock(QWidget& window, std::function<void(double)> frame);

    bool IsRunning() const { return mTimer.isActive(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Update();
    void OnTimeout();

    QWidget& mWindow;
    QPointer<QWindow> mHandle; ///< the window's, once it has one
    std::function<void(double)> mFrame;
    QTimer mTimer;
    QElapsedTimer mSinceLastFrame;
};

}
