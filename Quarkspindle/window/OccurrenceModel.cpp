#include "Quarkspindle/window/OccurrenceModel.h"

#include <utility>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/Output.h"

namespace Quarkspindle
{

namespace
{

/// A context may have any length; this much of it fits into a row.
constexpr int cLongestText = 500;
constexpr int cLongestToolTip = 4000;

QString MakeText(const std::string& text, int longest)
{
    // A code point has at most four bytes, so no more of the text is looked at.
    const auto size = static_cast<int>(std::min<std::size_t>(text.size(), static_cast<std::size_t>(longest) * 4));
    QString made = QString::fromUtf8(text.data(), size);
    if (made.size() <= longest)
        return made;
    made.truncate(longest);
    return made + QChar{0x2026};
}

QString MakeText(const Profiler::BarChartLOD::Bar& bar, int row, int column)
{
    switch (column)
    {
    case OccurrenceModel::Number:
        return QString::number(row);
    case OccurrenceModel::Start:
        return QString::number(bar.StartTimeMs, 'f', 3);
    case OccurrenceModel::Duration:
        return QString::fromStdString(gFormatMilliseconds(bar.TotalTimeMs));
    case OccurrenceModel::Context:
        return MakeText(bar.Context, cLongestText).simplified();
    default:
        return {};
    }
}

}

void OccurrenceModel::Show(const Profiler::BarChart* chart, OccurrenceList list, bool isDescending)
{
    beginResetModel();
    mChart = chart;
    mList = std::move(list);
    mIsDescending = isDescending;
    endResetModel();
}

void OccurrenceModel::SetDescending(bool isDescending)
{
    if (mIsDescending == isDescending)
        return;
    mIsDescending = isDescending;
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, NumColumns - 1));
}

int OccurrenceModel::FindRow(uint32_t bar) const
{
    const std::optional<std::size_t> row = mList.FindRow(bar, mIsDescending);
    return row ? static_cast<int>(*row) : -1;
}

int OccurrenceModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(mList.GetSize());
}

int OccurrenceModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : NumColumns;
}

QVariant OccurrenceModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || mChart == nullptr)
        return {};
    const uint32_t number = GetBar(index.row());
    const Profiler::BarChartLOD::Bar& bar = mChart->GetLOD(0).Bars[number];
    switch (role)
    {
    case Qt::DisplayRole:
        return MakeText(bar, static_cast<int>(number), index.column());
    case Qt::TextAlignmentRole:
        return index.column() == Context ? int{Qt::AlignLeft | Qt::AlignVCenter}
                                         : int{Qt::AlignRight | Qt::AlignVCenter};
    case Qt::ToolTipRole:
        // Rich text wraps; names of templates must not be taken for it.
        return index.column() == Context && !bar.Context.empty()
                   ? QVariant{"<qt>" + MakeText(bar.Context, cLongestToolTip).toHtmlEscaped() + "</qt>"}
                   : QVariant{};
    default:
        return {};
    }
}

QVariant OccurrenceModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return section == Context ? int{Qt::AlignLeft | Qt::AlignVCenter} : int{Qt::AlignRight | Qt::AlignVCenter};
    if (role != Qt::DisplayRole)
        return {};
    switch (section)
    {
    case Number:
        return tr("No.");
    case Start:
        return tr("Start (ms)");
    case Duration:
        return tr("Duration");
    case Context:
        return tr("Context");
    default:
        return {};
    }
}

}
