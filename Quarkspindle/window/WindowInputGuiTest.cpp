#include <QtCore/QMimeData>
#include <QtGui/QDropEvent>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTabWidget>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/window/ProgressPanel.h"
#include "Quarkspindle/window/WindowFixture.h"

// How files come into the window and out of it: drops, menus, dialogs.

namespace Quarkspindle
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

/// Drops paths and addresses on a widget, as the desktop does. False when it does not want them.
bool Drop(QWidget& target, const QList<QUrl>& urls)
{
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter{{10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QApplication::sendEvent(&target, &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent drop{{10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QApplication::sendEvent(&target, &drop);
    return drop.isAccepted();
}

void EnterFileName(QFileDialog& dialog, const std::string& name)
{
    auto& edit = *dialog.findChild<QLineEdit*>("fileNameEdit");
    edit.setText(QString::fromStdString(name));
    QTest::keyClick(&edit, Qt::Key_Return);
}

class WindowInputTest : public MainWindowTest
{
protected:
    void SetUp() override
    {
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        MainWindowTest::SetUp();
    }

    /// By the text without the mark of its key; in the menus, as far as they are shown.
    QAction& FindAction(const std::string& text) const
    {
        for (QAction* action : mWindow->findChildren<QAction*>())
        {
            if (action->text().remove('&').toStdString() == text)
                return *action;
        }
        ADD_FAILURE() << text;
        return *mWindow->menuBar()->actions().front();
    }

    std::vector<std::string> GetTabs() const
    {
        std::vector<std::string> titles;
        const auto& tabs = *mWindow->findChild<QTabWidget*>();
        for (int i = 0; i < tabs.count(); ++i)
            titles.push_back(tabs.tabText(i).toStdString());
        return titles;
    }
};

TEST_F(WindowInputTest, DroppedFilesAreOpenedAndOthersRefused)
{
    const QString first = QString::fromStdString(mFolder.Write("a&b.json", MakeTrace(3)));
    const QString second = QString::fromStdString(mFolder.Write("c.json", MakeTrace(4)));
    EXPECT_TRUE(Drop(*mWindow, {QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)}));
    EXPECT_THAT(GetTabs(), ElementsAre("a&&b.json", "c.json"));
    EXPECT_THAT(mWindow->windowTitle().toStdString(), HasSubstr("c.json"));
    EXPECT_TRUE(WaitFor([&] { return HasRows(*mWindow->GetCurrentPage()); }));
    EXPECT_TRUE(Drop(*mWindow, {QUrl{"https://example.org/trace.json"}}));
    EXPECT_THAT(GetMessages(), HasSubstr("https://example.org/trace.json"));
    EXPECT_EQ(GetTabs().size(), 2U) << GetMessages();

    QMimeData text;
    text.setText("no file");
    QDragEnterEvent enter{{10, 10}, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier};
    enter.setAccepted(false);
    QApplication::sendEvent(mWindow.get(), &enter);
    EXPECT_FALSE(enter.isAccepted());
}

TEST_F(WindowInputTest, MenusOfferWhatCanBeDone)
{
    const char* const needsChart[] = {"Fit", "Slowest", "Copy Selected Occurrences", "Save Chart as Picture…", "Later"};
    const char* const needsPage[] = {"Close"};
    const auto expect = [&](bool hasPage, bool hasChart) {
        for (const char* text : needsChart)
            EXPECT_EQ(FindAction(text).isEnabled(), hasChart) << text;
        for (const char* text : needsPage)
            EXPECT_EQ(FindAction(text).isEnabled(), hasPage) << text;
    };
    expect(false, false);
    const std::string trace = mFolder.Write("trace.json", MakeTrace(3));
    OpenWithChart(trace);
    expect(true, true);

    // With the keyboard alone: the menu, then the letter of the command.
    QTest::keyClick(mWindow.get(), Qt::Key_O, Qt::AltModifier);
    QWidget* menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    QTest::keyClick(menu, Qt::Key_L);
    EXPECT_THAT(GetSelectedRows(), ElementsAre(2));

    FindAction("Close").trigger();
    expect(false, false);
    auto& recent = *FindAction("Open Recent").menu();
    emit recent.aboutToShow();
    ASSERT_EQ(recent.actions().front()->text().toStdString(), trace);
    recent.actions().front()->trigger();
    EXPECT_TRUE(WaitFor([&] { return HasRows(*mWindow->GetCurrentPage()); }));
}

TEST_F(WindowInputTest, DialogsNameTheFilesToOpenAndToWrite)
{
    const std::string trace = mFolder.Write("a&b.json", MakeTrace(3));
    const auto open = [this] {
        Press(Qt::Key_O, Qt::ControlModifier);
    };
    EXPECT_TRUE(UseDialog<QFileDialog>(open, [&](QFileDialog& dialog) { EnterFileName(dialog, trace); }));
    ASSERT_NE(mWindow->GetCurrentPage(), nullptr);
    EXPECT_TRUE(WaitFor([&] { return HasRows(*mWindow->GetCurrentPage()); }));
    EXPECT_TRUE(UseDialog<QFileDialog>(open, [](QFileDialog& dialog) { dialog.reject(); }));
    EXPECT_EQ(GetTabs().size(), 1U);

    // The folder is that of the last file, the name that of the capture, and its suffix may be left out.
    const auto save = [this] {
        Press(Qt::Key_S, Qt::ControlModifier);
    };
    EXPECT_TRUE(UseDialog<QFileDialog>(save, [&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.selectedFiles().value(0).toStdString(), mFolder / "a&b.json.png");
        EnterFileName(dialog, "picture");
    }));
    EXPECT_EQ(mFolder.Read("picture.png").substr(0, 4), "\x89PNG") << GetMessages();

    const auto saveTable = [this] {
        FindAction("All Occurrences…").trigger();
    };
    EXPECT_TRUE(UseDialog<QFileDialog>(saveTable, [](QFileDialog& dialog) { EnterFileName(dialog, "table"); }));
    EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(mFolder / "table.csv"); }));
    const auto files = mFolder.List();
    EXPECT_TRUE(UseDialog<QFileDialog>(saveTable, [](QFileDialog& dialog) { dialog.reject(); }));
    EXPECT_EQ(mFolder.List(), files);
    EXPECT_EQ(GetMessages(), "");
}

TEST_F(WindowInputTest, KeysAndSettingsDialogsOpenByKey)
{
    EXPECT_TRUE(UseDialog<QDialog>([this] { Press(Qt::Key_F1); },
        [](QDialog& dialog) {
            EXPECT_THAT(dialog.findChild<QLabel*>()->text().toStdString(), HasSubstr("Ctrl+O"));
            QTest::keyClick(&dialog, Qt::Key_Escape);
        }));
    EXPECT_TRUE(UseDialog<QDialog>([this] { Press(Qt::Key_Comma, Qt::ControlModifier); },
        [](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(WindowInputTest, ProgressTellsPhaseRateAndTimeLeft)
{
    OpeningProgress progress;
    progress.mPhase = OpeningProgress::EPhase::Reading;
    progress.mTotal = 1000000000;
    ProgressPanel panel{progress, "/some/<b>trace.json", nullptr};
    panel.show();
    const auto hasLabel = [&](const QString& part) {
        for (const QLabel* label : panel.findChildren<QLabel*>())
        {
            if (label->text().contains(part))
                return true;
        }
        return false;
    };
    QTest::qWait(300);
    progress.mDone = 250000000;
    EXPECT_TRUE(WaitFor([&] { return hasLabel("/s") && hasLabel("left"); }));
    EXPECT_TRUE(hasLabel("<b>trace.json") && hasLabel("Reading the trace"));
    const auto& bar = *panel.findChild<QProgressBar*>();
    EXPECT_EQ(bar.value() * 4, bar.maximum());
    // More than there was to do, which a trace that grows makes, is all of it.
    progress.mDone = 2000000000;
    EXPECT_TRUE(WaitFor([&] { return bar.value() == bar.maximum(); }));
    progress.mPhase = OpeningProgress::EPhase::Loading;
    EXPECT_TRUE(WaitFor([&] { return bar.maximum() == 0 && !hasLabel("left"); }));
}

TEST_F(WindowInputTest, FramesStopWhileTheWindowIsMinimised)
{
    int numFrames = 0;
    FrameClock clock{*mWindow, [&](double) {
                         ++numFrames;
                     }};
    EXPECT_TRUE(WaitFor([&] { return numFrames > 3; }));
    mWindow->showMinimized();
    EXPECT_TRUE(WaitFor([&] { return !clock.IsRunning(); }));
    const int numBefore = numFrames;
    QTest::qWait(100);
    EXPECT_EQ(numFrames, numBefore);
    mWindow->showNormal();
    EXPECT_TRUE(WaitFor([&] { return clock.IsRunning(); }));
}

}

}
