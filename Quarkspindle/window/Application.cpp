#include "Quarkspindle/window/Application.h"

#include <cstdio>

#include <QtGui/QIcon>

#include "Quarkspindle/SettingsPath.h"
#include "Quarkspindle/window/CaptureOpener.h"
#include "Utility/Trace.h"

/// What lies in a static library registers itself only when it is asked to, from outside of any namespace.
static void gRegisterResources()
{
    Q_INIT_RESOURCE(Cursors);
    Q_INIT_RESOURCE(Icons);
}

namespace Quarkspindle
{

namespace
{

constexpr int cInterruptIntervalMs = 100;

// Qt knows one function without a context of its own. While there is no log only `main`'s thread runs.
std::atomic<bool> sHasLog = false;
QStringList sEarlyMessages;

void TakeQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "quarkspindle: %s\n", text.toUtf8().constData());
    else if (sHasLog)
        Utility::gTrace("Qt: %s", text.toUtf8().constData());
    else
        sEarlyMessages.append(text);
}

QIcon MakeIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 128})
        icon.addFile(QString{":/Quarkspindle/icon-%1.png"}.arg(size));
    return icon;
}

void OpenLog()
{
    sHasLog = true;
    for (const QString& text : sEarlyMessages)
        Utility::gTrace("Qt: %s", text.toUtf8().constData());
    sEarlyMessages.clear();
}

}

Application::QtOptions::QtOptions()
{
    qInstallMessageHandler(&TakeQtMessage);
    // One group of contexts, so that the charts of all windows share what they load.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
}

Application::QtOptions::~QtOptions()
{
    qInstallMessageHandler(nullptr);
    sEarlyMessages.clear();
}

Application::Application(const std::atomic<bool>& interrupted) : mApplication{mNumArguments, mArguments}
{
    gRegisterResources();
    QCoreApplication::setApplicationName("quarkspindle");
    QGuiApplication::setApplicationDisplayName("Quarkspindle");
    QGuiApplication::setDesktopFileName("quarkspindle");
    QGuiApplication::setWindowIcon(MakeIcon());
    mHost = std::make_unique<WindowHost>(gGetSettingsPath(), WindowHost::sGetDefaultLogPath());
    OpenLog();
    Utility::Result result;
    if (!mHost->GetHost().LoadPlugins(Host::EViews::With, result))
        mProblems.append(QString::fromStdString(gDescribe(result)));
    if (mHost->AreSettingsDamaged())
        mProblems.append(QCoreApplication::translate("Application",
            "The settings file %1 is not complete and valid; what it lacks has its default, and %2 says why")
                             .arg(QString::fromStdString(mHost->GetSettings().GetPath()),
                                 QString::fromStdString(WindowHost::sGetDefaultLogPath())));
    QObject::connect(&mInterruptTimer, &QTimer::timeout, [&interrupted] {
        if (interrupted)
            QCoreApplication::quit();
    });
    mInterruptTimer.start(cInterruptIntervalMs);
}

Application::~Application()
{
    sHasLog = false;
}

void Application::Run()
{
    QApplication::exec();
}

}
