#include "BarChartPlugin/BarChartWidget.h"

#include "BarChartPlugin/BarChartControl.h"
#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/ChartNavigator.h"
#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/plugin/Message.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/settings/Settings.h"
#include "ui_BarChartWidget.h"

#include <QtCore/QMetaType>
#include <QtCore/QSignalBlocker>
#include <QtWidgets/QActionGroup>
#include <QtWidgets/QToolBar>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Profiler
{

namespace
{

constexpr int32_t cNoThread = -1;

/// In a "BarSelected", for the chart that is on show.
constexpr uint64_t cShownChart = ~uint64_t{0};

/// Lets a chart wait in the event queue of another thread. What Qt keeps of a type points into this image, so it must
/// not stay when the image is unloaded; for that the type may not be declared to Qt as well.
class BarChartMetaType
{
public:
    static void sRegister() { static const BarChartMetaType sInstance; }

private:
    BarChartMetaType() : mType{qRegisterMetaType<BarChart*>("BarChart*")} {}
    ~BarChartMetaType() { QMetaType::unregisterType(mType); }

    int mType;
};

QString gMakeText(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

}

BarChartWidget::BarChartWidget(
    ViewContext& context, BarChartModel& model, Event<double, double>& hostRangeChosen, QWidget* parent)
    : ViewWidget{cInstrumentationTimings, QIcon{":/BarChartPlugin/Resources/instrumentationtimings.png"}, parent},
      MessageListener{gGetMessageScope(*model.GetSession()), model.GetPlugin()->GetMessageBus()},
      mForm{std::make_unique<Ui::BarChartWidget>()},
      mModel{&model},
      mSettings{context.Settings}
{
    BarChartMetaType::sRegister();
    mForm->setupUi(this);
    MakeToolBar();
    ConnectForm();
    UpdateToolTips();
    FillEvents();
    mForm->mControlHostWidget->SetRenderContext(context.RenderContext);
    mForm->mControlHostWidget->SetInitialiseCallback(
        [this, &context, &hostRangeChosen] { Initialise(context, hostRangeChosen); });
    mForm->label_2->setBuddy(mForm->mEventComboBox);
    mForm->label->setBuddy(mForm->mThreadComboBox);
    mForm->mControlHostWidget->setAccessibleName(tr("Chart of occurrences"));
    // In a narrow window the combo boxes give way, not the chart.
    mForm->mControlHostWidget->setMinimumWidth(static_cast<int>(ScaledX(220.0F)));
    mForm->mSplitter->setCollapsible(1, false);
    mForm->mSplitter->setStretchFactor(0, 0);
    mForm->mSplitter->setStretchFactor(1, 1);
}

BarChartWidget::~BarChartWidget()
{
    mModel->GetSession()->GetJobScheduler()->Wait({mJob}, true);
    mNavigator.reset();
    mModeChangedHandle.Unsubscribe();
    mSettingsChangedHandle.Unsubscribe();
}

void BarChartWidget::MakeToolBar()
{
    auto* toolBar = new QToolBar;
    // A multiple of eight pixels, for which the images are drawn. Where the desktop enlarges all by itself, what it
    // says of the screen gives 8, in which nothing can be told from anything.
    const int size = std::max(16, static_cast<int>(std::round(ScaledX(16.0F) * 0.125F)) * 8);
    toolBar->setIconSize({size, size});
    toolBar->setStyleSheet("QToolBar { padding: 0; }");

    auto* modes = new QActionGroup{this};
    for (QAction* mode : {mForm->actionSelect, mForm->actionZoom, mForm->actionPan})
    {
        modes->addAction(mode);
        mode->setCheckable(true);
        toolBar->addAction(mode);
    }
    mForm->actionSelect->setChecked(true);
    toolBar->addSeparator();
    toolBar->addActions({mForm->actionZoomToExtents, mForm->actionNormalize, mForm->actionAverage});

    auto* layout = new QVBoxLayout;
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(toolBar);
    mForm->mFrameVerticalLayout->insertLayout(0, layout);
}

void BarChartWidget::ConnectForm()
{
    for (QAction* mode : {mForm->actionSelect, mForm->actionZoom, mForm->actionPan})
        connect(mode, &QAction::toggled, this, &BarChartWidget::OnModeActionToggled);
    connect(mForm->actionZoomToExtents, &QAction::triggered, this, [this] {
        if (mBarChartControl != nullptr)
            mBarChartControl->ZoomToExtents();
    });
    connect(mForm->actionNormalize, &QAction::triggered, this, [this] {
        if (mBarChartControl != nullptr)
            mBarChartControl->Normalize();
    });
    connect(mForm->actionAverage, &QAction::triggered, this, [this] {
        if (mBarChartControl != nullptr)
            mBarChartControl->Average();
    });
    connect(this, &BarChartWidget::OnGetOrCreateBarChartCompleted, this, &BarChartWidget::OnBarChartReady);
    connect(mForm->mThreadComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
        &BarChartWidget::OnThreadChanged);
    connect(
        mForm->mEventComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this, &BarChartWidget::OnEventChanged);
}

void BarChartWidget::FillEvents()
{
    const std::vector<BarChartDescription>& charts = mModel->GetAllBarCharts();
    mForm->mEventComboBox->setEnabled(!charts.empty());
    mForm->mThreadComboBox->setEnabled(!charts.empty());
    mForm->mEventComboBox->SetPlaceholderText(charts.empty() ? "<No events>" : "<Select event>");
    mForm->mThreadComboBox->SetPlaceholderText(charts.empty() ? "<No threads>" : "<Select thread>");

    for (const BarChartDescription& chart : charts)
        mEvents.push_back(chart.Name);
    std::ranges::sort(mEvents);
    mEvents.erase(std::unique(mEvents.begin(), mEvents.end()), mEvents.end());
    const QSignalBlocker blocker{mForm->mEventComboBox};
    for (const std::string& event : mEvents)
        mForm->mEventComboBox->addItem(gMakeText(event));
    mForm->mEventComboBox->setCurrentIndex(-1);
}

void BarChartWidget::Initialise(ViewContext& context, Event<double, double>& hostRangeChosen)
{
    ControlHostWidget& host = *mForm->mControlHostWidget;
    auto control = std::make_unique<BarChartControl>(host.GetContext(), context, *mModel, hostRangeChosen);
    mBarChartControl = control.get();
    host.SetContent(std::move(control));
    mNavigator = std::make_unique<ChartNavigator>(GetScope(), GetBus(), *mBarChartControl);
    mModeChangedHandle =
        mBarChartControl->GetContents().mModeChanged.Subscribe([this](EMode mode) { OnModeChanged(mode); });
    mSettingsChangedHandle = mSettings->ChangeListeners.Subscribe([this] { UpdateToolTips(); });
    mForm->mThreadComboBox->setCurrentIndex(-1);
    // Charts are not shown before this is over and the chart has its size.
    QMetaObject::invokeMethod(this, &BarChartWidget::ShowPendingRequest, Qt::QueuedConnection);
}

void BarChartWidget::Update(double value)
{
    mForm->mControlHostWidget->SetDelta(value);
    mForm->mControlHostWidget->update();
}

QSize BarChartWidget::sizeHint() const
{
    return {ViewWidget::sizeHint().width(), static_cast<int>(DpiScaleY() * 80.0)};
}

bool BarChartWidget::IsInitialised() const
{
    return mForm->mControlHostWidget->IsInitialised() && mBarChartControl != nullptr;
}

void BarChartWidget::UpdateToolTips()
{
    const InputSettings& input = mSettings->GetInputSettings();
    const auto getKey = [&](EAction action) {
        return gMakeText(Input::gGetKeyName(input.GetKey(action))).toHtmlEscaped();
    };
    mForm->actionSelect->setToolTip("<p style='white-space:pre'><b>Select</b> instrumentation events</p>");
    mForm->actionZoom->setToolTip("<p style='white-space:pre'><b>Zoom</b> the instrumentation chart around the mouse "
                                  "cursor <p><p style='white-space:pre'>" +
                                  getKey(EAction::Zoom) + " + mouse drag <b>or</b> mouse wheel</p>");
    mForm->actionPan->setToolTip(
        "<p style='white-space:pre'><b>Pan</b> the instrumentation chart<p><p style='white-space:pre'>" +
        getKey(EAction::Pan) + " + mouse drag");
}

void BarChartWidget::OnModeActionToggled()
{
    if (!IsInitialised())
        return;
    EMode mode = EMode::Select;
    if (!mForm->actionSelect->isChecked())
    {
        if (mForm->actionZoom->isChecked())
            mode = EMode::Zoom;
        else if (mForm->actionPan->isChecked())
            mode = EMode::Pan;
    }
    mBarChartControl->GetContents().SetMode(mode);
}

/// Comes back here as the toggle of an action, and ends there: the mode is in force already.
void BarChartWidget::OnModeChanged(EMode mode)
{
    switch (mode)
    {
    case EMode::Select:
        mForm->actionSelect->setChecked(true);
        break;
    case EMode::Zoom:
        mForm->actionZoom->setChecked(true);
        break;
    case EMode::Pan:
        mForm->actionPan->setChecked(true);
        break;
    }
}

void BarChartWidget::OnEventChanged(int index)
{
    if (!IsInitialised())
        return;
    if (index == -1)
    {
        ClearChart();
        return;
    }
    const QVariant thread = mForm->mThreadComboBox->currentData();
    PopulateThreads(mEvents[static_cast<std::size_t>(index)], thread.isValid() ? thread.toInt() : cNoThread);
    RequestChart(-1.0, -1.0);
}

void BarChartWidget::OnThreadChanged()
{
    RequestChart(-1.0, -1.0);
}

void BarChartWidget::PopulateThreads(const std::string& event, int32_t keep)
{
    QComboBox& threads = *mForm->mThreadComboBox;
    const QSignalBlocker blocker{threads};
    threads.clear();
    const Session& session = *mModel->GetSession();
    int current = 0;
    for (const BarChartDescription& chart : mModel->GetAllBarCharts())
    {
        if (chart.Name != event)
            continue;
        const Thread* thread = session.FindThread(chart.ThreadID);
        const QString name = thread != nullptr ? gMakeText(thread->ThreadName) : QString{};
        if (chart.ThreadID == keep)
            current = threads.count();
        threads.addItem(QString{"%1 (%2)"}.arg(chart.ThreadID).arg(name), chart.ThreadID);
    }
    threads.setCurrentIndex(current);
}

void BarChartWidget::RequestChart(double startTime, double endTime)
{
    if (!IsInitialised())
        return;
    const std::optional<BarChartDescription> picked = GetPicked();
    if (!picked.has_value())
    {
        ClearChart();
        return;
    }
    mJob =
        mModel->GetOrCreateBarChart(picked->ThreadID, picked->Name, mJob, [this, startTime, endTime](BarChart& chart) {
            Q_EMIT OnGetOrCreateBarChartCompleted(&chart, startTime, endTime);
        });
}

void BarChartWidget::OnBarChartReady(BarChart* chart, double startTime, double endTime)
{
    // It may have waited in the event queue while another one was picked, and even shown.
    if (GetPicked() != chart->GetDescription())
        return;
    mBarChartControl->SetBarChart(chart);
    mBarChartControl->SelectRange(startTime, endTime);
}

void BarChartWidget::ClearChart()
{
    mModel->GetSession()->GetJobScheduler()->Cancel({mJob});
    mBarChartControl->SetBarChart(nullptr);
    mBarChartControl->SelectRange(-1.0, -1.0);
}

std::optional<BarChartDescription> BarChartWidget::GetPicked() const
{
    const int event = mForm->mEventComboBox->currentIndex();
    if (event == -1 || mForm->mThreadComboBox->currentIndex() == -1)
        return std::nullopt;
    return BarChartDescription{mEvents[static_cast<std::size_t>(event)], mForm->mThreadComboBox->currentData().toInt()};
}

void BarChartWidget::OnMessage(const Message& message)
{
    if (message.GetSchema().GetName() != "BarSelected")
        return;
    const std::optional<double> startTime = message.ReadDouble("StartTime");
    const std::optional<double> endTime = message.ReadDouble("EndTime");
    const std::optional<int32_t> threadID = message.ReadInt32("ThreadID");
    const std::optional<uint64_t> eventID = message.ReadUInt64("InstrumentationID");
    if (!startTime || !endTime || !threadID || !eventID)
        return;
    if (*eventID == cShownChart)
    {
        if (mBarChartControl != nullptr)
            mBarChartControl->SelectRange(*startTime, *endTime);
        return;
    }
    const std::string& event = mModel->GetSession()->GetInstrumentationDatabase().GetEventName(*eventID);
    mPendingRequest = Request{{event, *threadID}, *startTime, *endTime};
    if (IsInitialised())
        ShowPendingRequest();
}

void BarChartWidget::ShowPendingRequest()
{
    if (const std::optional<Request> request = std::exchange(mPendingRequest, {}))
        Show(*request);
}

void BarChartWidget::Show(const Request& request)
{
    if (GetPicked() == request.mChart)
    {
        const BarChart* shown = mBarChartControl->GetBarChart();
        if (shown != nullptr && shown->GetDescription() == request.mChart)
            mBarChartControl->SelectRange(request.mStartTime, request.mEndTime);
        else
            RequestChart(request.mStartTime, request.mEndTime);
        return;
    }
    const auto event = std::ranges::lower_bound(mEvents, request.mChart.Name);
    if (event == mEvents.end() || *event != request.mChart.Name)
        return;
    {
        const QSignalBlocker blocker{mForm->mEventComboBox};
        mForm->mEventComboBox->setCurrentIndex(static_cast<int>(event - mEvents.begin()));
    }
    PopulateThreads(request.mChart.Name, request.mChart.ThreadID);
    RequestChart(request.mStartTime, request.mEndTime);
}

}
