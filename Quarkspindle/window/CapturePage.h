#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QtCore/QPointer>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

#include "ProfilerLib/plugin/View.h"
#include "Quarkspindle/window/BackgroundJob.h"
#include "Quarkspindle/window/CaptureOpener.h"
#include "Quarkspindle/window/MessageStrip.h"
#include "Quarkspindle/window/WindowState.h"

class QAction;
class QSplitter;
class QStackedLayout;

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

class EventPanel;
class OccurrencePanel;
class ViewLink;
class WindowHost;

/// One tab: a capture from the moment that the user names it to its end, with the views of its plug-ins and the panels
/// beside them. It owns the session, and takes everything down in the order in which it needs each other: jobs, panels,
/// views, session. The thread of the widgets only.
class CapturePage final : public QWidget
{
    Q_OBJECT

public:
    /// Begins to open the path. Both must outlive the page.
    CapturePage(WindowHost& host, WindowState& state, const QString& path, QWidget* parent);
    ~CapturePage() override;

    const QString& GetPath() const { return mPath; }
    bool IsOpen() const { return mCapture.mSession != nullptr; }
    bool IsOpening() const { return mIsOpening; }
    /// Whether there is any chart to show.
    bool HasCharts() const;
    const Profiler::BarChart* GetChart() const;
    /// Whether all events could be read, as far as they were; the page is open.
    [[nodiscard]] bool CheckWhole(Utility::Result& result) const;

    /// One frame of the views, with the seconds since the last.
    void Update(double seconds);

    /// Brings a chart on show as soon as the views take requests; without a thread, that on which the event occurs
    /// first. False when there is no such chart.
    bool ShowChart(const std::string& event, std::optional<int32_t> threadID);
    /// The chart that is shown without anyone asking: that of the last time, else the one with most
    /// occurrences.
    void ShowAnyChart();
    void ShowBars(int first, int last);

    /// The panels; null while the capture is not open.
    EventPanel* GetEvents() const { return mEvents; }
    OccurrencePanel* GetOccurrences() const { return mOccurrences; }
    ViewLink* GetViews() const { return mViews.get(); }
    /// What the views are in: actions with keys that only they are to hear are added here.
    QWidget* GetViewContainer() const { return mViewContainer; }
    /// Puts the keyboard on the chart.
    void FocusViews();
    /// Leaves out all but the views.
    void SetViewsOnly();

    /// The chart as it is on screen; a null image when there is none.
    QImage GrabChart() const;

    /// Splitters, to be handed to the next page.
    void SaveState() const;

signals:
    /// For the message strip; `inKind` is a MessageStrip::EKind.
    void MessageRaised(int inKind, const QString& inText);
    /// The capture is open, a chart came on show, or something else changed what can be done.
    void Changed();
    /// Nothing will come of this page: it was cancelled (no message), or it could not be opened.
    void Failed();

private:
    void OnOpened(OpenedCapture capture);
    void BuildContent();
    std::vector<Profiler::ViewWidget*> CreateViews();
    void OnChartShown(const Profiler::BarChart* chart);
    void OnBarsPicked(int first, int last);
    void Cancel();
    void RaiseError(const std::string& text);

    WindowHost& mHost;
    WindowState& mState;
    QString mPath;
    bool mIsOpening = true;
    QStackedLayout* mLayout;

    OpeningProgress mProgress;
    OpenedCapture mCapture;
    Profiler::ViewHost mViewHost;
    std::vector<std::unique_ptr<Profiler::View>> mPluginViews;
    std::unique_ptr<ViewLink> mViews;
    QWidget* mViewContainer = nullptr;
    EventPanel* mEvents = nullptr;
    OccurrencePanel* mOccurrences = nullptr;
    QSplitter* mColumns = nullptr;
    QSplitter* mRows = nullptr;
    std::optional<WindowState::Chart> mWanted; ///< to be shown when the views are ready
    std::optional<std::pair<int, int>> mWantedBars;
    bool mIsWholeChecked = false;
    BackgroundJob mOpenJob; ///< goes first
};

}
