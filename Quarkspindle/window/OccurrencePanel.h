#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

#include "Quarkspindle/window/BackgroundJob.h"
#include "Quarkspindle/window/OccurrenceList.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QToolButton;

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

class HistogramWidget;
class OccurrenceModel;
class RowTable;

/// The table of a chart's occurrences, what their durations say, and the histogram that narrows the table down. Each
/// change of order or filter is worked out on a job; until it is done the rows before it stay. The thread of the
/// widgets only.
class OccurrencePanel final : public QWidget
{
    Q_OBJECT

public:
    enum class ERows
    {
        All, ///< of the chart
        Shown,
        Selected,
    };

    OccurrencePanel(System::JobScheduler& scheduler, QWidget* parent);
    ~OccurrencePanel() override;

    /// The chart must live until the next call; null for none. Keeps filter and order.
    void SetChart(const Profiler::BarChart* chart);
    const Profiler::BarChart* GetChart() const { return mChart; }
    /// Whether the rows are still to come.
    bool IsBusy() const { return mJob.IsRunning(); }

    /// Selects the rows of the bars that start and end at these times, as the chart reported them; does not signal.
    /// Nothing when there are none.
    void SelectBars(double startMs, double endMs);

    /// Puts the cursor into the filter.
    void StartFilter();
    /// As a click on the column's header: again turns the order round.
    void SortBy(EOccurrenceOrder order);

    void SelectSlowest();
    void SelectPrevious() { SelectNeighbour(-1); }
    void SelectNext() { SelectNeighbour(1); }
    void ClearSelection();

    /// The selected rows with a header, separated by tabs; empty when there are none or too many to copy.
    QString GetSelectionAsText() const;
    bool HasSelection() const;

    /// Writes rows as CSV to a new file that takes the path's place at the end. One export at a time: false, with
    /// nothing begun, while another one is under way.
    bool ExportCsv(ERows rows, const std::string& path);

signals:
    /// The user picked rows: their bars lie between these indices, both included.
    void BarsPicked(int inFirstBar, int inLastBar);
    void SelectionCleared();
    /// An export is over; the message is empty when it was cancelled.
    void Exported(bool inSucceeded, const QString& inMessage);

private:
    QWidget* MakeFilterRow();
    QWidget* MakeTable();
    QWidget* MakeHistogram();
    QWidget* MakeProgress();

    void Recompute();
    void ShowList(OccurrenceList list);
    void ShowStatistics();
    void ShowProgress();
    void SortByColumn(int column);
    void OnSelectionChanged();
    void SelectNeighbour(int step);
    void SelectRow(int row);
    void SelectRowsOfBars(uint32_t first, uint32_t last);
    OccurrenceQuery MakeQuery() const;
    /// First and last row of each piece of the selection, from the top down.
    std::vector<std::pair<int, int>> GetSelectedRanges() const;

    const Profiler::BarChart* mChart = nullptr;
    OccurrenceModel* mModel;
    RowTable* mTable;
    QLineEdit* mFilter;
    QToolButton* mClearDurations;
    QLabel* mStatistics;
    HistogramWidget* mHistogram;
    QCheckBox* mLogarithmic;
    QWidget* mProgressRow;
    QProgressBar* mProgressBar;
    QTimer mFilterTimer; ///< waits for a pause in the typing
    QTimer mProgressTimer;
    EOccurrenceOrder mOrder = EOccurrenceOrder::Start;
    int mOrderColumn = 0;
    bool mIsDescending = false;
    bool mIsSelecting = false;                                  ///< the program selects, not the user
    std::optional<std::pair<double, double>> mPendingSelection; ///< times, for when the rows are there

    // The jobs go first: they read the chart and write the progress.
    JobProgress mProgress = 0.0F;
    JobProgress mExportProgress = 0.0F;
    BackgroundJob mJob;
    BackgroundJob mExportJob;
};

}
