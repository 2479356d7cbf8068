#include "Quarkspindle/window/WindowCommands.h"

#include <optional>

#include <CLI/CLI.hpp>
#include <QtWidgets/QOpenGLWidget>

#include "ProfilerLib/settings/DefaultDirectories.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/window/Application.h"
#include "Quarkspindle/window/CapturePage.h"
#include "Quarkspindle/window/Display.h"
#include "Quarkspindle/window/MainWindow.h"
#include "Quarkspindle/window/Snapshot.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

std::string CheckRange(const std::string& text)
{
    int first = 0;
    int last = 0;
    char rest = 0;
    const bool isRange = std::sscanf(text.c_str(), "%d:%d%c", &first, &last, &rest) == 2;
    return isRange && first >= 0 && first <= last ? std::string{} : "It is not FIRST:LAST";
}

std::string CheckSize(const std::string& text)
{
    constexpr int cSmallest = 200;
    constexpr int cLargest = 8192;
    int width = 0;
    int height = 0;
    char rest = 0;
    const bool isSize = std::sscanf(text.c_str(), "%dx%d%c", &width, &height, &rest) == 2;
    return isSize && std::min(width, height) >= cSmallest && std::max(width, height) <= cLargest
               ? std::string{}
               : Utility::gFormat("It is not WxH with both from %d to %d", cSmallest, cLargest);
}

class SnapshotCommand final : public Command
{
public:
    void Declare(CLI::App& program) override
    {
        CLI::App& word = AddWord(program, "snapshot", "Draw a chart into a PNG file, without a window on the screen");
        word.add_option("CAPTURE", mRequest.mPath, "Capture directory, .session file, or a trace")->required();
        word.add_option("--event", mRequest.mEvent, "Name of the event, exactly as 'list' shows it")
            ->required()
            ->type_name("NAME");
        word.add_option("--thread", mRequest.mThreadID, "Thread id; without it the thread where the event occurs first")
            ->type_name("ID");
        word.add_option("--size", mSize, "Size of the picture in pixels")
            ->type_name("WxH")
            ->check(CLI::Validator{CheckSize, "", "size"})
            ->capture_default_str();
        word.add_option("--range", mRange, "Show these occurrences only, by their numbers from 0")
            ->type_name("FIRST:LAST")
            ->check(CLI::Validator{CheckRange, "", "range"});
        word.add_flag("--window", mRequest.mWithWindow, "Draw the whole window, with its lists, table and histogram");
        word.add_option("-o,--output", mRequest.mOutput, "The PNG file")->required()->type_name("FILE");
    }

    bool Run(const CommandContext& context, Utility::Result& result) override
    {
        std::sscanf(mSize.c_str(), "%dx%d", &mRequest.mSize.first, &mRequest.mSize.second);
        if (!mRange.empty())
        {
            std::pair<int32_t, int32_t> range;
            std::sscanf(mRange.c_str(), "%d:%d", &range.first, &range.second);
            mRequest.mRange = range;
        }
        return gTakeSnapshot(mRequest, context.Interrupted, result);
    }

private:
    SnapshotRequest mRequest;
    std::string mSize = "1400x900";
    std::string mRange;
};

/// What happens when the program is started with paths, or with nothing.
class WindowCommand final : public Command
{
public:
    void Declare(CLI::App& program) override
    {
        mProgram = &program;
        program.add_option("PATH", mPaths, "Traces and captures to open in the window")
            ->check(CLI::Validator{CheckPath, "", "path"});
        // For measuring; docs/performance.md says how.
        program.add_flag("--exit-at-first-frame", mExitsAtFirstFrame)->group("");
    }

    bool IsChosen() const override { return mProgram->get_subcommands().empty(); }

    bool Run(const CommandContext& context, Utility::Result& result) override
    {
        if (!gHasDisplay())
            return DrawInstead(context, result);
        Application application{context.Interrupted};
        WindowState state{WindowState::sGetDefaultPath()};
        MainWindow window{application.GetHost(), state};
        for (const QString& problem : application.GetProblems())
            window.GetMessages().Show(MessageStrip::EKind::Error, problem);
        window.show();
        for (const std::string& path : mPaths)
            window.Open(QString::fromStdString(path));
        if (mExitsAtFirstFrame)
            ExitAtFirstFrame(window);
        application.Run();
        return true;
    }

private:
    /// A word that was meant as a command is no path.
    static std::string CheckPath(const std::string& path)
    {
        const bool isMeantAsPath = path.find_first_of("/.") != std::string::npos;
        return isMeantAsPath || FileSystem::gFileExists(path) ? std::string{}
                                                              : "\"" + path + "\" is neither a command nor a file";
    }

    static void ExitAtFirstFrame(MainWindow& window)
    {
        CapturePage* page = window.GetCurrentPage();
        if (page == nullptr)
            return;
        QObject::connect(page, &CapturePage::Changed, &window, [page] {
            if (page->GetChart() == nullptr)
                return;
            const auto* chart = page->GetViewContainer()->findChild<QOpenGLWidget*>();
            QObject::connect(chart, &QOpenGLWidget::frameSwapped, qApp, &QCoreApplication::quit);
        });
    }

    bool DrawInstead(const CommandContext& context, Utility::Result& result) const
    {
        if (mPaths.empty())
            return result.FailText(0, "There is no display to open a window on. With a trace or a capture a picture of "
                                      "the window is written instead");
        if (mPaths.size() > 1)
            return result.FailText(0, "There is no display, and a picture can show one capture only");
        SnapshotRequest request;
        request.mPath = mPaths.front();
        request.mWithWindow = true;
        const std::string captures = Profiler::gFindDefaultCaptureDirectory();
        const std::string folder =
            captures.empty() ? "." : FileSystem::gCombinePath(FileSystem::gGetDirectory(captures), "pictures");
        FileSystem::FileError error;
        if (!FileSystem::gCreateDirectoryTree(folder, error))
            return result.FailText(0, error.ToString());
        request.mOutput = FileSystem::gCombinePath(folder, FileSystem::gGetBaseName(request.mPath) + ".png");
        if (!gTakeSnapshot(request, context.Interrupted, result))
            return false;
        Output output;
        output.Print("There is no display, so a picture of the window was written to %s\n", request.mOutput.c_str());
        return output.Finish(result);
    }

    const CLI::App* mProgram = nullptr;
    std::vector<std::string> mPaths;
    bool mExitsAtFirstFrame = false;
};

}

std::vector<std::unique_ptr<Command>> gMakeWindowCommands()
{
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<SnapshotCommand>());
    commands.push_back(std::make_unique<WindowCommand>());
    return commands;
}

}
