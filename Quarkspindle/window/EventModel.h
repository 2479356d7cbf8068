#pragma once

#include <string>
#include <vector>

#include <QtCore/QAbstractTableModel>

namespace Profiler
{
class BarChartModel;
class Session;
}

namespace Quarkspindle
{

/// The charts that a capture can show, one row for each event on each thread, by name and then in the order of first
/// appearance. A search keeps the rows that hold all of its words, in the name or in the thread. The thread of the
/// widgets only.
class EventModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum EColumn
    {
        Event,
        Thread,
        NumColumns,
    };

    /// Both must outlive the model; their lists no longer change.
    EventModel(const Profiler::Session& session, const Profiler::BarChartModel& charts, QObject* parent);

    void SetSearch(const std::string& text);

    const std::string& GetName(int row) const;
    int32_t GetThreadID(int row) const;
    /// -1 when the search does not keep it.
    int FindRow(const std::string& name, int32_t threadID) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    struct Entry
    {
        const std::string* mName;
        int32_t mThreadID;
        std::string mThreadText; ///< "main (7)"
    };

    std::vector<Entry> mEntries;
    std::vector<std::size_t> mRows; ///< of mEntries
};

}
