#include "Quarkspindle/window/MainWindow.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMimeData>
#include <QtCore/QSaveFile>
#include <QtGui/QClipboard>
#include <QtGui/QDragEnterEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/commands/Command.h"
#include "Quarkspindle/window/CapturePage.h"
#include "Quarkspindle/window/EventPanel.h"
#include "Quarkspindle/window/MessageStrip.h"
#include "Quarkspindle/window/SettingsDialog.h"
#include "Quarkspindle/window/ViewLink.h"
#include "Quarkspindle/window/WelcomePage.h"
#include "Quarkspindle/window/WindowHost.h"

namespace Quarkspindle
{

namespace
{

constexpr const char* cGeometryState = "geometry";
constexpr const char* cFolderState = "folder";

// A step of the arrow keys in widths of the chart, and one of the zoom keys in powers of ten: a factor of 1.6.
constexpr double cPanStep = 0.1;
constexpr double cPanPage = 0.9;
constexpr double cZoomStep = 0.2;
/// Farther than any chart is wide.
constexpr double cPanToEnd = 1e12;

constexpr int cStatusTimeMs = 8000;

/// The capture's or the trace's, for people.
QString MakeName(const QString& path)
{
    QString name = QFileInfo{path}.fileName();
    if (name.endsWith(".session"))
        name.chop(8);
    return name;
}

/// Menus and tabs take this character for the mark of a key.
QString MakeLabel(QString text)
{
    return text.replace('&', "&&");
}

}

MainWindow::MainWindow(WindowHost& host, WindowState& state)
    : mHost{host},
      mState{state},
      mMessages{new MessageStrip},
      mStack{new QStackedWidget},
      mWelcome{new WelcomePage},
      mTabs{new QTabWidget},
      mClock{*this, [this](double seconds) {
                 if (CapturePage* page = GetCurrentPage())
                     page->Update(seconds);
             }}
{
    setWindowTitle("Quarkspindle");
    setAcceptDrops(true);
    mTabs->setTabsClosable(true);
    mTabs->setMovable(true);
    mTabs->setDocumentMode(true);
    connect(mTabs, &QTabWidget::tabCloseRequested, this, &MainWindow::ClosePage);
    connect(mTabs, &QTabWidget::currentChanged, this, &MainWindow::UpdateCommands);
    connect(mWelcome, &WelcomePage::OpenAsked, this, &MainWindow::ShowOpenDialog);
    connect(mWelcome, &WelcomePage::PathPicked, this, &MainWindow::Open);
    mStack->addWidget(mWelcome);
    mStack->addWidget(mTabs);

    auto* content = new QWidget{this};
    auto* layout = new QVBoxLayout{content};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mMessages);
    layout->addWidget(mStack, 1);
    setCentralWidget(content);
    statusBar()->setSizeGripEnabled(false);
    BuildMenus();
    RestorePlace();
    UpdateCommands();
}

MainWindow::~MainWindow()
{
    // Their ends reach commands and messages, which are still there now.
    mTabs->disconnect(this);
    while (mTabs->count() > 0)
        delete mTabs->widget(0);
}

void MainWindow::RestorePlace()
{
    constexpr QSize cWantedSize{1400, 900};
    constexpr QSize cRoomForFrame{20, 60};
    if (!restoreGeometry(mState.Get(cGeometryState)))
        resize(cWantedSize.boundedTo(screen()->availableSize() - cRoomForFrame));
}

CapturePage* MainWindow::GetCurrentPage() const
{
    return static_cast<CapturePage*>(mTabs->currentWidget());
}

CapturePage* MainWindow::Open(const QString& path)
{
    const QString absolute = QFileInfo{path}.absoluteFilePath();
    for (int i = 0; i < mTabs->count(); ++i)
    {
        auto* page = static_cast<CapturePage*>(mTabs->widget(i));
        if (page->GetPath() == absolute)
        {
            mTabs->setCurrentIndex(i);
            return page;
        }
    }
    if (const CapturePage* current = GetCurrentPage())
        current->SaveState();
    auto* page = new CapturePage{mHost, mState, absolute, mTabs};
    connect(page, &CapturePage::MessageRaised, this,
        [this](int kind, const QString& text) { mMessages->Show(static_cast<MessageStrip::EKind>(kind), text); });
    connect(page, &CapturePage::Changed, this, [this, page] { OnPageChanged(*page); });
    connect(page, &CapturePage::Failed, this, [this, page] { OnPageFailed(*page); });
    mTabs->addTab(page, MakeLabel(MakeName(absolute)));
    mTabs->setTabToolTip(mTabs->count() - 1, absolute.toHtmlEscaped());
    for (const auto side : {QTabBar::LeftSide, QTabBar::RightSide})
    {
        if (QWidget* close = mTabs->tabBar()->tabButton(mTabs->count() - 1, side))
            close->setAccessibleName(tr("Close %1").arg(MakeName(absolute)));
    }
    mTabs->setCurrentWidget(page);
    UpdateCommands();
    return page;
}

void MainWindow::OnPageChanged(CapturePage& page)
{
    if (page.GetOccurrences() != nullptr && page.GetViewContainer()->actions().isEmpty())
    {
        // Heard once, when the capture has just been opened.
        page.GetViewContainer()->addActions(QList<QAction*>(mViewCommands.begin(), mViewCommands.end()));
        connect(page.GetOccurrences(), &OccurrencePanel::Exported, this, [this](bool succeeded, const QString& text) {
            if (succeeded)
                statusBar()->showMessage(text, cStatusTimeMs);
            else if (!text.isEmpty())
                mMessages->Show(MessageStrip::EKind::Error, text);
        });
        mState.AddRecentFile(page.GetPath());
        page.ShowAnyChart();
        page.FocusViews();
    }
    UpdateCommands();
}

void MainWindow::OnPageFailed(CapturePage& page)
{
    const int index = mTabs->indexOf(&page);
    mTabs->removeTab(index);
    page.deleteLater();
    UpdateCommands();
}

void MainWindow::ClosePage(int index)
{
    auto* page = static_cast<CapturePage*>(mTabs->widget(index));
    if (page == nullptr)
        return;
    page->SaveState();
    mTabs->removeTab(index);
    delete page;
    UpdateCommands();
}

void MainWindow::SetViewsOnly()
{
    menuBar()->hide();
    statusBar()->hide();
    mMessages->hide();
    mTabs->tabBar()->hide();
}

void MainWindow::BuildMenus()
{
    BuildFileMenu();
    BuildChartMenu();
    BuildOccurrenceMenu();
    BuildHelpMenu();
}

QAction* MainWindow::AddCommand(
    QMenu& menu, const QString& text, const QList<QKeySequence>& keys, ENeeds needs, const std::function<void()>& run)
{
    QAction* action = menu.addAction(text);
    action->setShortcuts(keys);
    connect(action, &QAction::triggered, this, run);
    mCommands.emplace_back(action, needs);
    return action;
}

QAction* MainWindow::AddPageCommand(
    QMenu& menu, const QString& text, const QList<QKeySequence>& keys, ENeeds needs, const PageCommand& run)
{
    return AddCommand(menu, text, keys, needs, [this, run] {
        if (CapturePage* page = GetCurrentPage())
            run(*page);
    });
}

void MainWindow::AddViewCommand(
    QMenu& menu, const QString& text, const QList<QKeySequence>& keys, const PageCommand& run)
{
    QAction* action = AddPageCommand(menu, text, keys, ENeeds::Drawing, run);
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    mViewCommands.push_back(action);
}

void MainWindow::BuildFileMenu()
{
    QMenu& menu = *menuBar()->addMenu(tr("&File"));
    AddCommand(menu, tr("&Open…"), {QKeySequence::Open}, ENeeds::Nothing, [this] { ShowOpenDialog(); });
    mRecentMenu = menu.addMenu(tr("Open &Recent"));
    connect(mRecentMenu, &QMenu::aboutToShow, this, &MainWindow::FillRecentMenu);
    AddCommand(menu, tr("&Close"), {QKeySequence::Close}, ENeeds::Page, [this] { ClosePage(mTabs->currentIndex()); });
    menu.addSeparator();
    AddPageCommand(menu, tr("&Save Chart as Picture…"), {QKeySequence::Save}, ENeeds::Drawing,
        [this](CapturePage& page) { ExportChart(page); });
    QMenu& table = *menu.addMenu(tr("Save &Table"));
    const std::pair<QString, OccurrencePanel::ERows> kinds[] = {{tr("&All Occurrences…"), OccurrencePanel::ERows::All},
        {tr("Occurrences in the &Table…"), OccurrencePanel::ERows::Shown},
        {tr("&Selected Occurrences…"), OccurrencePanel::ERows::Selected}};
    for (const auto& [text, rows] : kinds)
        AddPageCommand(
            table, text, {}, ENeeds::Chart, [this, rows = rows](CapturePage& page) { ExportTable(page, rows); });
    AddPageCommand(menu, tr("Co&py Selected Occurrences"), {QKeySequence::Copy}, ENeeds::Chart,
        [this](CapturePage& page) { CopySelection(page); });
    menu.addSeparator();
    AddCommand(menu, tr("S&ettings…"), {QKeySequence{tr("Ctrl+,")}}, ENeeds::Nothing, [this] { ShowSettings(); });
    menu.addSeparator();
    AddCommand(menu, tr("&Quit"), {QKeySequence{tr("Ctrl+Q")}}, ENeeds::Nothing, [this] { close(); });
}

void MainWindow::BuildChartMenu()
{
    QMenu& menu = *menuBar()->addMenu(tr("&Chart"));
    AddPageCommand(menu, tr("&Search Events"), {QKeySequence::Find}, ENeeds::Capture,
        [](CapturePage& page) { page.GetEvents()->StartSearch(); });
    menu.addSeparator();
    const std::tuple<QString, Qt::Key, const char*> actions[] = {{tr("&Fit"), Qt::Key_F, "actionZoomToExtents"},
        {tr("&Normalise"), Qt::Key_N, "actionNormalize"}, {tr("&Average"), Qt::Key_A, "actionAverage"}};
    for (const auto& [text, key, name] : actions)
        AddPageCommand(menu, text, {QKeySequence{key}}, ENeeds::Drawing,
            [name = name](CapturePage& page) { page.GetViews()->Trigger(name); });
    menu.addSeparator();
    AddPageCommand(menu, tr("Zoom &In"), {QKeySequence{Qt::Key_Plus}, QKeySequence{Qt::Key_Equal}}, ENeeds::Drawing,
        [](CapturePage& page) { page.GetViews()->Move(0.0, cZoomStep); });
    AddPageCommand(menu, tr("Zoom &Out"), {QKeySequence{Qt::Key_Minus}}, ENeeds::Drawing,
        [](CapturePage& page) { page.GetViews()->Move(0.0, -cZoomStep); });
    const std::tuple<QString, QKeySequence, double> moves[] = {{tr("Earlier"), QKeySequence{Qt::Key_Left}, -cPanStep},
        {tr("Later"), QKeySequence{Qt::Key_Right}, cPanStep},
        {tr("Earlier by a Page"), QKeySequence{Qt::Key_PageUp}, -cPanPage},
        {tr("Later by a Page"), QKeySequence{Qt::Key_PageDown}, cPanPage},
        {tr("To the Start"), QKeySequence{Qt::Key_Home}, -cPanToEnd},
        {tr("To the End"), QKeySequence{Qt::Key_End}, cPanToEnd}};
    for (const auto& [text, key, pan] : moves)
        AddViewCommand(menu, text, {key}, [pan = pan](CapturePage& page) { page.GetViews()->Move(pan, 0.0); });
}

void MainWindow::BuildOccurrenceMenu()
{
    QMenu& menu = *menuBar()->addMenu(tr("&Occurrence"));
    AddPageCommand(menu, tr("S&lowest"), {QKeySequence{Qt::Key_M}}, ENeeds::Chart,
        [](CapturePage& page) { page.GetOccurrences()->SelectSlowest(); });
    AddPageCommand(menu, tr("&Previous"), {QKeySequence{Qt::Key_Comma}}, ENeeds::Chart,
        [](CapturePage& page) { page.GetOccurrences()->SelectPrevious(); });
    AddPageCommand(menu, tr("&Next"), {QKeySequence{Qt::Key_Period}}, ENeeds::Chart,
        [](CapturePage& page) { page.GetOccurrences()->SelectNext(); });
    AddCommand(menu, tr("&Clear Selection"), {QKeySequence{Qt::Key_Escape}}, ENeeds::Chart, [this] { Escape(); });
    menu.addSeparator();
    AddPageCommand(menu, tr("&Filter by Context"), {QKeySequence{tr("Ctrl+Shift+F")}}, ENeeds::Capture,
        [](CapturePage& page) { page.GetOccurrences()->StartFilter(); });
    const std::tuple<QString, QString, EOccurrenceOrder> columns[] = {
        {tr("Sort by &Start"), tr("Ctrl+1"), EOccurrenceOrder::Start},
        {tr("Sort by &Duration"), tr("Ctrl+2"), EOccurrenceOrder::Duration},
        {tr("Sort by C&ontext"), tr("Ctrl+3"), EOccurrenceOrder::Context}};
    for (const auto& [text, key, order] : columns)
        AddPageCommand(menu, text, {QKeySequence{key}}, ENeeds::Chart,
            [order = order](CapturePage& page) { page.GetOccurrences()->SortBy(order); });
}

void MainWindow::BuildHelpMenu()
{
    QMenu& menu = *menuBar()->addMenu(tr("&Help"));
    AddCommand(menu, tr("&Keys"), {QKeySequence{Qt::Key_F1}}, ENeeds::Nothing, [this] { ShowKeys(); });
    AddCommand(menu, tr("&About Quarkspindle"), {}, ENeeds::Nothing, [this] { ShowAbout(); });
}

bool MainWindow::IsMet(ENeeds needs) const
{
    const CapturePage* page = GetCurrentPage();
    const bool hasCapture = page != nullptr && page->GetOccurrences() != nullptr;
    const bool hasChart = hasCapture && page->GetChart() != nullptr;
    switch (needs)
    {
    case ENeeds::Nothing:
        return true;
    case ENeeds::Page:
        return page != nullptr;
    case ENeeds::Capture:
        return hasCapture;
    case ENeeds::Chart:
        return hasChart;
    case ENeeds::Drawing:
        return hasChart && page->GetViews()->CanDraw();
    }
    return false;
}

void MainWindow::UpdateCommands()
{
    const CapturePage* page = GetCurrentPage();
    for (const auto& [action, needs] : mCommands)
        action->setEnabled(IsMet(needs));
    mStack->setCurrentIndex(mTabs->count() > 0 ? 1 : 0);
    if (mTabs->count() == 0)
        mWelcome->SetRecentFiles(mState.GetRecentFiles());
    setWindowTitle(
        page != nullptr ? MakeName(page->GetPath()) + QString::fromUtf8(" – Quarkspindle") : QString{"Quarkspindle"});
}

void MainWindow::ShowOpenDialog()
{
    const QStringList paths =
        QFileDialog::getOpenFileNames(this, tr("Open Traces or Captures"), QString::fromUtf8(mState.Get(cFolderState)),
            tr("Traces and captures (*.json *.json.gz *.json.zst *.session);;All files (*)"));
    for (const QString& path : paths)
    {
        RememberFolder(path);
        Open(path);
    }
}

void MainWindow::RememberFolder(const QString& path)
{
    mState.Set(cFolderState, QFileInfo{path}.absolutePath().toUtf8());
}

QString MainWindow::AskForNewFile(
    const CapturePage& page, const QString& title, const QString& suffix, const QString& filter)
{
    QFileDialog dialog{this, title, QString::fromUtf8(mState.Get(cFolderState)), filter};
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(suffix);
    dialog.selectFile(MakeName(page.GetPath()) + '.' + suffix);
    if (dialog.exec() != QDialog::Accepted)
        return {};
    const QString path = dialog.selectedFiles().first();
    RememberFolder(path);
    return path;
}

void MainWindow::FillRecentMenu()
{
    mRecentMenu->clear();
    for (const QString& path : mState.GetRecentFiles())
        mRecentMenu->addAction(MakeLabel(path), this, [this, path] { Open(path); });
    mRecentMenu->addSeparator();
    mRecentMenu->addAction(tr("Clear"), this, [this] {
        mState.ClearRecentFiles();
        UpdateCommands();
    });
}

void MainWindow::ExportChart(CapturePage& page)
{
    const QString path = AskForNewFile(page, tr("Save Chart as Picture"), "png", tr("PNG pictures (*.png)"));
    if (path.isEmpty())
        return;
    QSaveFile file{path};
    if (file.open(QIODevice::WriteOnly) && page.GrabChart().save(&file, "PNG") && file.commit())
        statusBar()->showMessage(tr("Picture written to %1").arg(path), cStatusTimeMs);
    else
        mMessages->Show(
            MessageStrip::EKind::Error, tr("%1: The picture was not written: %2").arg(path, file.errorString()));
}

void MainWindow::ExportTable(CapturePage& page, OccurrencePanel::ERows rows)
{
    if (rows == OccurrencePanel::ERows::Selected && !page.GetOccurrences()->HasSelection())
    {
        statusBar()->showMessage(tr("No occurrences are selected"), cStatusTimeMs);
        return;
    }
    const QString path = AskForNewFile(page, tr("Save Table"), "csv", tr("Comma-separated values (*.csv)"));
    if (!path.isEmpty() && !page.GetOccurrences()->ExportCsv(rows, path.toStdString()))
        mMessages->Show(MessageStrip::EKind::Notice, tr("Another table is being written: try again when it is done"));
}

void MainWindow::CopySelection(CapturePage& page)
{
    const QString text = page.GetOccurrences()->GetSelectionAsText();
    if (text.isEmpty())
    {
        statusBar()->showMessage(page.GetOccurrences()->HasSelection()
                                     ? tr("That is too much for the clipboard: save the table instead")
                                     : tr("No occurrences are selected"),
            cStatusTimeMs);
        return;
    }
    QApplication::clipboard()->setText(text);
    statusBar()->showMessage(tr("Copied"), cStatusTimeMs);
}

void MainWindow::Escape()
{
    if (auto* edit = qobject_cast<QLineEdit*>(focusWidget()); edit != nullptr && !edit->text().isEmpty())
        edit->clear();
    else if (CapturePage* page = GetCurrentPage())
        page->GetOccurrences()->ClearSelection();
}

void MainWindow::ShowSettings()
{
    SettingsDialog dialog{mHost.GetSettings(), this};
    if (dialog.exec() == QDialog::Accepted && !dialog.Save())
        mMessages->Show(MessageStrip::EKind::Error, tr("%1: The settings could not be saved; they hold until the end")
                                                        .arg(QString::fromStdString(mHost.GetSettings().GetPath())));
}

QString MainWindow::DescribeKeys() const
{
    std::vector<QString> cells;
    const auto add = [&](const QString& keys, const QString& what) {
        cells.push_back("<td><b>" + keys.toHtmlEscaped() + "</b></td><td>" + what.toHtmlEscaped() + "</td>");
    };
    for (const auto& [action, needs] : mCommands)
    {
        QStringList keys;
        for (const QKeySequence& key : action->shortcuts())
            keys.append(key.toString(QKeySequence::NativeText));
        if (!keys.isEmpty())
            add(keys.join(tr(" or ")), action->text().remove('&').remove(QChar{0x2026}));
    }
    const Profiler::InputSettings& input = mHost.GetSettings().GetInputSettings();
    const std::pair<Profiler::EAction, QString> mouse[] = {
        {Profiler::EAction::Zoom, tr("with the mouse wheel or a drag: zoom")},
        {Profiler::EAction::Pan, tr("with a drag: pan")}};
    for (const auto& [action, what] : mouse)
    {
        if (input.GetKey(action) != Input::EKeyCode::None)
            add(QString::fromStdString(Input::gGetKeyName(input.GetKey(action))), what);
    }

    // Side by side, so that they fit on a small screen.
    const std::size_t numRows = (cells.size() + 1) / 2;
    QString text = "<table cellspacing=6>";
    for (std::size_t row = 0; row < numRows; ++row)
    {
        text += "<tr>" + cells[row] + "<td width=24></td>";
        text += row + numRows < cells.size() ? cells[row + numRows] : QString{};
        text += "</tr>";
    }
    return text + "</table>";
}

void MainWindow::ShowKeys()
{
    QDialog dialog{this};
    dialog.setWindowTitle(tr("Keys"));
    auto* keys = new QLabel{DescribeKeys()};
    keys->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* buttons = new QDialogButtonBox{QDialogButtonBox::Close};
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout{&dialog};
    layout->addWidget(keys);
    layout->addWidget(buttons);
    dialog.exec();
}

void MainWindow::ShowAbout()
{
    QMessageBox::about(this, tr("About Quarkspindle"),
        tr("<b>%1</b><p>Shows every occurrence of an instrumentation event as a bar whose height is its "
           "duration.</p><p>Apache License 2.0</p>")
            .arg(QString::fromStdString(gGetVersionText())));
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    mState.Set(cGeometryState, saveGeometry());
    if (const CapturePage* page = GetCurrentPage())
        page->SaveState();
    QMainWindow::closeEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    for (const QUrl& url : event->mimeData()->urls())
    {
        if (url.isLocalFile())
            Open(url.toLocalFile());
        else
            mMessages->Show(MessageStrip::EKind::Error, tr("%1 is no file on this machine").arg(url.toDisplayString()));
    }
    event->acceptProposedAction();
}

}
