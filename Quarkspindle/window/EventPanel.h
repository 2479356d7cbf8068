#pragma once

#include <cstdint>
#include <string>

#include <QtWidgets/QWidget>

class QLabel;
class QLineEdit;

namespace Profiler
{
class BarChartModel;
class Session;
}

namespace Quarkspindle
{

class EventModel;
class RowTable;

/// The searchable list of a capture's events and threads. Enter or a double click on a row picks its chart; Down leads
/// from the search to the list.
class EventPanel final : public QWidget
{
    Q_OBJECT

public:
    /// Both must outlive the panel.
    EventPanel(const Profiler::Session& session, const Profiler::BarChartModel& charts, QWidget* parent);

    /// Puts the cursor into the search.
    void StartSearch();
    /// Marks the row of the chart that is on show, when the search keeps it.
    void MarkChart(const std::string& name, int32_t threadID);

signals:
    void ChartPicked(const std::string& inName, int inThreadID);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Pick(const QModelIndex& index);
    void OnSearchChanged(const QString& text);

    EventModel* mModel;
    QLineEdit* mSearch;
    RowTable* mList;
    QLabel* mCount;
};

}
