#pragma once

#include <QtCore/QAbstractTableModel>

#include "Quarkspindle/window/OccurrenceList.h"

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

/// The rows of the table of occurrences. It reads the chart's own bars and makes the texts of the rows that are on
/// screen; nothing is done for each row. The thread of the widgets only.
class OccurrenceModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum EColumn
    {
        Number, ///< the bar's index
        Start,
        Duration,
        Context,
        NumColumns,
    };

    using QAbstractTableModel::QAbstractTableModel;

    /// The chart must live until the next call; null with an empty list is an empty table.
    void Show(const Profiler::BarChart* chart, OccurrenceList list, bool isDescending);
    /// Reads the list from its other end.
    void SetDescending(bool isDescending);

    const Profiler::BarChart* GetChart() const { return mChart; }
    const OccurrenceList& GetList() const { return mList; }
    bool IsDescending() const { return mIsDescending; }

    uint32_t GetBar(int row) const { return mList.GetBar(static_cast<std::size_t>(row), mIsDescending); }
    /// -1 when the bar is not in the table.
    int FindRow(uint32_t bar) const;
    /// See `OccurrenceList::FindRows`.
    std::vector<std::size_t> FindRows(uint32_t first, uint32_t last) const
    {
        return mList.FindRows(first, last, mIsDescending);
    }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const Profiler::BarChart* mChart = nullptr;
    OccurrenceList mList;
    bool mIsDescending = false;
};

}
