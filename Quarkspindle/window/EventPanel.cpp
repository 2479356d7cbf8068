#include "Quarkspindle/window/EventPanel.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QVBoxLayout>

#include "Quarkspindle/Output.h"
#include "Quarkspindle/window/EventModel.h"
#include "Quarkspindle/window/RowTable.h"

namespace Quarkspindle
{

EventPanel::EventPanel(const Profiler::Session& session, const Profiler::BarChartModel& charts, QWidget* parent)
    : QWidget{parent},
      mModel{new EventModel{session, charts, this}},
      mSearch{new QLineEdit{this}},
      mList{new RowTable{this}},
      mCount{new QLabel{this}}
{
    mSearch->setObjectName("eventSearch");
    mSearch->setPlaceholderText(tr("Search events and threads"));
    mSearch->setAccessibleName(tr("Search events and threads"));
    mSearch->setClearButtonEnabled(true);
    mSearch->installEventFilter(this);
    connect(mSearch, &QLineEdit::textChanged, this, &EventPanel::OnSearchChanged);

    mList->setObjectName("eventList");
    mList->setAccessibleName(tr("Events"));
    mList->setModel(mModel);
    mList->setSelectionMode(QAbstractItemView::SingleSelection);
    mList->horizontalHeader()->setStretchLastSection(false);
    mList->horizontalHeader()->setSectionResizeMode(EventModel::Event, QHeaderView::Stretch);
    mList->setColumnWidth(EventModel::Thread, fontMetrics().averageCharWidth() * 14);
    mList->installEventFilter(this);
    connect(mList, &QTableView::doubleClicked, this, &EventPanel::Pick);

    auto* layout = new QVBoxLayout{this};
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(mSearch);
    layout->addWidget(mList, 1);
    layout->addWidget(mCount);
    OnSearchChanged({});
}

void EventPanel::StartSearch()
{
    mSearch->setFocus(Qt::ShortcutFocusReason);
    mSearch->selectAll();
}

void EventPanel::MarkChart(const std::string& name, int32_t threadID)
{
    const int row = mModel->FindRow(name, threadID);
    if (row >= 0)
        mList->selectRow(row);
    else
        mList->clearSelection();
}

void EventPanel::OnSearchChanged(const QString& text)
{
    mModel->SetSearch(text.toStdString());
    if (!text.isEmpty() && mModel->rowCount() > 0)
        mList->selectRow(0);
    mCount->setText(QString::fromStdString(gFormatCount(static_cast<uint64_t>(mModel->rowCount()), "chart", "charts")));
}

void EventPanel::Pick(const QModelIndex& index)
{
    if (index.isValid())
        emit ChartPicked(mModel->GetName(index.row()), mModel->GetThreadID(index.row()));
}

bool EventPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter)
    {
        Pick(mList->currentIndex());
        // The commands' keys are letters, which the search would take for itself.
        if (mList->currentIndex().isValid())
            mList->setFocus(Qt::OtherFocusReason);
        return true;
    }
    if (watched == mSearch && key == Qt::Key_Down)
    {
        mList->setFocus(Qt::OtherFocusReason);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

}
