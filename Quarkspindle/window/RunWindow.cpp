#include "Quarkspindle/window/RunWindow.h"

#include <QtWidgets/QOpenGLWidget>

#include "ProfilerLib/settings/DefaultDirectories.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/window/Application.h"
#include "Quarkspindle/window/CapturePage.h"
#include "Quarkspindle/window/Display.h"
#include "Quarkspindle/window/MainWindow.h"
#include "Quarkspindle/window/Snapshot.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

void ExitAtFirstFrame(MainWindow& window)
{
    CapturePage* page = window.GetCurrentPage();
    if (page == nullptr)
        return;
    QObject::connect(page, &CapturePage::Changed, &window, [page] {
        if (page->GetChart() == nullptr)
            return;
        const auto* chart = page->GetViewContainer()->findChild<QOpenGLWidget*>();
        if (chart != nullptr)
            QObject::connect(chart, &QOpenGLWidget::frameSwapped, qApp, &QCoreApplication::quit);
        else
            QCoreApplication::quit();
    });
}

bool DrawInstead(const std::vector<std::string>& paths, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    if (paths.empty())
        return result.FailText(0, "There is no display to open a window on. With a trace or a capture a picture of "
                                  "the window is written instead");
    if (paths.size() > 1)
        return result.FailText(0, "There is no display, and a picture can show one capture only");
    SnapshotRequest request;
    request.mPath = paths.front();
    request.mWithWindow = true;
    const std::string captures = Profiler::gFindDefaultCaptureDirectory();
    const std::string folder =
        captures.empty() ? "." : FileSystem::gCombinePath(FileSystem::gGetDirectory(captures), "pictures");
    FileSystem::FileError error;
    if (!FileSystem::gCreateDirectoryTree(folder, error))
        return result.FailText(0, error.ToString());
    request.mOutput = FileSystem::gCombinePath(folder, FileSystem::gGetBaseName(request.mPath) + ".png");
    if (!gTakeSnapshot(request, interrupted, result))
        return false;
    Output output;
    output.Print("There is no display, so a picture of the window was written to %s\n", request.mOutput.c_str());
    return output.Finish(result);
}

}

bool gRunWindow(const WindowRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    if (!gHasDisplay())
        return DrawInstead(request.mPaths, interrupted, result);
    Application application{interrupted};
    WindowState state{WindowState::sGetDefaultPath()};
    MainWindow window{application.GetHost(), state};
    for (const QString& problem : application.GetProblems())
        window.GetMessages().Show(MessageStrip::EKind::Error, problem);
    window.show();
    for (const std::string& path : request.mPaths)
        window.Open(QString::fromStdString(path));
    if (request.mExitsAtFirstFrame)
        ExitAtFirstFrame(window);
    application.Run();
    return true;
}

}
