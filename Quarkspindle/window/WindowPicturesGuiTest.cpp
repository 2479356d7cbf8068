#include <filesystem>

#include <QtWidgets/QDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStyleFactory>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/window/HistogramWidget.h"
#include "Quarkspindle/window/SettingsDialog.h"
#include "Quarkspindle/window/ViewLink.h"
#include "Quarkspindle/window/WindowFixture.h"
#include "tests/support/Pictures.h"

// How the window looks in its main states, as it was found good before. Nothing is selected: the mark pulses.

namespace Quarkspindle
{

namespace
{

/// Levels of detail fade in, and windows move, for half a second.
constexpr int cSettleTimeMs = 900;

/// As a dark desktop sets it.
QPalette MakeDarkPalette()
{
    QPalette palette{QColor{49, 54, 59}, QColor{35, 38, 41}};
    palette.setColor(QPalette::Base, QColor{27, 30, 32});
    palette.setColor(QPalette::AlternateBase, QColor{35, 38, 41});
    palette.setColor(QPalette::Text, QColor{252, 252, 252});
    palette.setColor(QPalette::WindowText, QColor{252, 252, 252});
    palette.setColor(QPalette::ButtonText, QColor{252, 252, 252});
    palette.setColor(QPalette::ToolTipBase, QColor{49, 54, 59});
    palette.setColor(QPalette::ToolTipText, QColor{252, 252, 252});
    palette.setColor(QPalette::Highlight, QColor{61, 174, 233});
    palette.setColor(QPalette::HighlightedText, QColor{252, 252, 252});
    palette.setColor(QPalette::Link, QColor{41, 128, 185});
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor{120, 124, 128});
    return palette;
}

class WindowPicturesTest : public MainWindowTest
{
protected:
    void SetUp() override
    {
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        QApplication::setCursorFlashTime(0);
        MainWindowTest::SetUp();
        mWindow->resize(900, 600);
    }

    void TearDown() override
    {
        MainWindowTest::TearDown();
        QApplication::setPalette(QPalette{});
    }

    /// Without a cursor that blinks or a focus that may or may not be there.
    testing::AssertionResult IsAsBefore(QWidget& widget, const std::string& name)
    {
        QTest::qWait(cSettleTimeMs);
        return Tests::gIsPictureAsBefore(
                   widget.grab().toImage(), name, WINDOW_PICTURES_OUTPUT, WINDOW_PICTURES_REFERENCE)
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << name;
    }

    /// A trace under a path that is the same in each run, since the window shows it.
    CapturePage* OpenSample()
    {
        CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(300)));
        page->FocusViews();
        return page;
    }
};

TEST_F(WindowPicturesTest, WindowWithAChart)
{
    CapturePage* page = OpenSample();
    EXPECT_TRUE(IsAsBefore(*mWindow, "window"));
    Find<HistogramWidget>("histogram").SetRange(HistogramWidget::Range{100.0, 250.0});
    Find<QLineEdit>("occurrenceFilter").setText("item");
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() < 300 && HasRows(*page); }));
    mWindow->GetMessages().Show(MessageStrip::EKind::Error, "/captures/x.session: The file is damaged");
    mWindow->GetMessages().Show(MessageStrip::EKind::Notice, "The trace was read as far as it goes");
    EXPECT_TRUE(IsAsBefore(*mWindow, "filtered"));
}

TEST_F(WindowPicturesTest, DarkWindow)
{
    mWindow.reset();
    QApplication::setPalette(MakeDarkPalette());
    MakeWindow(*sHost);
    mWindow->resize(900, 600);
    OpenSample();
    mWindow->GetMessages().Show(MessageStrip::EKind::Error, "/captures/x.session: The file is damaged");
    EXPECT_TRUE(IsAsBefore(*mWindow, "dark"));
}

TEST_F(WindowPicturesTest, WindowWithoutMuch)
{
    mWindow->resize(1000, 600);
    mState->AddRecentFile("/traces/a&b.json");
    OpenEmptyCapture(sHost->GetHost())->FocusViews();
    EXPECT_TRUE(IsAsBefore(*mWindow, "empty"));
    mState->ClearRecentFiles();
    mState->AddRecentFile("/traces/a&b.json");
    Press(Qt::Key_W, Qt::ControlModifier);
    mWindow->resize(700, 500);
    EXPECT_TRUE(IsAsBefore(*mWindow, "welcome"));
}

TEST_F(WindowPicturesTest, Dialogs)
{
    for (const auto& [key, modifiers, name] :
        {std::tuple{Qt::Key_F1, Qt::NoModifier, "keys"}, std::tuple{Qt::Key_Comma, Qt::ControlModifier, "settings"}})
    {
        EXPECT_TRUE(UseDialog<QDialog>([this, key = key, modifiers = modifiers] { Press(key, modifiers); },
            [this, name = name](QDialog& dialog) {
                for (auto* edit : dialog.findChildren<QLineEdit*>())
                    edit->setText("/some/folder");
                dialog.findChild<QPushButton*>()->setFocus();
                EXPECT_TRUE(IsAsBefore(dialog, name));
                dialog.reject();
            }));
    }
}

}

}
