#include "Quarkspindle/window/CapturePage.h"

#include <algorithm>

#include <QtWidgets/QLabel>
#include <QtWidgets/QOpenGLWidget>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QStackedLayout>
#include <QtWidgets/QVBoxLayout>

#include "BarChartPlugin/BarChart.h"
#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/plugin/ViewWidget.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/window/BlankView.h"
#include "Quarkspindle/window/EventPanel.h"
#include "Quarkspindle/window/OccurrencePanel.h"
#include "Quarkspindle/window/ProgressPanel.h"
#include "Quarkspindle/window/ViewLink.h"
#include "Quarkspindle/window/WindowHost.h"

namespace Quarkspindle
{

namespace
{

constexpr const char* cColumnsState = "columns";
constexpr const char* cRowsState = "rows";

}

CapturePage::CapturePage(WindowHost& host, WindowState& state, const QString& path, QWidget* parent)
    : QWidget{parent},
      mHost{host},
      mState{state},
      mPath{path},
      mLayout{new QStackedLayout{this}},
      mOpenJob{host.GetHost().GetJobScheduler()}
{
    auto* progress = new ProgressPanel{mProgress, path, this};
    connect(progress, &ProgressPanel::Cancelled, this, &CapturePage::Cancel);
    mLayout->addWidget(progress);
    mOpenJob.SetPriority(2);
    mOpenJob.Start([this, directory = host.GetCaptureDirectory()](
                       const bool&) { return gOpenPath(mHost.GetHost(), mPath.toStdString(), directory, mProgress); },
        [this](OpenedCapture capture) { OnOpened(std::move(capture)); });
}

CapturePage::~CapturePage()
{
    mProgress.mCancelled = true;
    mOpenJob.CancelAndWait();
    // Panels and progress look at what is owned here.
    mViews.reset();
    delete mOccurrences;
    delete mEvents;
    mPluginViews.clear();
}

void CapturePage::Cancel()
{
    mProgress.mCancelled = true;
}

void CapturePage::RaiseError(const std::string& text)
{
    emit MessageRaised(static_cast<int>(MessageStrip::EKind::Error), QString::fromStdString(text));
}

void CapturePage::OnOpened(OpenedCapture capture)
{
    mIsOpening = false;
    if (capture.mSession == nullptr)
    {
        if (!mProgress.mCancelled)
            RaiseError(gDescribe(capture.mErrors));
        emit Failed();
        return;
    }
    mCapture = std::move(capture);
    if (mCapture.mErrors.HasErrors())
        RaiseError(gDescribe(mCapture.mErrors));
    if (!mCapture.mNotice.empty())
        emit MessageRaised(static_cast<int>(MessageStrip::EKind::Notice), QString::fromStdString(mCapture.mNotice));
    BuildContent();
    emit Changed();
}

void CapturePage::BuildContent()
{
    // The tab key goes through the panels in the order in which they are made.
    mColumns = new QSplitter{Qt::Horizontal, this};
    mColumns->setObjectName(cColumnsState);
    if (mCapture.mModel != nullptr)
    {
        mEvents = new EventPanel{*mCapture.mSession, *mCapture.mModel, mColumns};
        mColumns->addWidget(mEvents);
    }
    mViewContainer = new QWidget{this};
    auto* viewLayout = new QVBoxLayout{mViewContainer};
    viewLayout->setContentsMargins(0, 0, 0, 0);
    const std::vector<Profiler::ViewWidget*> widgets = CreateViews();
    for (Profiler::ViewWidget* widget : widgets)
        viewLayout->addWidget(widget);
    if (widgets.empty())
    {
        auto* nothing =
            new QLabel{tr("There is no view on this capture: the plug-in that draws charts gave none."), this};
        nothing->setAlignment(Qt::AlignCenter);
        nothing->setWordWrap(true);
        viewLayout->addWidget(nothing);
    }

    mRows = new QSplitter{Qt::Vertical, this};
    mRows->setObjectName(cRowsState);
    mRows->addWidget(mViewContainer);
    if (mCapture.mModel != nullptr)
    {
        mOccurrences = new OccurrencePanel{mHost.GetHost().GetJobScheduler(), mRows};
        mRows->addWidget(mOccurrences);
        mRows->setStretchFactor(0, 3);
        mRows->setStretchFactor(1, 2);
    }
    mColumns->addWidget(mRows);
    mColumns->setStretchFactor(mColumns->count() - 1, 1);
    // Proportions at first; they are scaled to what there is.
    mColumns->setSizes({280, 1120});
    mRows->setSizes({540, 360});
    mColumns->restoreState(mState.Get(cColumnsState));
    mRows->restoreState(mState.Get(cRowsState));
    // A chart that has no room never starts.
    mColumns->setChildrenCollapsible(false);
    mRows->setChildrenCollapsible(false);

    mViews = std::make_unique<ViewLink>(mHost.GetHost().GetMessageBus(), *mCapture.mSession, widgets);
    connect(mViews.get(), &ViewLink::ChartShown, this, &CapturePage::OnChartShown);
    if (mOccurrences != nullptr)
    {
        connect(mEvents, &EventPanel::ChartPicked, this,
            [this](const std::string& name, int threadID) { ShowChart(name, threadID); });
        connect(mOccurrences, &OccurrencePanel::BarsPicked, this, &CapturePage::OnBarsPicked);
        connect(mOccurrences, &OccurrencePanel::SelectionCleared, mViews.get(), &ViewLink::ClearSelection);
        connect(mViews.get(), &ViewLink::BarClicked, this, [this](double startMs, double endMs) {
            mOccurrences->SelectBars(startMs, endMs);
            if (const Profiler::BarChart* chart = GetChart())
                mViews->SelectTimes(*chart, startMs, endMs);
        });
    }
    mLayout->addWidget(mColumns);
    mLayout->setCurrentWidget(mColumns);
    delete mLayout->widget(0);
}

std::vector<Profiler::ViewWidget*> CapturePage::CreateViews()
{
    std::vector<Profiler::ViewWidget*> widgets;
    std::string reason;
    if (!mHost.StartGraphics(reason))
    {
        if (mCapture.mModel == nullptr)
            return widgets;
        mPluginViews.push_back(std::make_unique<BlankView>(*mCapture.mModel, mHost.GetHost().GetMessageBus(), reason));
        return mPluginViews.back()->GetWidgets();
    }
    const Profiler::PluginList& plugins = mHost.GetHost().GetPlugins();
    const std::vector<Profiler::Model*> models = mCapture.mSession->GetModels();
    for (std::size_t i = 0; i < std::min(plugins.size(), models.size()); ++i)
    {
        auto view = plugins[i]->CreateView(mViewHost, mHost.GetViewContext(), *models[i]);
        if (view == nullptr)
            continue;
        for (Profiler::ViewWidget* widget : view->GetWidgets())
            widgets.push_back(widget);
        mPluginViews.push_back(std::move(view));
    }
    return widgets;
}

bool CapturePage::HasCharts() const
{
    return mCapture.mModel != nullptr && !mCapture.mModel->GetAllBarCharts().empty();
}

const Profiler::BarChart* CapturePage::GetChart() const
{
    return mOccurrences != nullptr ? mOccurrences->GetChart() : nullptr;
}

bool CapturePage::CheckWhole(Utility::Result& result) const
{
    return mCapture.mSession->GetEventStream().CheckWhole(result);
}

void CapturePage::Update(double seconds)
{
    if (mViews == nullptr)
        return;
    if (mWanted && mViews->IsReady())
    {
        const WindowState::Chart wanted = *mWanted;
        mWanted.reset();
        if (!mViews->ShowChart(wanted.mEvent, wanted.mThreadID))
            RaiseError("The capture does not hold the identifier of the event \"" + wanted.mEvent + "\"");
    }
    mViews->Update(seconds);
}

bool CapturePage::ShowChart(const std::string& event, std::optional<int32_t> threadID)
{
    if (mCapture.mModel == nullptr)
        return false;
    const auto& charts = mCapture.mModel->GetAllBarCharts();
    const auto found = std::find_if(charts.begin(), charts.end(), [&](const Profiler::BarChartDescription& chart) {
        return chart.Name == event && (!threadID || chart.ThreadID == *threadID);
    });
    if (found == charts.end())
        return false;
    mWanted = WindowState::Chart{found->Name, found->ThreadID};
    return true;
}

void CapturePage::ShowAnyChart()
{
    if (mWanted || mCapture.mModel == nullptr)
        return;
    const std::optional<WindowState::Chart> last = mState.GetLastChart(mCapture.mSession->GetPath());
    if (last && ShowChart(last->mEvent, last->mThreadID))
        return;
    if (mCapture.mBusiest)
        ShowChart(mCapture.mBusiest->Name, mCapture.mBusiest->ThreadID);
}

void CapturePage::ShowBars(int first, int last)
{
    if (GetChart() != nullptr)
        mViews->ShowBars(first, last);
    else
        mWantedBars = {first, last};
}

void CapturePage::OnChartShown(const Profiler::BarChart* chart)
{
    const Profiler::BarChartDescription& description = chart->GetDescription();
    mOccurrences->SetChart(chart);
    mViews->SetDescription(tr("%1 on thread %2, %3")
                               .arg(QString::fromStdString(description.Name))
                               .arg(description.ThreadID)
                               .arg(QString::fromStdString(gFormatCount(
                                   static_cast<uint64_t>(chart->GetNumEvents()), "occurrence", "occurrences"))));
    mEvents->MarkChart(description.Name, description.ThreadID);
    mState.SetLastChart(mCapture.mSession->GetPath(), {description.Name, description.ThreadID});
    if (mWantedBars)
        mViews->ShowBars(mWantedBars->first, mWantedBars->second);
    mWantedBars.reset();
    Utility::Result damage;
    if (!mIsWholeChecked && !CheckWhole(damage))
    {
        mIsWholeChecked = true;
        RaiseError(gDescribe(damage));
    }
    emit Changed();
}

void CapturePage::OnBarsPicked(int first, int last)
{
    if (const Profiler::BarChart* chart = GetChart())
    {
        // First, since a view gives up what is selected in it.
        const auto& bars = chart->GetLOD(0).Bars;
        mViewHost.RangeChosen.Fire(
            bars[static_cast<std::size_t>(first)].StartTimeMs, bars[static_cast<std::size_t>(last)].EndTimeMs);
        mViews->SelectBars(*chart, first, last);
    }
    emit Changed();
}

void CapturePage::SetViewsOnly()
{
    if (mOccurrences == nullptr)
        return;
    mEvents->hide();
    mOccurrences->hide();
}

void CapturePage::FocusViews()
{
    QWidget* chart = mViewContainer->findChild<QOpenGLWidget*>();
    (chart != nullptr ? chart : mViewContainer)->setFocus();
}

QImage CapturePage::GrabChart() const
{
    auto* chart = mViewContainer != nullptr ? mViewContainer->findChild<QOpenGLWidget*>() : nullptr;
    return chart != nullptr ? chart->grabFramebuffer() : QImage{};
}

void CapturePage::SaveState() const
{
    if (mColumns == nullptr)
        return;
    mState.Set(cColumnsState, mColumns->saveState());
    mState.Set(cRowsState, mRows->saveState());
}

}
