#include "Quarkspindle/window/EventModel.h"

#include <algorithm>
#include <numeric>
#include <sstream>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "Utility/Text.h"

namespace Quarkspindle
{

EventModel::EventModel(const Profiler::Session& session, const Profiler::BarChartModel& charts, QObject* parent)
    : QAbstractTableModel{parent}
{
    for (const Profiler::BarChartDescription& chart : charts.GetAllBarCharts())
    {
        const std::string id = std::to_string(chart.ThreadID);
        const Profiler::Thread* thread = session.FindThread(chart.ThreadID);
        const bool isNamed = thread != nullptr && !thread->ThreadName.empty();
        mEntries.push_back({&chart.Name, chart.ThreadID, isNamed ? thread->ThreadName + " (" + id + ")" : id});
    }
    std::stable_sort(
        mEntries.begin(), mEntries.end(), [](const Entry& a, const Entry& b) { return *a.mName < *b.mName; });
    SetSearch({});
}

void EventModel::SetSearch(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream stream{text};
    for (std::string word; stream >> word;)
        words.push_back(word);

    beginResetModel();
    mRows.clear();
    for (std::size_t i = 0; i < mEntries.size(); ++i)
    {
        const Entry& entry = mEntries[i];
        const bool fits = std::all_of(words.begin(), words.end(), [&](const std::string& word) {
            return Utility::gContainsIgnoreCase(*entry.mName, word) ||
                   Utility::gContainsIgnoreCase(entry.mThreadText, word);
        });
        if (fits)
            mRows.push_back(i);
    }
    endResetModel();
}

const std::string& EventModel::GetName(int row) const
{
    return *mEntries[mRows[static_cast<std::size_t>(row)]].mName;
}

int32_t EventModel::GetThreadID(int row) const
{
    return mEntries[mRows[static_cast<std::size_t>(row)]].mThreadID;
}

int EventModel::FindRow(const std::string& name, int32_t threadID) const
{
    const auto found = std::find_if(mRows.begin(), mRows.end(),
        [&](std::size_t row) { return mEntries[row].mThreadID == threadID && *mEntries[row].mName == name; });
    return found == mRows.end() ? -1 : static_cast<int>(found - mRows.begin());
}

int EventModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(mRows.size());
}

int EventModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : NumColumns;
}

QVariant EventModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    const Entry& entry = mEntries[mRows[static_cast<std::size_t>(index.row())]];
    const QString text = QString::fromStdString(index.column() == Event ? *entry.mName : entry.mThreadText);
    return role == Qt::DisplayRole ? text.simplified() : "<qt>" + text.toHtmlEscaped() + "</qt>";
}

QVariant EventModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == Event ? tr("Event") : tr("Thread");
}

}
