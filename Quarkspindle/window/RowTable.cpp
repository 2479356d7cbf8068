#include "Quarkspindle/window/RowTable.h"

#include <algorithm>

#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QScrollBar>

namespace Quarkspindle
{

namespace
{

/// Above and below the text of a row together.
constexpr int cPadding = 6;

}

RowTable::RowTable(QWidget* parent) : QTableView{parent}
{
    setSelectionBehavior(SelectRows);
    setVerticalScrollMode(ScrollPerItem);
    setHorizontalScrollMode(ScrollPerPixel);
    setWordWrap(false);
    setTabKeyNavigation(false);
    setShowGrid(false);
    verticalHeader()->hide();
    // The button between the headers, which Qt would place and hide.
    if (auto* corner = findChild<QAbstractButton*>({}, Qt::FindDirectChildrenOnly))
        corner->hide();
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setStretchLastSection(true);
    // Qt takes the widest character of the font, of which few have the like.
    horizontalHeader()->setMinimumSectionSize(fontMetrics().averageCharWidth() * 6);
}

void RowTable::setModel(QAbstractItemModel* model)
{
    QTableView::setModel(model);
    verticalHeader()->setModel(&mNoSections);
    // Each time that it paints itself, the header asks whether its columns are selected as a whole, which takes a look
    // at every row once they are. It gets an answer of its own: never.
    horizontalHeader()->setSelectionModel(new QItemSelectionModel{model, horizontalHeader()});
}

void RowTable::reset()
{
    QTableView::reset();
    // At once, so that a row can be scrolled to.
    updateGeometries();
}

int RowTable::GetRowHeight() const
{
    return fontMetrics().height() + cPadding;
}

int RowTable::GetNumRows() const
{
    return model() != nullptr ? model()->rowCount() : 0;
}

int RowTable::GetNumVisibleRows() const
{
    return std::max(1, viewport()->height() / GetRowHeight());
}

int RowTable::GetTopRow() const
{
    return verticalScrollBar()->value();
}

int RowTable::GetRowAt(int y) const
{
    const int height = GetRowHeight();
    // Towards lower rows also above the viewport.
    return GetTopRow() + (y >= 0 ? y / height : -((height - 1 - y) / height));
}

QRect RowTable::visualRect(const QModelIndex& index) const
{
    if (!index.isValid())
        return {};
    const int height = GetRowHeight();
    return {columnViewportPosition(index.column()), (index.row() - GetTopRow()) * height, columnWidth(index.column()),
        height};
}

QModelIndex RowTable::indexAt(const QPoint& point) const
{
    const int row = GetRowAt(point.y());
    const int column = columnAt(point.x());
    return row >= 0 && row < GetNumRows() && column >= 0 ? model()->index(row, column) : QModelIndex{};
}

void RowTable::keyboardSearch(const QString&) {}

void RowTable::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    if (!index.isValid())
        return;
    const int numVisible = GetNumVisibleRows();
    const int lowestTop = index.row() - numVisible + 1;
    int top = std::clamp(GetTopRow(), lowestTop, index.row());
    if (hint == PositionAtTop)
        top = index.row();
    else if (hint == PositionAtBottom)
        top = lowestTop;
    else if (hint == PositionAtCenter)
        top = index.row() - numVisible / 2;
    verticalScrollBar()->setValue(top);

    const QRect cell = visualRect(index);
    QScrollBar& bar = *horizontalScrollBar();
    if (cell.left() < 0 || cell.width() > viewport()->width())
        bar.setValue(bar.value() + cell.left());
    else if (cell.right() >= viewport()->width())
        bar.setValue(bar.value() + cell.right() - viewport()->width() + 1);
}

int RowTable::verticalOffset() const
{
    return GetTopRow() * GetRowHeight();
}

bool RowTable::isIndexHidden(const QModelIndex&) const
{
    return false;
}

QModelIndex RowTable::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    const int numRows = GetNumRows();
    const int numColumns = model() != nullptr ? model()->columnCount() : 0;
    if (numRows == 0 || numColumns == 0)
        return {};
    const QModelIndex current = currentIndex();
    if (!current.isValid())
        return model()->index(action == MoveEnd ? numRows - 1 : 0, 0);
    int row = current.row();
    int column = current.column();
    switch (action)
    {
    case MoveUp:
    case MovePrevious:
        --row;
        break;
    case MoveDown:
    case MoveNext:
        ++row;
        break;
    case MovePageUp:
        row -= GetNumVisibleRows();
        break;
    case MovePageDown:
        row += GetNumVisibleRows();
        break;
    case MoveHome:
        row = 0;
        break;
    case MoveEnd:
        row = numRows - 1;
        break;
    case MoveLeft:
        --column;
        break;
    case MoveRight:
        ++column;
        break;
    }
    return model()->index(std::clamp(row, 0, numRows - 1), std::clamp(column, 0, numColumns - 1));
}

void RowTable::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags)
{
    const int numRows = GetNumRows();
    if (numRows == 0)
        return;
    // From where the mouse went down to where it is, in any direction.
    const auto [top, bottom] = std::minmax({GetRowAt(rect.top()), GetRowAt(rect.bottom())});
    if (bottom < 0 || top >= numRows)
    {
        selectionModel()->select(QItemSelection{}, flags);
        return;
    }
    const QModelIndex first = model()->index(std::max(top, 0), 0);
    const QModelIndex last = model()->index(std::min(bottom, numRows - 1), model()->columnCount() - 1);
    selectionModel()->select(QItemSelection{first, last}, flags);
}

QRegion RowTable::visualRegionForSelection(const QItemSelection& selection) const
{
    const int top = GetTopRow();
    const int height = GetRowHeight();
    QRegion region;
    for (const QItemSelectionRange& range : selection)
    {
        const int first = std::max(range.top() - top, 0);
        const int last = std::min(range.bottom() - top, GetNumVisibleRows());
        if (first <= last)
            region += QRect{0, first * height, viewport()->width(), (last - first + 1) * height};
    }
    return region;
}

void RowTable::scrollContentsBy(int, int)
{
    horizontalHeader()->setOffset(horizontalScrollBar()->value());
    viewport()->update();
}

void RowTable::updateGeometries()
{
    // Margins and scroll bars change the viewport, which comes back here.
    if (mIsUpdatingGeometries)
        return;
    mIsUpdatingGeometries = true;
    QHeaderView& header = *horizontalHeader();
    const int height = header.sizeHint().height();
    setViewportMargins(0, height, 0, 0);
    QAbstractItemView::updateGeometries();
    UpdateVerticalScrollBar();
    // The bar may have taken some of the width, which the last column has to give.
    const QRect place = viewport()->geometry();
    header.setGeometry(place.left(), place.top() - height, place.width(), height);
    horizontalScrollBar()->setRange(0, std::max(0, header.length() - place.width()));
    horizontalScrollBar()->setPageStep(place.width());
    UpdateVerticalScrollBar();
    mIsUpdatingGeometries = false;
}

void RowTable::UpdateVerticalScrollBar()
{
    const int numVisible = GetNumVisibleRows();
    verticalScrollBar()->setRange(0, std::max(0, GetNumRows() - numVisible));
    verticalScrollBar()->setPageStep(numVisible);
    verticalScrollBar()->setSingleStep(1);
}

void RowTable::paintEvent(QPaintEvent* event)
{
    if (model() == nullptr)
        return;
    QPainter painter{viewport()};
    const int first = GetRowAt(event->rect().top());
    const int last = std::min(GetRowAt(event->rect().bottom()), GetNumRows() - 1);
    const int numColumns = model()->columnCount();
    const QModelIndex current = hasFocus() ? currentIndex() : QModelIndex{};
    for (int row = first; row <= last; ++row)
    {
        QStyleOptionViewItem option = viewOptions();
        option.features.setFlag(QStyleOptionViewItem::Alternate, alternatingRowColors() && row % 2 != 0);
        option.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(model()->index(row, 0)));
        const QStyle::State state = option.state;
        for (int column = 0; column < numColumns; ++column)
        {
            const QModelIndex index = model()->index(row, column);
            option.rect = visualRect(index);
            option.state = state;
            option.state.setFlag(QStyle::State_HasFocus, index == current);
            style()->drawPrimitive(QStyle::PE_PanelItemViewRow, &option, &painter, this);
            itemDelegate(index)->paint(&painter, option, index);
        }
    }
}

}
