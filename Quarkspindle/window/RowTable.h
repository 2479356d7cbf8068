#pragma once

#include <QtGui/QStandardItemModel>
#include <QtWidgets/QTableView>

namespace Quarkspindle
{

/// A table of whole rows, all of the same height. What is not on screen costs nothing: Qt's own table keeps a section
/// for each row, and makes them all anew with each reset of its model, which holds everything up where there are
/// millions. So the vertical header is left without sections here, and whatever Qt would ask of it is answered from the
/// height of a row. The thread of the widgets only.
class RowTable final : public QTableView
{
    Q_OBJECT

public:
    explicit RowTable(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    void reset() override;
    QRect visualRect(const QModelIndex& index) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint& point) const override;
    /// Does nothing: it would read all rows, and letters are commands of the window.
    void keyboardSearch(const QString& text) override;

protected:
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex& index) const override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags) override;
    QRegion visualRegionForSelection(const QItemSelection& selection) const override;
    void scrollContentsBy(int dx, int dy) override;
    void updateGeometries() override;
    void paintEvent(QPaintEvent* event) override;

private:
    void UpdateVerticalScrollBar();
    int GetRowHeight() const;
    int GetNumRows() const;
    /// Rows that fit as a whole, at least one.
    int GetNumVisibleRows() const;
    /// The first row that is on screen.
    int GetTopRow() const;
    /// The row at a height of the viewport, also of one that is not on screen.
    int GetRowAt(int y) const;

    QStandardItemModel mNoSections; ///< of the vertical header
    bool mIsUpdatingGeometries = false;
};

}
