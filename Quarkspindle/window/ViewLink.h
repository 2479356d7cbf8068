#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QtCore/QObject>

#include "ProfilerLib/plugin/MessageListener.h"

namespace Profiler
{
class BarChart;
class Session;
class ViewWidget;
}

namespace Quarkspindle
{

using Profiler::BarChart;

/// Joins the views of one session to the window around them. It knows of a view what every view shows: its messages on
/// the bus, the names of its actions, and its signal that a chart is there. The page owns it; it ends before the views.
class ViewLink final : public QObject, public Profiler::MessageListener
{
    Q_OBJECT

public:
    ViewLink(Profiler::MessageBus& bus, const Profiler::Session& session, std::vector<Profiler::ViewWidget*> widgets);

    bool HasViews() const { return !mWidgets.empty(); }
    /// Whether a view draws with OpenGL.
    bool CanDraw() const;
    /// Whether the views take requests: they do once OpenGL has been brought up in them.
    bool IsReady() const;

    /// One frame, with the seconds since the last.
    void Update(double seconds);
    /// Brings the chart on show. False when the capture does not know the event.
    bool ShowChart(const std::string& name, int32_t threadID);
    /// Selects bars of level 0 of the chart on show and brings them in sight.
    void SelectBars(const BarChart& chart, int32_t first, int32_t last);
    /// The same for the bars from one that starts to one that ends at just these times, without moving anything.
    void SelectTimes(const BarChart& chart, double startMs, double endMs);
    void ClearSelection();
    /// See gSendMoveChart.
    void Move(double pan, double zoom);
    void ShowBars(int32_t first, int32_t last);
    /// What the views show, for those who cannot see it.
    void SetDescription(const QString& description);
    /// Triggers the view's action of that object name.
    void Trigger(const char* actionName);

    void OnMessage(const Profiler::Message& message) override;

signals:
    void ChartShown(const Profiler::BarChart* inChart);
    /// The user clicked a bar, which lasts from one time to the other.
    void BarClicked(double inStartMs, double inEndMs);

private slots:
    /// Gets the signal of the same name, which is declared in another image: by name and types as they are written.
    void OnGetOrCreateBarChartCompleted(BarChart* inBarChart, double inStartTime, double inEndTime);

private:
    void ConnectChartSignal(QObject& widget);

    Profiler::MessageBus& mBus;
    const Profiler::Session& mSession;
    std::vector<Profiler::ViewWidget*> mWidgets;
};

}
