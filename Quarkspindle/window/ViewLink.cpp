#include "Quarkspindle/window/ViewLink.h"

#include <algorithm>

#include <QtCore/QMetaMethod>
#include <QtGui/QAccessible>
#include <QtWidgets/QAction>
#include <QtWidgets/QOpenGLWidget>

#include "BarChartPlugin/BarChart.h"
#include "ProfilerLib/plugin/Message.h"
#include "ProfilerLib/plugin/ViewWidget.h"
#include "ProfilerLib/session/Session.h"
#include "Quarkspindle/window/ChartMessages.h"

namespace Quarkspindle
{

namespace
{

constexpr const char* cChartSignal = "OnGetOrCreateBarChartCompleted";

int FindMethod(const QMetaObject& type, const char* name, QMetaMethod::MethodType methodType)
{
    for (int i = 0; i < type.methodCount(); ++i)
    {
        if (type.method(i).name() == name && type.method(i).methodType() == methodType)
            return i;
    }
    return -1;
}

}

ViewLink::ViewLink(
    Profiler::MessageBus& bus, const Profiler::Session& session, std::vector<Profiler::ViewWidget*> widgets)
    : MessageListener{Profiler::gGetMessageScope(session), &bus},
      mBus{bus},
      mSession{session},
      mWidgets{std::move(widgets)}
{
    for (Profiler::ViewWidget* widget : mWidgets)
        ConnectChartSignal(*widget);
}

void ViewLink::ConnectChartSignal(QObject& widget)
{
    const int signal = FindMethod(*widget.metaObject(), cChartSignal, QMetaMethod::Signal);
    const int slot = FindMethod(*metaObject(), cChartSignal, QMetaMethod::Slot);
    // The namespace of a type may or may not be written in a signal, so the types are compared by their last names.
    if (signal >= 0 && widget.metaObject()->method(signal).parameterCount() == 3)
        QMetaObject::connect(&widget, signal, this, slot, Qt::AutoConnection);
}

bool ViewLink::CanDraw() const
{
    return std::any_of(mWidgets.begin(), mWidgets.end(),
        [](const Profiler::ViewWidget* widget) { return widget->findChild<QOpenGLWidget*>() != nullptr; });
}

bool ViewLink::IsReady() const
{
    return std::all_of(mWidgets.begin(), mWidgets.end(), [](const Profiler::ViewWidget* widget) {
        const auto charts = widget->findChildren<QOpenGLWidget*>();
        return std::all_of(charts.begin(), charts.end(), [](const QOpenGLWidget* chart) { return chart->isValid(); });
    });
}

void ViewLink::Update(double seconds)
{
    for (Profiler::ViewWidget* widget : mWidgets)
        widget->Update(seconds);
}

bool ViewLink::ShowChart(const std::string& name, int32_t threadID)
{
    const std::optional<uint64_t> id = gFindInstrumentationID(mSession, name);
    if (id)
        gSendBarSelected(mBus, mSession, -1.0, -1.0, threadID, id);
    return id.has_value();
}

void ViewLink::SelectBars(const BarChart& chart, int32_t first, int32_t last)
{
    const auto& bars = chart.GetLOD(0).Bars;
    SelectTimes(
        chart, bars[static_cast<std::size_t>(first)].StartTimeMs, bars[static_cast<std::size_t>(last)].EndTimeMs);
    gSendShowBars(mBus, mSession, first, last, false);
}

void ViewLink::SelectTimes(const BarChart& chart, double startMs, double endMs)
{
    gSendBarSelected(mBus, mSession, startMs, endMs, chart.GetDescription().ThreadID, std::nullopt);
}

void ViewLink::ClearSelection()
{
    gSendBarSelected(mBus, mSession, -1.0, -1.0, -1, std::nullopt);
}

void ViewLink::Move(double pan, double zoom)
{
    gSendMoveChart(mBus, mSession, pan, zoom);
}

void ViewLink::ShowBars(int32_t first, int32_t last)
{
    gSendShowBars(mBus, mSession, first, last, true);
}

void ViewLink::SetDescription(const QString& description)
{
    for (Profiler::ViewWidget* widget : mWidgets)
    {
        for (QOpenGLWidget* chart : widget->findChildren<QOpenGLWidget*>())
        {
            chart->setAccessibleDescription(description);
            QAccessibleEvent event{chart, QAccessible::DescriptionChanged};
            QAccessible::updateAccessibility(&event);
        }
    }
}

void ViewLink::Trigger(const char* actionName)
{
    for (const Profiler::ViewWidget* widget : mWidgets)
    {
        if (auto* action = widget->findChild<QAction*>(actionName))
            action->trigger();
    }
}

void ViewLink::OnMessage(const Profiler::Message& message)
{
    if (message.GetSchema().GetName() != "BarChartSelected")
        return;
    const std::optional<double> start = message.ReadDouble("StartTime");
    const std::optional<double> end = message.ReadDouble("EndTime");
    if (start && end)
        emit BarClicked(*start, *end);
}

void ViewLink::OnGetOrCreateBarChartCompleted(BarChart* inBarChart, double, double)
{
    emit ChartShown(inBarChart);
}

}
