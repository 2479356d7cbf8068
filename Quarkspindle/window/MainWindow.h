#pragma once

#include <functional>
#include <vector>

#include <QtWidgets/QMainWindow>

#include "Quarkspindle/window/FrameClock.h"
#include "Quarkspindle/window/OccurrencePanel.h"
#include "Quarkspindle/window/WindowState.h"

class QStackedWidget;
class QTabWidget;

namespace Quarkspindle
{

class CapturePage;
class MessageStrip;
class WelcomePage;
class WindowHost;

/// The window: captures in tabs, the commands on them with their keys, and messages at the top. The thread of the
/// widgets only.
class MainWindow final : public QMainWindow
{
    Q_OBJECT

public:
    /// Both must outlive the window.
    MainWindow(WindowHost& host, WindowState& state);
    ~MainWindow() override;

    /// Opens a capture or a trace in a tab of its own, or shows the tab that has it already.
    CapturePage* Open(const QString& path);
    /// Null when there is none.
    CapturePage* GetCurrentPage() const;
    MessageStrip& GetMessages() const { return *mMessages; }

    /// Without menu, tabs and messages, for pictures of the views alone.
    void SetViewsOnly();

    /// The text of every key that the window knows, as the user reads it.
    QString DescribeKeys() const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    using PageCommand = std::function<void(CapturePage&)>;

    /// When a command can be used.
    enum class ENeeds
    {
        Nothing,
        Page,
        Capture,
        Chart,
        Drawing, ///< of a chart; there is none without OpenGL
    };

    void BuildMenus();
    void BuildFileMenu();
    void BuildChartMenu();
    void BuildOccurrenceMenu();
    void BuildHelpMenu();
    QAction* AddCommand(QMenu& menu, const QString& text, const QList<QKeySequence>& keys, ENeeds needs,
        const std::function<void()>& run);
    QAction* AddPageCommand(
        QMenu& menu, const QString& text, const QList<QKeySequence>& keys, ENeeds needs, const PageCommand& run);
    /// One whose keys only the views hear: lists and tables have their own use for them.
    void AddViewCommand(QMenu& menu, const QString& text, const QList<QKeySequence>& keys, const PageCommand& run);

    void ShowOpenDialog();
    void ShowSettings();
    void ShowKeys();
    void ShowAbout();
    void FillRecentMenu();
    /// Where to write a file of that suffix; empty when the user gives up.
    QString AskForNewFile(const CapturePage& page, const QString& title, const QString& suffix, const QString& filter);
    void RememberFolder(const QString& path);
    bool IsMet(ENeeds needs) const;
    void ExportChart(CapturePage& page);
    void ExportTable(CapturePage& page, OccurrencePanel::ERows rows);
    void CopySelection(CapturePage& page);
    void Escape();
    void OnPageChanged(CapturePage& page);
    void OnPageFailed(CapturePage& page);
    void ClosePage(int index);
    void UpdateCommands();
    void RestorePlace();

    WindowHost& mHost;
    WindowState& mState;
    MessageStrip* mMessages;
    QStackedWidget* mStack;
    WelcomePage* mWelcome;
    QTabWidget* mTabs;
    QMenu* mRecentMenu = nullptr;
    std::vector<std::pair<QAction*, ENeeds>> mCommands; ///< in the order of the menus
    std::vector<QAction*> mViewCommands;
    FrameClock mClock;
};

}
