#include "Quarkspindle/window/BlankView.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QVBoxLayout>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/plugin/Message.h"
#include "ProfilerLib/session/Session.h"

namespace Quarkspindle
{

BlankViewWidget::BlankViewWidget(Profiler::BarChartModel& model, Profiler::MessageBus& bus, const std::string& reason)
    : ViewWidget{cInstrumentationTimings, {}, nullptr},
      MessageListener{Profiler::gGetMessageScope(*model.GetSession()), &bus},
      mModel{model}
{
    auto* message = new QLabel{
        tr("The chart cannot be drawn: OpenGL does not start here.\n%1").arg(QString::fromStdString(reason)), this};
    message->setObjectName("blankMessage");
    message->setTextFormat(Qt::PlainText);
    message->setFocusPolicy(Qt::TabFocus);
    message->setAlignment(Qt::AlignCenter);
    message->setWordWrap(true);
    message->setAutoFillBackground(true);
    message->setBackgroundRole(QPalette::Base);
    message->setForegroundRole(QPalette::Text);
    auto* layout = new QVBoxLayout{this};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(message);
}

BlankViewWidget::~BlankViewWidget()
{
    mModel.GetSession()->GetJobScheduler()->Wait({mJob}, true);
}

void BlankViewWidget::OnMessage(const Profiler::Message& message)
{
    if (message.GetSchema().GetName() != "BarSelected")
        return;
    const std::optional<int32_t> threadID = message.ReadInt32("ThreadID");
    const std::optional<uint64_t> eventID = message.ReadUInt64("InstrumentationID");
    // Without an event it speaks of bars of the chart that is on show.
    if (!threadID || !eventID || *eventID == ~uint64_t{0})
        return;
    const std::string& name = mModel.GetSession()->GetInstrumentationDatabase().GetEventName(*eventID);
    mJob = mModel.GetOrCreateBarChart(*threadID, name, mJob, [this](BarChart& chart) {
        // Here, or on the job: what is queued for a widget that has ended is dropped.
        QMetaObject::invokeMethod(
            this, [this, &chart] { emit OnGetOrCreateBarChartCompleted(&chart, -1.0, -1.0); }, Qt::QueuedConnection);
    });
}

}
