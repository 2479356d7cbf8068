#include "Quarkspindle/window/Display.h"

#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>

#include <X11/Xlib.h>

namespace Quarkspindle
{

namespace
{

constexpr const char* cPlatform = "QT_QPA_PLATFORM";
constexpr int cStartTimeMs = 15000;
constexpr int cStopTimeMs = 3000;

}

bool gHasDisplay()
{
    if (!qEnvironmentVariableIsEmpty(cPlatform) && qgetenv(cPlatform) != "xcb")
        return true;
    qputenv(cPlatform, "xcb");
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
        return false;
    XCloseDisplay(display);
    return true;
}

struct PrivateDisplay::State
{
    QProcess Server;
};

PrivateDisplay::PrivateDisplay() = default;

PrivateDisplay::~PrivateDisplay()
{
    if (mState == nullptr)
        return;
    mState->Server.terminate();
    if (!mState->Server.waitForFinished(cStopTimeMs))
        mState->Server.kill();
    mState->Server.waitForFinished(cStopTimeMs);
}

bool PrivateDisplay::Start(std::string& error)
{
    const QString program = QStandardPaths::findExecutable("Xvfb");
    if (program.isEmpty())
    {
        error = "There is no display, and no Xvfb (Debian package xvfb) to draw on instead";
        return false;
    }
    mState = std::make_unique<State>();
    // The server says on its standard output which number it has found free, once it can be reached.
    mState->Server.setStandardErrorFile(QProcess::nullDevice());
    mState->Server.start(
        program, {"-displayfd", "1", "-screen", "0", "3840x2160x24", "-dpi", "96", "-nolisten", "tcp", "-noreset"});
    if (!mState->Server.waitForReadyRead(cStartTimeMs))
    {
        error = "There is no display, and Xvfb did not start";
        return false;
    }
    const QByteArray number = mState->Server.readAllStandardOutput().trimmed();
    qputenv("DISPLAY", ":" + number);
    return true;
}

}
