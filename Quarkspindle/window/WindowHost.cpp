#include "Quarkspindle/window/WindowHost.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QOffscreenSurface>
#include <QtGui/QOpenGLContext>

#include "Quarkspindle/window/Accessibility.h"
#include "Quarkspindle/window/WindowState.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"

namespace Quarkspindle
{

namespace
{

std::FILE* OpenLog(const std::string& path)
{
    return FileSystem::gCreateDirectoryTree(FileSystem::gGetDirectory(path)) ? std::fopen(path.c_str(), "w") : nullptr;
}

/// Any thread: a stream has a lock of its own.
void WriteLogLine(const char* line, void* file)
{
    if (file == nullptr)
        return;
    std::fputs(line, static_cast<std::FILE*>(file));
    std::fflush(static_cast<std::FILE*>(file));
}

}

void WindowHost::CloseLog::operator()(std::FILE* file) const
{
    Utility::gSetTraceSinks({});
    std::fclose(file);
}

WindowHost::WindowHost(const std::string& settingsPath, const std::string& logPath)
    : mLog{OpenLog(logPath)},
      mHost{{{&WriteLogLine, mLog.get()}}},
      mKeyboardFilter{mKeyboardState}
{
    const bool isThere = FileSystem::gFileExists(settingsPath);
    mAreSettingsDamaged = !mSettings.Load(settingsPath, mHost.GetTypeRegistry()) && isThere;
    QCoreApplication::instance()->installEventFilter(&mKeyboardFilter);
    gInstallAccessibility();
    mViewContext.Settings = &mSettings;
    mViewContext.KeyboardState = &mKeyboardState;
    mViewContext.RenderContext = &mRenderContext;
}

WindowHost::~WindowHost() = default;

bool WindowHost::StartGraphics(std::string& reason)
{
    // Qt makes this one with the application object, and all contexts of widgets share with it.
    QOpenGLContext* context = QOpenGLContext::globalShareContext();
    if (context == nullptr || !context->isValid())
    {
        reason = "There is no OpenGL context.";
        return false;
    }
    QOffscreenSurface surface;
    surface.setFormat(context->format());
    surface.create();
    if (!context->makeCurrent(&surface))
    {
        reason = "The OpenGL context cannot be used.";
        return false;
    }
    const bool isStarted = mRenderContext.Initialise();
    reason = mRenderContext.GetFailure();
    context->doneCurrent();
    return isStarted;
}

std::string WindowHost::sGetDefaultLogPath()
{
    const std::string folder = FileSystem::gGetDirectory(WindowState::sGetDefaultPath().toStdString());
    return FileSystem::gCombinePath(folder, "quarkspindle.log");
}

}
