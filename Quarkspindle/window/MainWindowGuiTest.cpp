#include "Quarkspindle/window/MainWindow.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <QtGui/QClipboard>
#include <QtGui/QScreen>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QOpenGLWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSlider>
#include <QtWidgets/QTabWidget>

#include "BarChartPlugin/BarChart.h"
#include "ProfilerLib/plugin/Message.h"
#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/session/Session.h"
#include "Quarkspindle/window/EventPanel.h"
#include "Quarkspindle/window/HistogramWidget.h"
#include "Quarkspindle/window/SettingsDialog.h"
#include "Quarkspindle/window/ViewLink.h"
#include "Quarkspindle/window/WindowFixture.h"
#include "Utility/Hash.h"

namespace Quarkspindle
{

namespace
{

using testing::HasSubstr;

/// The names of all messages on the bus.
class BusLog final : public Profiler::MessageListener
{
public:
    explicit BusLog(Profiler::MessageBus& bus) : MessageListener{Profiler::cAllSessions, &bus} {}

    void OnMessage(const Profiler::Message& message) override
    {
        mNames.push_back(message.GetSchema().GetName());
        if (mNames.back() == "BarSelected")
            mStart = message.ReadDouble("StartTime").value_or(-2.0);
        if (mNames.back() == "MoveChart")
            mPan = message.ReadDouble("Pan").value_or(0.0);
    }

    std::vector<std::string> mNames;
    double mStart = -2.0; ///< of the last "BarSelected"
    double mPan = 0.0;    ///< of the last "MoveChart"
};

TEST_F(MainWindowTest, TraceBecomesACaptureOnceAndItsBusiestChartIsShown)
{
    const std::string trace = mFolder.Write("trace.json", MakeTrace(30));
    CapturePage* page = OpenWithChart(trace);
    EXPECT_EQ(page->GetChart()->GetDescription().Name, "work");
    EXPECT_EQ(GetNumRows(), 30);
    EXPECT_EQ(GetCell(29, 3), "<item> 29");
    EXPECT_THAT(GetStatistics(), HasSubstr("max 30.000 ms"));
    EXPECT_EQ(Find<QTableView>("eventList").model()->rowCount(), 2);
    EXPECT_EQ(GetMessages(), "");
    EXPECT_EQ(Open(trace), page);

    const std::size_t numFiles = mFolder.List().size();
    Press(Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(mWindow->GetCurrentPage(), nullptr);
    OpenWithChart(trace);
    EXPECT_EQ(mFolder.List().size(), numFiles);
}

TEST_F(MainWindowTest, PickingInOneViewShowsInTheOthers)
{
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    BusLog log{sHost->GetHost().GetMessageBus()};

    Press(Qt::Key_M);
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(29));
    EXPECT_EQ(log.mStart, 29000.0);
    Press(Qt::Key_Comma);
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(28));
    EXPECT_EQ(log.mStart, 28000.0);
    Press(Qt::Key_Escape);
    EXPECT_THAT(GetSelectedRows(), testing::IsEmpty());
    EXPECT_EQ(log.mStart, -1.0);

    // The tallest bar of thirty that are 11 pixels wide, behind the axis and the scroll bar.
    auto& chart = *page->GetViewContainer()->findChild<QOpenGLWidget*>();
    const QPoint bar{135 + 29 * 11 + 4, chart.height() - 40};
    QTest::mouseMove(&chart, bar);
    QTest::qWait(200);
    QTest::mouseClick(&chart, Qt::LeftButton, Qt::NoModifier, bar);
    EXPECT_THAT(log.mNames, testing::Contains("BarChartSelected"));
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(29));
    EXPECT_EQ(log.mStart, 29000.0);

    Press(Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(mWindow->focusWidget(), "rest 8");
    EXPECT_EQ(Find<QTableView>("eventList").model()->rowCount(), 1);
    Press(Qt::Key_Return);
    EXPECT_TRUE(WaitFor([&] { return page->GetChart()->GetDescription().Name == "rest" && HasRows(*page); }));
    EXPECT_EQ(GetNumRows(), 2);
    Press(Qt::Key_M);
    EXPECT_EQ(GetSelectedRows().size(), 1U) << "the search had taken the letter";
}

TEST_F(MainWindowTest, KeysMoveTheChartUnlessAListHasAUseForThem)
{
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(300)));
    page->GetViewContainer()->findChild<QOpenGLWidget*>()->setFocus();
    BusLog log{sHost->GetHost().GetMessageBus()};
    for (const Qt::Key key : {Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Left, Qt::Key_Right, Qt::Key_Home, Qt::Key_End})
    {
        log.mNames.clear();
        Press(key);
        EXPECT_THAT(log.mNames, testing::ElementsAre("MoveChart")) << key;
    }
    EXPECT_GT(log.mPan, 1.0);
    log.mNames.clear();
    Find<QTableView>("occurrenceTable").setFocus();
    Press(Qt::Key_End);
    Press(Qt::Key_Down);
    EXPECT_THAT(log.mNames, testing::Not(testing::Contains("MoveChart")));
    // A letter that is typed is no command.
    Find<QLineEdit>("occurrenceFilter").setFocus();
    QTest::keyClicks(mWindow->focusWidget(), "m, f.");
    EXPECT_EQ(Find<QLineEdit>("occurrenceFilter").text(), "m, f.");
    EXPECT_THAT(mWindow->DescribeKeys().toStdString(), testing::AllOf(HasSubstr("Ctrl+O"), HasSubstr("Home")));
}

TEST_F(MainWindowTest, FirstWindowFitsTheScreen)
{
    WindowState state{QString::fromStdString(mFolder / "first.ini")};
    const MainWindow window{*sHost, state};
    const QSize screen = window.screen()->availableSize();
    EXPECT_LT(window.width(), screen.width());
    EXPECT_LT(window.height(), screen.height());
}

TEST_F(MainWindowTest, NewRowsAreShownFromTheFirstUnlessOneIsSelected)
{
    OpenWithChart(mFolder.Write("trace.json", MakeTrace(300)));
    auto& table = Find<QTableView>("occurrenceTable");
    auto& filter = Find<QLineEdit>("occurrenceFilter");
    table.scrollToBottom();
    ASSERT_GT(table.verticalScrollBar()->value(), 0);
    filter.setText("item> 1");
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() == 111; }));
    EXPECT_EQ(table.verticalScrollBar()->value(), 0);

    table.selectRow(110);
    filter.clear();
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() == 300; }));
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(199));
    EXPECT_GT(table.verticalScrollBar()->value(), 0);
}

TEST_F(MainWindowTest, TableSortsFiltersAndLeavesTheWindow)
{
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    auto& table = Find<QTableView>("occurrenceTable");
    QHeaderView& header = *table.horizontalHeader();
    QTest::mouseClick(header.viewport(), Qt::LeftButton, Qt::NoModifier,
        {header.sectionViewportPosition(2) + 10, header.height() / 2});
    EXPECT_TRUE(WaitFor([&] { return GetCell(0, 0) == "29"; }));

    QTest::keyClicks(&Find<QLineEdit>("occurrenceFilter"), "item> 1");
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() == 11; }));
    EXPECT_EQ(GetCell(0, 0), "19");
    EXPECT_THAT(GetStatistics(), HasSubstr("11 of 30"));

    auto& histogram = Find<HistogramWidget>("histogram");
    const int y = histogram.height() / 2;
    QTest::mousePress(&histogram, Qt::LeftButton, Qt::NoModifier, {histogram.width() / 2, y});
    QTest::mouseMove(&histogram, {histogram.width() * 3 / 4, y});
    QTest::mouseMove(&histogram, {histogram.width() - 1, y});
    QTest::mouseRelease(&histogram, Qt::LeftButton, Qt::NoModifier, {histogram.width() - 1, y});
    EXPECT_TRUE(WaitFor([&] { return GetNumRows() > 0 && GetNumRows() < 11 && HasRows(*page); }));
    EXPECT_EQ(GetCell(0, 0), "19");
    const int numRows = GetNumRows();

    table.selectRow(0);
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(),
        "No.\tStart (ms)\tDuration (ms)\tContext\n19\t19000\t20\t<item> 19\n");

    const std::pair<OccurrencePanel::ERows, int> exports[] = {{OccurrencePanel::ERows::All, 30},
        {OccurrencePanel::ERows::Shown, numRows}, {OccurrencePanel::ERows::Selected, 1}};
    for (const auto& [rows, expected] : exports)
    {
        bool isOver = false;
        const auto connection = QObject::connect(
            page->GetOccurrences(), &OccurrencePanel::Exported, [&isOver](bool succeeded) { isOver = succeeded; });
        ASSERT_TRUE(page->GetOccurrences()->ExportCsv(rows, mFolder / "x.csv"));
        EXPECT_TRUE(WaitFor([&] { return isOver; }));
        QObject::disconnect(connection);
        const std::string text = mFolder.Read("x.csv");
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), expected + 1);
    }
    EXPECT_FALSE(page->GrabChart().isNull());
}

TEST_F(MainWindowTest, CancelledImportLeavesNothingBehind)
{
    const std::string trace = mFolder.Write("large.json", MakeTrace(300000));
    const auto files = mFolder.List();
    CapturePage* page = Open(trace);
    ASSERT_TRUE(WaitFor([&] { return std::filesystem::exists(mFolder / "captures"); }));
    QTest::mouseClick(page->findChild<QPushButton*>("cancelOpening"), Qt::LeftButton);
    EXPECT_TRUE(WaitFor([&] { return mWindow->GetCurrentPage() == nullptr; }));
    EXPECT_EQ(GetMessages(), "");
    EXPECT_EQ(mFolder.List(), files);

    // Nor does a tab that is closed, or a window.
    Open(trace);
    ASSERT_TRUE(WaitFor([&] { return std::filesystem::exists(mFolder / "captures"); }));
    mWindow.reset();
    EXPECT_EQ(mFolder.List(), files);
}

TEST_F(MainWindowTest, WhatCannotBeOpenedGivesAMessageAndAWorkingWindow)
{
    const std::string good = mFolder.Write("good.json", MakeTrace(3));
    OpenWithChart(good);
    std::string session;
    std::string sessionName;
    for (const std::string& file : mFolder.List())
    {
        if (file.ends_with(".session"))
            sessionName = file;
    }
    session = mFolder.Read(sessionName);
    std::string damaged = session;
    damaged[damaged.size() / 2] ^= 0x20;
    // As a later program might write it: the versions of the class and its bases are others, and the checksum is right.
    std::string newer = session;
    const std::string key = "\"FullVersion\": ";
    const std::size_t version =
        newer.find(key, newer.find("\"SessionInfo\"", newer.find("\"Profiler::Session\""))) + key.size();
    ASSERT_LT(version, newer.size());
    newer[version] = newer[version] == '1' ? '2' : '1';
    const std::size_t numChecked = newer.size() - sizeof(uint64_t);
    const uint64_t checksum = Utility::gXXH64(std::string_view{newer}.substr(0, numChecked));
    std::memcpy(newer.data() + numChecked, &checksum, sizeof(checksum));
    const std::string events = FileSystem::gGetDirectory(sessionName);
    for (const std::string name : {"damaged", "newer"})
    {
        mFolder.Write(name + "/events.dat", mFolder.Read(events + "/events.dat"));
        mFolder.Write(name + "/events.index", mFolder.Read(events + "/events.index"));
    }
    mFolder.Write("damaged/x.session", damaged);
    mFolder.Write("newer/x.session", newer);

    const std::pair<std::string, std::string> cases[] = {
        {mFolder / "damaged", "damaged/x.session"},
        {mFolder / "newer", "newer/x.session"},
        {mFolder.Write("note.txt", "Dear diary, this is no trace.\n"), "note.txt"},
        {mFolder.Write("empty.json", ""), "empty.json"},
        {mFolder / "missing", "no such file"},
        {mFolder.GetPath(), "no capture"},
    };
    for (const auto& [path, message] : cases)
    {
        mWindow->GetMessages().Clear();
        CapturePage* page = Open(path);
        EXPECT_TRUE(WaitFor([&] { return mWindow->GetCurrentPage() != page; })) << path;
        EXPECT_THAT(GetMessages(), HasSubstr(message)) << path;
    }
    EXPECT_TRUE(HasRows(*mWindow->GetCurrentPage()));
    Press(Qt::Key_M);
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(2));
}

TEST_F(MainWindowTest, LastChartComesBackWithItsCapture)
{
    const std::string trace = mFolder.Write("trace.json", MakeTrace(5));
    CapturePage* page = OpenWithChart(trace);
    ASSERT_TRUE(page->ShowChart("rest", 8));
    EXPECT_TRUE(WaitFor([&] { return page->GetChart()->GetDescription().Name == "rest"; }));
    mWindow->close();
    MakeWindow(*sHost);
    EXPECT_EQ(OpenWithChart(trace)->GetChart()->GetDescription().Name, "rest");
    EXPECT_EQ(mState->GetRecentFiles(), QStringList{QString::fromStdString(trace)});
}

TEST_F(MainWindowTest, EmptyCaptureIsShownAndTakesAllCommands)
{
    CapturePage* page = OpenEmptyCapture(sHost->GetHost());
    for (const Qt::Key key : {Qt::Key_M, Qt::Key_Period, Qt::Key_Comma, Qt::Key_F, Qt::Key_N, Qt::Key_A, Qt::Key_Escape,
             Qt::Key_Plus, Qt::Key_Home})
        Press(key);
    EXPECT_EQ(page->GetChart(), nullptr);
    EXPECT_EQ(GetMessages(), "");
}

TEST_F(MainWindowTest, FramesStopWhileTheWindowIsHidden)
{
    int numFrames = 0;
    FrameClock clock{*mWindow, [&](double seconds) {
                         numFrames += seconds >= 0.0 ? 1 : 0;
                     }};
    EXPECT_TRUE(WaitFor([&] { return numFrames > 3; }));
    mWindow->hide();
    EXPECT_TRUE(WaitFor([&] { return !clock.IsRunning(); }));
    mWindow->show();
    EXPECT_TRUE(WaitFor([&] { return clock.IsRunning(); }));
}

TEST_F(MainWindowTest, SettingsAreSavedAndTold)
{
    Profiler::Settings& settings = sHost->GetSettings();
    SettingsDialog dialog{settings, mWindow.get()};
    dialog.show();
    QTest::mouseClick(dialog.findChild<QPushButton*>("addLocation"), Qt::LeftButton);
    dialog.findChild<QListWidget*>("symbolLocations")->item(0)->setText("/srv/symbols");
    dialog.findChild<QLineEdit*>("symbolDirectory")->setText(QString::fromStdString(mFolder / "symbols"));
    dialog.findChild<QSlider*>("wheelSensitivity")->setValue(75);
    bool isTold = false;
    const EventSubscription subscription = settings.ChangeListeners.Subscribe([&isTold] { isTold = true; });
    ASSERT_TRUE(dialog.Save());
    EXPECT_TRUE(isTold);

    Profiler::Settings loaded;
    ASSERT_TRUE(loaded.Load(settings.GetPath(), sHost->GetHost().GetTypeRegistry()));
    EXPECT_EQ(
        loaded.GetSymbolSettings().SymbolLocations, (std::vector<Profiler::SymbolLocation>{{"/srv/symbols", true}}));
    EXPECT_EQ(loaded.GetSymbolSettings().GetSymbolCacheDirectory(), mFolder / "symbols");
    EXPECT_FLOAT_EQ(loaded.GetInputSettings().GetMouseWheelSensitivity(false), 0.75F);
}

TEST_F(MainWindowTest, SettingsThatCannotWorkAreNotSaved)
{
    SettingsDialog dialog{sHost->GetSettings(), mWindow.get()};
    const QPushButton& ok = *dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    const QLabel& problem = *dialog.findChild<QLabel*>("problem");
    EXPECT_TRUE(ok.isEnabled());
    auto& folder = *dialog.findChild<QLineEdit*>("captureDirectory");
    const QString before = folder.text();
    for (const char* text : {"", " ", "relative/path"})
    {
        folder.setText(text);
        EXPECT_FALSE(ok.isEnabled()) << text;
        EXPECT_THAT(problem.text().toStdString(), HasSubstr("whole path"));
    }
    folder.setText(before);
    EXPECT_TRUE(ok.isEnabled() && problem.text().isEmpty());
    const auto boxes = dialog.findChildren<QComboBox*>();
    boxes[1]->setCurrentIndex(boxes[0]->currentIndex());
    EXPECT_FALSE(ok.isEnabled());
    EXPECT_THAT(problem.text().toStdString(), HasSubstr("same key"));
    // None is no key.
    boxes[0]->setCurrentIndex(0);
    boxes[1]->setCurrentIndex(0);
    EXPECT_TRUE(ok.isEnabled());
}

TEST_F(MainWindowTest, CaptureWithLostOrDamagedFilesIsShownAsFarAsItGoes)
{
    const std::string trace = mFolder.Write("trace.json", MakeTrace(30));
    OpenWithChart(trace);
    Press(Qt::Key_W, Qt::ControlModifier);
    std::string events;
    std::string model;
    for (const std::string& file : mFolder.List())
    {
        if (file.ends_with("events.dat"))
            events = file;
        if (file.ends_with("Model.dat"))
            model = file;
    }
    // A model that is not there is made from the events.
    std::filesystem::remove(mFolder / model);
    OpenWithChart(trace);
    EXPECT_EQ(GetNumRows(), 30);
    EXPECT_EQ(GetMessages(), "");
    Press(Qt::Key_W, Qt::ControlModifier);

    std::string bytes = mFolder.Read(events);
    bytes[bytes.size() / 2] ^= 0x20;
    mFolder.Write(events, bytes);
    std::filesystem::remove(mFolder / model);
    CapturePage* page = Open(trace);
    EXPECT_TRUE(WaitFor([&] { return GetMessages() != "" && mWindow->GetCurrentPage() == page && page->IsOpen(); }));
    EXPECT_THAT(GetMessages(), HasSubstr("events.dat"));
    EXPECT_NE(OpenWithChart(mFolder.Write("other.json", MakeTrace(3)))->GetChart(), nullptr);
}

using PluginProblemTest = WindowTest;

TEST_F(PluginProblemTest, WindowWorksWithoutAPlugin)
{
    const std::pair<std::string, std::string> modules[] = {
        {mFolder / "BarChartPlugin.so", "could not be loaded"},
        {mFolder.Write("BarChartPlugin.so", "no module"), "could not be loaded"},
        {OTHER_VERSION_MODULE, "interface version 4"},
    };
    for (const auto& [module, message] : modules)
    {
        WindowHost host{mFolder / "settings.json", mFolder / "log"};
        Utility::Result result;
        EXPECT_FALSE(host.GetHost().LoadPlugin(module, result));
        EXPECT_THAT(gDescribe(result), testing::AllOf(HasSubstr(message), HasSubstr(module)));
        MakeWindow(host);
        CapturePage* page = Open(mFolder.Write("trace.json", MakeTrace(3)));
        EXPECT_TRUE(WaitFor([&] { return page->IsOpen(); })) << GetMessages();
        EXPECT_EQ(page->GetOccurrences(), nullptr);
        mWindow.reset();
    }
}

}

}
