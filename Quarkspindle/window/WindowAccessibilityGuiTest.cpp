#include <set>

#include <QtGui/QAccessible>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QOpenGLWidget>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/window/HistogramWidget.h"
#include "Quarkspindle/window/SettingsDialog.h"
#include "Quarkspindle/window/WindowFixture.h"

// The window for those who do not see it, or have no mouse.

namespace Quarkspindle
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

/// What a screen reader says of a widget: its own name, or that of the label which belongs to it.
std::string GetName(QWidget& widget)
{
    const QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&widget);
    if (interface == nullptr)
        return {};
    const auto labels = interface->relations(QAccessible::Label);
    return (labels.isEmpty() ? interface : labels.front().first)->text(QAccessible::Name).toStdString();
}

QAccessible::Role GetRole(QWidget& widget)
{
    return QAccessible::queryAccessibleInterface(&widget)->role();
}

/// Names and classes of what can have the focus, or be pressed, and has no name or no role.
std::vector<std::string> FindNameless(QWidget& window)
{
    std::vector<std::string> found;
    for (QWidget* widget : window.findChildren<QWidget*>())
    {
        const bool isUsed = widget->focusPolicy() != Qt::NoFocus || qobject_cast<QAbstractButton*>(widget) != nullptr;
        // Qt's own parts of a widget speak through it.
        const bool isPart = widget->objectName().startsWith("qt_") || widget->focusProxy() != nullptr;
        if (!isUsed || isPart || !widget->isVisibleTo(&window))
            continue;
        const std::set<QAccessible::Role> none = {QAccessible::NoRole, QAccessible::Client};
        if (GetName(*widget).empty() || none.count(GetRole(*widget)) > 0)
            found.push_back(std::string{widget->metaObject()->className()} + " " + widget->objectName().toStdString());
    }
    return found;
}

TEST_F(MainWindowTest, EverythingThatCanBeUsedHasANameAndARole)
{
    EXPECT_THAT(FindNameless(*mWindow), ElementsAre());
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    mWindow->GetMessages().Show(MessageStrip::EKind::Error, "Something went wrong");
    EXPECT_THAT(FindNameless(*mWindow), ElementsAre());
    SettingsDialog dialog{sHost->GetSettings(), mWindow.get()};
    dialog.show();
    EXPECT_THAT(FindNameless(dialog), ElementsAre());

    auto& chart = *page->GetViewContainer()->findChild<QOpenGLWidget*>();
    EXPECT_EQ(GetRole(chart), QAccessible::Chart);
    EXPECT_EQ(chart.accessibleDescription().toStdString(), "work on thread 7, 30 occurrences");
    EXPECT_EQ(GetRole(Find<HistogramWidget>("histogram")), QAccessible::Chart);
    EXPECT_EQ(GetRole(Find<QTableView>("eventList")), QAccessible::Table);

    QAccessibleInterface* table = QAccessible::queryAccessibleInterface(&Find<QTableView>("occurrenceTable"));
    ASSERT_NE(table->tableInterface(), nullptr);
    EXPECT_EQ(table->tableInterface()->rowCount(), 30);
    EXPECT_EQ(table->tableInterface()->columnDescription(2).toStdString(), "Duration");
    EXPECT_EQ(table->tableInterface()->cellAt(29, 3)->text(QAccessible::Name).toStdString(), "<item> 29");
}

TEST_F(MainWindowTest, TabKeyGoesThroughThePanelsInTheirOrder)
{
    OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    Find<QLineEdit>("eventSearch").setFocus();
    std::vector<std::string> names;
    for (int i = 0; i < 12 && (i == 0 || names.front() != QApplication::focusWidget()->objectName().toStdString()); ++i)
    {
        names.push_back(QApplication::focusWidget()->objectName().toStdString());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_THAT(
        names, ElementsAre("eventSearch", "eventList", "mEventComboBox", "mThreadComboBox", "mControlHostWidget",
                   "occurrenceFilter", "occurrenceTable", "histogram", "logarithmic", "qt_tabwidget_tabbar"));
}

TEST_F(MainWindowTest, EverythingCanBeDoneByKeys)
{
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    auto& table = Find<QTableView>("occurrenceTable");
    Press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_TRUE(WaitFor([&] { return HasRows(*page) && GetCell(0, 0) == "29"; }));
    Press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(GetCell(0, 0), "0");

    Press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
    QTest::keyClicks(mWindow->focusWidget(), "item> 2");
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() == 11; }));
    Press(Qt::Key_Tab);
    ASSERT_TRUE(table.hasFocus());
    Press(Qt::Key_Home);
    Press(Qt::Key_Down);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(1));
    Press(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(1, 2));
    Press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(GetSelectedRows().size(), 11U);

    Press(Qt::Key_Tab);
    auto& histogram = Find<HistogramWidget>("histogram");
    ASSERT_TRUE(histogram.hasFocus());
    for (int i = 0; i < 25; ++i)
        Press(Qt::Key_Right);
    EXPECT_TRUE(WaitFor([&] { return HasRows(*page) && GetNumRows() < 11; }));
    EXPECT_THAT(QAccessible::queryAccessibleInterface(&histogram)->text(QAccessible::Value).toStdString(),
        HasSubstr("30.000 ms"));
    Press(Qt::Key_Escape);
    EXPECT_TRUE(WaitFor([&] { return HasRows(*page) && GetNumRows() == 11; }));

    Press(Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(mWindow->focusWidget(), "rest");
    Press(Qt::Key_Down);
    Press(Qt::Key_Return);
    EXPECT_TRUE(WaitFor([&] { return page->GetChart()->GetDescription().Name == "rest"; }));
}

}

}
