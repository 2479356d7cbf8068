#include "Quarkspindle/window/OccurrencePanel.h"

#include <algorithm>

#include <QtGui/QGuiApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/window/CaptureOpener.h"
#include "Quarkspindle/window/HistogramWidget.h"
#include "Quarkspindle/window/OccurrenceExport.h"
#include "Quarkspindle/window/OccurrenceModel.h"
#include "Quarkspindle/window/RowTable.h"

namespace Quarkspindle
{

namespace
{

constexpr int cTypingPauseMs = 200;
constexpr int cShowIntervalMs = 100;
/// Work that is over sooner flashes no progress bar.
constexpr int cShowAfterMs = 300;
constexpr int cMostRowsToCopy = 100000;

QString FormatTime(double ms)
{
    return QString::fromStdString(gFormatMilliseconds(ms));
}

}

OccurrencePanel::OccurrencePanel(System::JobScheduler& scheduler, QWidget* parent)
    : QWidget{parent},
      mModel{new OccurrenceModel{this}},
      mJob{scheduler},
      mExportJob{scheduler}
{
    mExportJob.SetPriority(2);
    // The tab key goes from one to the next in the order in which they are made.
    QWidget* filter = MakeFilterRow();
    auto* side = new QSplitter{Qt::Horizontal, this};
    side->setObjectName("occurrences");
    side->setChildrenCollapsible(false);
    side->addWidget(MakeTable());
    side->addWidget(MakeHistogram());
    side->setStretchFactor(0, 3);
    side->setStretchFactor(1, 2);

    auto* layout = new QVBoxLayout{this};
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(filter);
    layout->addWidget(side, 1);
    layout->addWidget(MakeProgress());
    ShowStatistics();

    mFilterTimer.setSingleShot(true);
    connect(&mFilterTimer, &QTimer::timeout, this, &OccurrencePanel::Recompute);
    connect(&mProgressTimer, &QTimer::timeout, this, &OccurrencePanel::ShowProgress);
}

OccurrencePanel::~OccurrencePanel() = default;

QWidget* OccurrencePanel::MakeFilterRow()
{
    auto* row = new QWidget{this};
    mFilter = new QLineEdit{row};
    mFilter->setObjectName("occurrenceFilter");
    mFilter->setPlaceholderText(tr("Filter by context"));
    mFilter->setAccessibleName(tr("Filter the occurrences by their context"));
    mFilter->setClearButtonEnabled(true);
    connect(mFilter, &QLineEdit::textChanged, this, [this] { mFilterTimer.start(cTypingPauseMs); });
    mClearDurations = new QToolButton{row};
    mClearDurations->setObjectName("clearDurations");
    mClearDurations->setText(tr("All durations"));
    mClearDurations->setToolTip(tr("Give up the range of durations that was picked in the histogram"));
    mClearDurations->setVisible(false);
    connect(mClearDurations, &QToolButton::clicked, this, [this] {
        mHistogram->SetRange(std::nullopt);
        Recompute();
    });
    mStatistics = new QLabel{row};
    mStatistics->setObjectName("statistics");
    mStatistics->setTextFormat(Qt::PlainText);
    mStatistics->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    mStatistics->setWordWrap(true);

    auto* layout = new QGridLayout{row};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mStatistics, 0, 0, 1, 2);
    layout->addWidget(mFilter, 1, 0);
    layout->addWidget(mClearDurations, 1, 1);
    return row;
}

QWidget* OccurrencePanel::MakeTable()
{
    mTable = new RowTable{this};
    mTable->setObjectName("occurrenceTable");
    mTable->setAccessibleName(tr("Occurrences"));
    mTable->setModel(mModel);
    mTable->setSelectionMode(QAbstractItemView::ExtendedSelection);
    mTable->setAlternatingRowColors(true);
    QHeaderView* columns = mTable->horizontalHeader();
    columns->setSectionsClickable(true);
    columns->setSortIndicatorShown(true);
    columns->setSortIndicator(OccurrenceModel::Start, Qt::AscendingOrder);
    const int digit = fontMetrics().horizontalAdvance('0');
    mTable->setColumnWidth(OccurrenceModel::Number, digit * 9);
    mTable->setColumnWidth(OccurrenceModel::Start, digit * 13);
    mTable->setColumnWidth(OccurrenceModel::Duration, digit * 12);
    connect(columns, &QHeaderView::sectionClicked, this, &OccurrencePanel::SortByColumn);
    connect(
        mTable->selectionModel(), &QItemSelectionModel::selectionChanged, this, &OccurrencePanel::OnSelectionChanged);
    return mTable;
}

QWidget* OccurrencePanel::MakeHistogram()
{
    auto* box = new QWidget{this};
    mHistogram = new HistogramWidget{box};
    mHistogram->setObjectName("histogram");
    connect(mHistogram, &HistogramWidget::RangePicked, this, &OccurrencePanel::Recompute);
    mLogarithmic = new QCheckBox{tr("Logarithmic"), box};
    mLogarithmic->setObjectName("logarithmic");
    connect(mLogarithmic, &QCheckBox::toggled, mHistogram, &HistogramWidget::SetLogarithmic);
    auto* layout = new QVBoxLayout{box};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mHistogram, 1);
    layout->addWidget(mLogarithmic);
    return box;
}

QWidget* OccurrencePanel::MakeProgress()
{
    mProgressRow = new QWidget{this};
    mProgressBar = new QProgressBar{mProgressRow};
    mProgressBar->setRange(0, 100);
    mProgressBar->setAccessibleName(tr("Progress"));
    auto* cancel = new QToolButton{mProgressRow};
    cancel->setObjectName("cancelOccurrences");
    cancel->setText(tr("Cancel"));
    connect(cancel, &QToolButton::clicked, this, [this] {
        mJob.Cancel();
        if (mExportJob.IsRunning())
        {
            mExportJob.Cancel();
            emit Exported(false, {});
        }
        ShowProgress();
    });
    auto* layout = new QHBoxLayout{mProgressRow};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mProgressBar, 1);
    layout->addWidget(cancel);
    mProgressRow->hide();
    return mProgressRow;
}

void OccurrencePanel::SetChart(const Profiler::BarChart* chart)
{
    if (chart == mChart)
        return;
    mChart = chart;
    mPendingSelection.reset();
    mHistogram->SetRange(std::nullopt);
    // The rows of the chart before are not shown under the name of this one.
    mModel->Show(nullptr, {}, false);
    mHistogram->SetHistogram({});
    ShowStatistics();
    Recompute();
}

OccurrenceQuery OccurrencePanel::MakeQuery() const
{
    OccurrenceQuery query;
    query.mContext = mFilter->text().toStdString();
    query.mOrder = mOrder;
    if (const auto& range = mHistogram->GetRange())
    {
        query.mShortestMs = range->first;
        query.mLongestMs = range->second;
    }
    return query;
}

void OccurrencePanel::Recompute()
{
    mFilterTimer.stop();
    mClearDurations->setVisible(mHistogram->GetRange().has_value());
    if (mChart == nullptr)
    {
        mJob.Cancel();
        return;
    }
    mProgress = 0.0F;
    mJob.Start([this, chart = mChart, query = MakeQuery()](
                   const bool& cancelled) { return OccurrenceList::sCompute(*chart, query, cancelled, mProgress); },
        [this](std::optional<OccurrenceList> list) {
            if (list)
                ShowList(std::move(*list));
        });
    QTimer::singleShot(cShowAfterMs, this, &OccurrencePanel::ShowProgress);
}

void OccurrencePanel::ShowList(OccurrenceList list)
{
    // What was selected stays so, as far as it is still there.
    const QModelIndex current = mTable->currentIndex();
    const bool hadSelection = HasSelection() && current.isValid() && mModel->GetChart() == mChart;
    const uint32_t bar = hadSelection ? mModel->GetBar(current.row()) : 0;

    mIsSelecting = true;
    mModel->Show(mChart, std::move(list), mIsDescending);
    mIsSelecting = false;
    mHistogram->SetHistogram(mModel->GetList().GetHistogram());
    ShowStatistics();
    ShowProgress();
    if (mPendingSelection)
        SelectBars(mPendingSelection->first, mPendingSelection->second);
    else if (hadSelection)
        SelectRowsOfBars(bar, bar);
    // Where the old rows were scrolled to is no place in the new ones.
    if (!HasSelection())
        mTable->scrollToTop();
}

void OccurrencePanel::ShowStatistics()
{
    const ChartStatistics& statistics = mModel->GetList().GetStatistics();
    if (mChart == nullptr || mModel->GetChart() == nullptr)
    {
        mStatistics->clear();
        return;
    }
    QString count = QString::fromStdString(gFormatCount(static_cast<uint64_t>(statistics.Count)));
    if (statistics.Count != mChart->GetNumEvents())
        count = tr("%1 of %2")
                    .arg(count, QString::fromStdString(gFormatCount(static_cast<uint64_t>(mChart->GetNumEvents()))));
    const std::pair<QString, QString> items[] = {{tr("count"), count}, {tr("total"), FormatTime(statistics.Total)},
        {tr("min"), FormatTime(statistics.Minimum)}, {tr("mean"), FormatTime(statistics.Mean)},
        {tr("median"), FormatTime(statistics.Median)}, {tr("p95"), FormatTime(statistics.P95)},
        {tr("p99"), FormatTime(statistics.P99)}, {tr("max"), FormatTime(statistics.Maximum)}};
    QStringList texts;
    for (const auto& [name, value] : items)
    {
        QString text = name + " " + value;
        texts.append(text.replace(' ', QChar::Nbsp));
    }
    mStatistics->setText(texts.join("   "));
}

void OccurrencePanel::ShowProgress()
{
    const bool isExporting = mExportJob.IsRunning();
    const bool isRunning = mJob.IsRunning() || isExporting;
    mProgressRow->setVisible(isRunning);
    if (!isRunning)
    {
        mProgressTimer.stop();
        return;
    }
    mProgressBar->setFormat((isExporting ? tr("Exporting") : tr("Sorting and filtering")) + " %p %");
    mProgressBar->setValue(static_cast<int>((isExporting ? mExportProgress : mProgress) * 100.0F));
    if (!mProgressTimer.isActive())
        mProgressTimer.start(cShowIntervalMs);
}

void OccurrencePanel::StartFilter()
{
    mFilter->setFocus(Qt::ShortcutFocusReason);
    mFilter->selectAll();
}

void OccurrencePanel::SortBy(EOccurrenceOrder order)
{
    SortByColumn(order == EOccurrenceOrder::Duration  ? OccurrenceModel::Duration
                 : order == EOccurrenceOrder::Context ? OccurrenceModel::Context
                                                      : OccurrenceModel::Start);
}

void OccurrencePanel::SortByColumn(int column)
{
    const bool isSameColumn = column == mOrderColumn;
    // Whoever sorts by duration wants the slow ones first.
    mIsDescending = isSameColumn ? !mIsDescending : column == OccurrenceModel::Duration;
    mOrderColumn = column;
    mTable->horizontalHeader()->setSortIndicator(column, mIsDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
    const EOccurrenceOrder order = column == OccurrenceModel::Duration  ? EOccurrenceOrder::Duration
                                   : column == OccurrenceModel::Context ? EOccurrenceOrder::Context
                                                                        : EOccurrenceOrder::Start;
    const bool isSameOrder = order == mOrder;
    mOrder = order;
    if (isSameOrder && !mJob.IsRunning())
    {
        mModel->SetDescending(mIsDescending);
        return;
    }
    Recompute();
}

void OccurrencePanel::OnSelectionChanged()
{
    if (mIsSelecting)
        return;
    mPendingSelection.reset();
    const QItemSelection selection = mTable->selectionModel()->selection();
    if (selection.isEmpty())
    {
        emit SelectionCleared();
        return;
    }
    // In another order than that of starts the rows are not neighbours in the chart: the one that has the focus counts.
    const int current = mTable->currentIndex().row();
    int top = current;
    int bottom = current;
    if (mOrder == EOccurrenceOrder::Start)
    {
        for (const QItemSelectionRange& range : selection)
        {
            top = std::min(top, range.top());
            bottom = std::max(bottom, range.bottom());
        }
    }
    if (top < 0 || bottom >= mModel->rowCount())
        return;
    // A list of values: of two temporaries minmax would give references.
    const auto [first, last] = std::minmax({mModel->GetBar(top), mModel->GetBar(bottom)});
    emit BarsPicked(static_cast<int>(first), static_cast<int>(last));
}

void OccurrencePanel::SelectBars(double startMs, double endMs)
{
    if (mChart == nullptr)
        return;
    if (mModel->GetChart() != mChart)
    {
        mPendingSelection = {startMs, endMs};
        return;
    }
    mPendingSelection.reset();
    const Profiler::BarChartLOD& level = mChart->GetLOD(0);
    const int32_t first = level.FindBarByStartTime(startMs);
    const int32_t last = level.FindBarByEndTime(endMs);
    if (first >= 0 && last >= first)
        SelectRowsOfBars(static_cast<uint32_t>(first), static_cast<uint32_t>(last));
}

void OccurrencePanel::SelectRowsOfBars(uint32_t first, uint32_t last)
{
    // A piece of the selection for each run of rows: each one is looked at for each row on screen.
    constexpr int cMostPieces = 1024;
    QItemSelection selection;
    QModelIndex top;
    int begin = -1;
    int end = -1;
    const auto closePiece = [&] {
        if (begin >= 0)
            selection.append(
                QItemSelectionRange{mModel->index(begin, 0), mModel->index(end, OccurrenceModel::NumColumns - 1)});
    };
    for (const std::size_t found : mModel->FindRows(first, last))
    {
        const auto row = static_cast<int>(found);
        if (row != end + 1 || begin < 0)
        {
            closePiece();
            if (selection.size() == cMostPieces)
                break;
            begin = row;
        }
        end = row;
        if (!top.isValid())
            top = mModel->index(row, 0);
    }
    if (selection.size() < cMostPieces)
        closePiece();
    mIsSelecting = true;
    mTable->selectionModel()->setCurrentIndex(top, QItemSelectionModel::NoUpdate);
    mTable->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    mIsSelecting = false;
    if (top.isValid())
        mTable->scrollTo(top, QAbstractItemView::EnsureVisible);
}

void OccurrencePanel::SelectRow(int row)
{
    if (row < 0 || row >= mModel->rowCount())
        return;
    const QModelIndex index = mModel->index(row, 0);
    mTable->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    mTable->scrollTo(index, QAbstractItemView::EnsureVisible);
}

void OccurrencePanel::SelectSlowest()
{
    if (mModel->rowCount() > 0)
        SelectRow(mModel->FindRow(mModel->GetList().GetSlowestBar()));
}

void OccurrencePanel::SelectNeighbour(int step)
{
    const QModelIndex current = mTable->currentIndex();
    if (!current.isValid() || !HasSelection())
        SelectRow(step > 0 ? 0 : mModel->rowCount() - 1);
    else
        SelectRow(current.row() + step);
}

void OccurrencePanel::ClearSelection()
{
    mPendingSelection.reset();
    mTable->selectionModel()->clear();
    emit SelectionCleared();
}

bool OccurrencePanel::HasSelection() const
{
    return mTable->selectionModel()->hasSelection();
}

std::vector<std::pair<int, int>> OccurrencePanel::GetSelectedRanges() const
{
    std::vector<std::pair<int, int>> ranges;
    for (const QItemSelectionRange& range : mTable->selectionModel()->selection())
        ranges.emplace_back(range.top(), range.bottom());
    std::sort(ranges.begin(), ranges.end());
    return ranges;
}

QString OccurrencePanel::GetSelectionAsText() const
{
    const std::vector<std::pair<int, int>> ranges = GetSelectedRanges();
    int count = 0;
    for (const auto& [top, bottom] : ranges)
        count += bottom - top + 1;
    if (count == 0 || count > cMostRowsToCopy)
        return {};
    const auto& bars = mChart->GetLOD(0).Bars;
    std::string text = "No.\tStart (ms)\tDuration (ms)\tContext\n";
    for (const auto& [top, bottom] : ranges)
    {
        for (int row = top; row <= bottom; ++row)
        {
            const uint32_t number = mModel->GetBar(row);
            std::string context = bars[number].Context;
            std::replace_if(
                context.begin(), context.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
            text += std::to_string(number) + '\t';
            gAppendNumber(text, bars[number].StartTimeMs);
            text += '\t';
            gAppendNumber(text, bars[number].TotalTimeMs);
            text += '\t' + context + '\n';
        }
    }
    return QString::fromStdString(text);
}

bool OccurrencePanel::ExportCsv(ERows rows, const std::string& path)
{
    if (mChart == nullptr || mExportJob.IsRunning())
        return false;
    std::size_t numRows = 0;
    std::function<uint32_t(std::size_t)> getBar = [](std::size_t row) {
        return static_cast<uint32_t>(row);
    };
    if (rows == ERows::All)
    {
        numRows = static_cast<std::size_t>(mChart->GetNumEvents());
    }
    else if (rows == ERows::Shown)
    {
        // A copy: the table may be sorted anew meanwhile.
        numRows = mModel->GetList().GetSize();
        getBar = [list = std::make_shared<const OccurrenceList>(mModel->GetList()),
                     isDescending = mModel->IsDescending()](std::size_t row) {
            return list->GetBar(row, isDescending);
        };
    }
    else
    {
        // Where the rows of each piece begin in the file, and where in the table.
        std::vector<std::pair<std::size_t, std::size_t>> pieces;
        for (const auto& [top, bottom] : GetSelectedRanges())
        {
            pieces.emplace_back(numRows, top);
            numRows += static_cast<std::size_t>(bottom - top + 1);
        }
        getBar = [list = std::make_shared<const OccurrenceList>(mModel->GetList()),
                     isDescending = mModel->IsDescending(), pieces = std::move(pieces)](std::size_t row) {
            const auto after = std::upper_bound(pieces.begin(), pieces.end(), row,
                [](std::size_t wanted, const auto& piece) { return wanted < piece.first; });
            const auto& [begin, top] = *std::prev(after);
            return list->GetBar(top + (row - begin), isDescending);
        };
    }
    mExportProgress = 0.0F;
    mExportJob.Start(
        [this, chart = mChart, numRows, getBar = std::move(getBar), path](const bool& cancelled) {
            Utility::Result result;
            const bool succeeded = gExportCsv(*chart, numRows, getBar, path, cancelled, mExportProgress, result);
            return std::pair{succeeded, result};
        },
        [this, path, numRows](const std::pair<bool, Utility::Result>& outcome) {
            ShowProgress();
            const QString name = QString::fromStdString(path);
            emit Exported(outcome.first,
                outcome.first
                    ? tr("%1 written to %2")
                          .arg(QString::fromStdString(gFormatCount(numRows, "occurrence", "occurrences")), name)
                    : QString::fromStdString(gDescribe(outcome.second)));
        });
    QTimer::singleShot(cShowAfterMs, this, &OccurrencePanel::ShowProgress);
    return true;
}

}
