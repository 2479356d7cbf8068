#include "Quarkspindle/window/Snapshot.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QSaveFile>
#include <QtCore/QTemporaryDir>
#include <QtGui/QPixmap>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/window/Application.h"
#include "Quarkspindle/window/CapturePage.h"
#include "Quarkspindle/window/Display.h"
#include "Quarkspindle/window/MainWindow.h"
#include "Quarkspindle/window/OccurrencePanel.h"
#include "Quarkspindle/window/ViewLink.h"

namespace Quarkspindle
{

namespace
{

/// A driver that has not drawn by then will not.
constexpr int cLongestStartMs = 30000;
/// Levels of detail fade in, and windows move, for half a second.
constexpr int cSettleTimeMs = 900;

/// One picture, from the window that nobody sees to the file.
class Snapshot
{
public:
    Snapshot(const SnapshotRequest& request, const std::atomic<bool>& interrupted, WindowHost& host)
        : mRequest{request},
          mInterrupted{interrupted},
          mHost{host},
          mState{mFolder.filePath("window.ini")},
          mWindow{host, mState}
    {}

    bool Take(Utility::Result& result)
    {
        mWindow.setAttribute(Qt::WA_DontShowOnScreen);
        mWindow.resize(mRequest.mSize.first, mRequest.mSize.second);
        if (!mRequest.mWithWindow)
            mWindow.SetViewsOnly();
        mWindow.show();
        // The picture of a part of the events is written, and told apart from that of all.
        return Open(result) && ShowChart(result) && Write(result) && mPage->CheckWhole(result);
    }

private:
    /// Handles events until something holds; false after an interrupt, or when the time is over (-1: it never is).
    template <class Condition>
    bool Wait(Condition condition, int timeMs, Utility::Result& result)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!condition())
        {
            if (mInterrupted)
                return result.FailText(0, "Interrupted");
            if (timeMs >= 0 && elapsed.elapsed() > timeMs)
                return false;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
        }
        return true;
    }

    bool Open(Utility::Result& result)
    {
        mPage = mWindow.Open(QString::fromStdString(mRequest.mPath));
        if (!Wait([this] { return mPage == nullptr || !mPage->IsOpening(); }, -1, result))
            return false;
        if (mPage == nullptr || !mPage->IsOpen())
            return result.FailText(0, mWindow.GetMessages().GetTexts().join("; ").toStdString());
        if (mPage->GetOccurrences() == nullptr)
            return result.FailText(0, "The plug-in gave no chart model of this program's version");
        return true;
    }

    bool ShowChart(Utility::Result& result)
    {
        if (!mRequest.mWithWindow)
            mPage->SetViewsOnly();
        if (!mRequest.mEvent.empty() && !mPage->ShowChart(mRequest.mEvent, mRequest.mThreadID))
            return result.Fail(0,
                mRequest.mThreadID ? "The event \"%s\" does not occur on that thread"
                                   : "There is no event \"%s\"; 'quarkspindle list' shows those there are",
                mRequest.mEvent.c_str());
        if (!mPage->GetViews()->HasViews())
            return result.FailText(0, "The plug-in gave no view");
        if (std::string reason; !mHost.StartGraphics(reason))
            return result.FailText(0, "OpenGL does not start on this display: " + reason);
        if (!Wait([this] { return mPage->GetViews()->IsReady(); }, cLongestStartMs, result))
            return result.HasErrors() || result.FailText(0, "OpenGL did not start on this display");
        // A capture without events has no chart: its view says so, and that is what is wanted.
        if (mPage->HasCharts() && !Wait([this] { return IsAskedFor(mPage->GetChart()); }, -1, result))
            return false;
        if (mRequest.mRange)
        {
            const auto [first, last] = *mRequest.mRange;
            const int32_t count = mPage->GetChart() != nullptr ? mPage->GetChart()->GetNumEvents() : 0;
            if (last >= count)
                return result.Fail(0, "The chart has %d occurrences: there is no range %d:%d", count, first, last);
            mPage->ShowBars(first, last);
        }
        QElapsedTimer elapsed;
        elapsed.start();
        return Wait(
            [&] { return elapsed.elapsed() > cSettleTimeMs && !mPage->GetOccurrences()->IsBusy(); }, -1, result);
    }

    /// The page may have shown another chart first.
    bool IsAskedFor(const Profiler::BarChart* chart) const
    {
        if (chart == nullptr)
            return false;
        const Profiler::BarChartDescription& shown = chart->GetDescription();
        return (mRequest.mEvent.empty() || shown.Name == mRequest.mEvent) &&
               (!mRequest.mThreadID || shown.ThreadID == *mRequest.mThreadID);
    }

    bool Write(Utility::Result& result)
    {
        QWidget& shown = mRequest.mWithWindow ? static_cast<QWidget&>(mWindow) : *mPage->GetViewContainer();
        const auto context = result.PushContext(mRequest.mOutput);
        QSaveFile file{QString::fromStdString(mRequest.mOutput)};
        if (file.open(QIODevice::WriteOnly) && shown.grab().toImage().save(&file, "PNG") && file.commit())
            return true;
        return result.FailText(0, "The picture was not written: " + file.errorString().toStdString());
    }

    const SnapshotRequest& mRequest;
    const std::atomic<bool>& mInterrupted;
    WindowHost& mHost;
    QTemporaryDir mFolder; ///< what the user's window remembers is none of a picture's business
    WindowState mState;
    MainWindow mWindow;
    QPointer<CapturePage> mPage;
};

}

bool gTakeSnapshot(const SnapshotRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    PrivateDisplay display;
    std::string error;
    if (!gHasDisplay() && !display.Start(error))
        return result.FailText(0, error);
    Application application{interrupted};
    if (!application.GetProblems().isEmpty() && application.GetHost().GetHost().GetPlugins().empty())
        return result.FailText(0, application.GetProblems().first().toStdString());
    return Snapshot{request, interrupted, application.GetHost()}.Take(result);
}

}
