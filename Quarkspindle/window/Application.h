#pragma once

#include <atomic>
#include <memory>

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include "Quarkspindle/window/WindowHost.h"

namespace Quarkspindle
{

/// What every run with widgets begins with: Qt's application object, then the host with its plug-in. Made once, where
/// there is a display. An interrupt of the user ends the event loop.
class Application
{
public:
    explicit Application(const std::atomic<bool>& interrupted);
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    ~Application();

    WindowHost& GetHost() { return *mHost; }

    /// What went wrong at the start without keeping the program from running; empty when nothing did.
    const QStringList& GetProblems() const { return mProblems; }

    /// Runs the event loop until the last window is closed, or `quit`.
    void Run();

private:
    /// Also gives Qt's own messages to the log, those from before there is one included.
    struct QtOptions
    {
        QtOptions();
        ~QtOptions();
    };

    QtOptions mOptions; ///< set before the application object is made
    int mNumArguments = 1;
    char mName[13] = "quarkspindle";
    char* mArguments[2] = {mName, nullptr};
    QApplication mApplication;
    QTimer mInterruptTimer;
    std::unique_ptr<WindowHost> mHost;
    QStringList mProblems;
};

}
