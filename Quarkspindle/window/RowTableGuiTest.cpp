#include "Quarkspindle/window/RowTable.h"

#include <algorithm>
#include <vector>

#include <QtGui/QMouseEvent>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QScrollBar>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarkspindle
{

namespace
{

using testing::ElementsAre;

/// Numbers, and how many of them were asked for.
class NumberModel final : public QAbstractTableModel
{
public:
    explicit NumberModel(int numRows) : mNumRows{numRows} {}

    void Reset(int numRows)
    {
        beginResetModel();
        mNumRows = numRows;
        endResetModel();
    }

    int rowCount(const QModelIndex&) const override { return mNumRows; }
    int columnCount(const QModelIndex&) const override { return 3; }
    QVariant data(const QModelIndex& index, int role) const override
    {
        ++mNumAsked;
        return role == Qt::DisplayRole ? QVariant{index.row()} : QVariant{};
    }
    Qt::ItemFlags flags(const QModelIndex& index) const override
    {
        ++mNumAsked;
        return QAbstractTableModel::flags(index);
    }

    mutable int mNumAsked = 0;

private:
    int mNumRows;
};

class RowTableTest : public testing::Test
{
protected:
    void Show(int numRows)
    {
        mModel.Reset(numRows);
        mTable.setModel(&mModel);
        mTable.resize(400, 300);
        mTable.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&mTable));
    }

    void Click(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::mouseClick(mTable.viewport(), Qt::LeftButton, modifiers, GetCentre(row));
    }

    void Drag(int from, int to)
    {
        QTest::mousePress(mTable.viewport(), Qt::LeftButton, Qt::NoModifier, GetCentre(from));
        for (const int row : {(from + to) / 2, to})
        {
            // With the button in it, which QTest leaves out.
            QMouseEvent move{QEvent::MouseMove, GetCentre(row), Qt::NoButton, Qt::LeftButton, Qt::NoModifier};
            QApplication::sendEvent(mTable.viewport(), &move);
        }
        QTest::mouseRelease(mTable.viewport(), Qt::LeftButton, Qt::NoModifier, GetCentre(to));
    }

    QPoint GetCentre(int row) const { return mTable.visualRect(mModel.index(row, 0)).center(); }

    bool IsOnScreen(int row) const
    {
        return mTable.viewport()->rect().contains(mTable.visualRect(mModel.index(row, 0)));
    }

    std::vector<int> GetSelectedRows() const
    {
        std::vector<int> rows;
        for (const QModelIndex& index : mTable.selectionModel()->selectedRows())
            rows.push_back(index.row());
        std::sort(rows.begin(), rows.end());
        return rows;
    }

    NumberModel mModel{0};
    RowTable mTable;
};

TEST_F(RowTableTest, OnlyRowsOnScreenAreLookedAt)
{
    constexpr int cNumRows = 10000000;
    Show(cNumRows);
    mTable.selectAll();
    mTable.grab();
    EXPECT_EQ(mTable.selectionModel()->selection().front().height(), cNumRows);
    for (const Qt::Key key : {Qt::Key_End, Qt::Key_PageUp, Qt::Key_5, Qt::Key_Home})
    {
        QTest::keyClick(&mTable, key);
        mTable.grab();
    }
    mTable.scrollTo(mModel.index(cNumRows / 2, 0), QAbstractItemView::PositionAtCenter);
    EXPECT_TRUE(IsOnScreen(cNumRows / 2));
    mModel.Reset(cNumRows - 1);
    mTable.scrollTo(mModel.index(cNumRows - 2, 0));
    EXPECT_TRUE(IsOnScreen(cNumRows - 2));
    mTable.grab();
    EXPECT_EQ(mTable.verticalHeader()->count(), 0);
    EXPECT_LT(mModel.mNumAsked, 10000);
}

TEST_F(RowTableTest, MouseAndKeysPickRows)
{
    Show(1000);
    Click(2);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(2));
    Click(5, Qt::ShiftModifier);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(2, 3, 4, 5));
    Click(3, Qt::ControlModifier);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(2, 4, 5));
    Drag(7, 4);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(4, 5, 6, 7));
    Drag(1, 4);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(1, 2, 3, 4));

    QTest::keyClick(&mTable, Qt::Key_End);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(999));
    EXPECT_TRUE(IsOnScreen(999));
    QTest::keyClick(&mTable, Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(998, 999));
    QTest::keyClick(&mTable, Qt::Key_Home, Qt::ShiftModifier);
    EXPECT_EQ(GetSelectedRows().size(), 1000U);
    QTest::keyClick(&mTable, Qt::Key_PageDown);
    EXPECT_TRUE(IsOnScreen(GetSelectedRows().at(0)));
    EXPECT_GT(GetSelectedRows().at(0), 5);
}

TEST_F(RowTableTest, PlacesAreThoseOfTheRows)
{
    Show(3);
    for (int row = 0; row < 3; ++row)
        EXPECT_EQ(mTable.indexAt(GetCentre(row)).row(), row);
    EXPECT_FALSE(mTable.indexAt({10, 200}).isValid());
    EXPECT_FALSE(mTable.indexAt({10, -1}).isValid());
    // Columns that have room need no scroll bar.
    EXPECT_EQ(mTable.verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(mTable.horizontalScrollBar()->maximum(), 0);
    mTable.setColumnWidth(0, 500);
    EXPECT_TRUE(QTest::qWaitFor([this] { return mTable.horizontalScrollBar()->maximum() > 0; }));
    mTable.scrollTo(mModel.index(0, 2));
    EXPECT_GT(mTable.horizontalScrollBar()->value(), 0);
    mModel.Reset(0);
    QTest::keyClick(&mTable, Qt::Key_Down);
    QTest::mouseClick(mTable.viewport(), Qt::LeftButton, Qt::NoModifier, {10, 10});
    EXPECT_THAT(GetSelectedRows(), ElementsAre());
}

}

}
