#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QTableView>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProfilerLib/session/Session.h"
#include "Quarkspindle/window/CapturePage.h"
#include "Quarkspindle/window/MainWindow.h"
#include "Quarkspindle/window/MessageStrip.h"
#include "Quarkspindle/window/OccurrencePanel.h"
#include "Quarkspindle/window/ViewLink.h"
#include "Quarkspindle/window/WindowHost.h"
#include "Utility/TemporaryFolder.h"

namespace Quarkspindle
{

inline constexpr int cLongestWaitMs = 20000;

inline bool WaitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, cLongestWaitMs);
}

/// "work" occurs `count` times on thread 7, as `detail` i, for i + 1 ms, and "rest" twice on thread 8.
inline std::string MakeTrace(int count)
{
    std::string trace = R"({"traceEvents":[{"ph":"M","pid":7,"tid":7,"name":"thread_name","args":{"name":"main"}})";
    for (int i = 0; i < count; ++i)
        trace += ",\n{\"ph\":\"X\",\"pid\":7,\"tid\":7,\"ts\":" + std::to_string(int64_t{i} * 1000000) +
                 ",\"dur\":" + std::to_string(int64_t{i + 1} * 1000) +
                 ",\"name\":\"work\",\"args\":{\"detail\":\"<item> " + std::to_string(i) + "\"}}";
    for (const int start : {0, 5000})
        trace +=
            ",\n{\"ph\":\"X\",\"pid\":7,\"tid\":8,\"ts\":" + std::to_string(start) + ",\"dur\":1000,\"name\":\"rest\"}";
    return trace + "]}";
}

/// Gives the dialog that `open` brings up to `act`, which has to close it. Whether there was one.
template <class Dialog>
testing::AssertionResult UseDialog(const std::function<void()>& open, const std::function<void(Dialog&)>& act)
{
    bool isUsed = false;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr)
            return;
        timer.stop();
        isUsed = true;
        act(*dialog);
    });
    timer.start(20);
    open();
    return isUsed ? testing::AssertionSuccess() : testing::AssertionFailure() << "there was no dialog";
}

/// One window on a desktop of its own, with its files in a folder of its own.
class WindowTest : public testing::Test
{
protected:
    void MakeWindow(WindowHost& host)
    {
        host.GetSettings().GetSymbolSettings().CaptureTargetDirectory = mFolder / "captures";
        mState = std::make_unique<WindowState>(QString::fromStdString(mFolder / "window.ini"));
        mWindow = std::make_unique<MainWindow>(host, *mState);
        mWindow->resize(1200, 800);
        mWindow->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(mWindow.get()));
        QApplication::setActiveWindow(mWindow.get());
    }

    CapturePage* Open(const std::string& path) { return mWindow->Open(QString::fromStdString(path)); }

    /// Opens it and waits for its first chart with all its rows.
    CapturePage* OpenWithChart(const std::string& path)
    {
        CapturePage* page = Open(path);
        EXPECT_TRUE(WaitFor([&] { return HasRows(*page); })) << GetMessages();
        return page;
    }

    /// Opens a capture without any event.
    CapturePage* OpenEmptyCapture(Host& host)
    {
        EXPECT_TRUE(std::filesystem::create_directory(mFolder / "empty"));
        {
            Profiler::Session session{
                mFolder / "empty/x.session", nullptr, &host.GetJobScheduler(), &host.GetPlugins()};
            Utility::Result result;
            session.CreateModels();
            EXPECT_TRUE(session.BeginModels(result) && session.EndModels(result)) << result.ToString();
        }
        CapturePage* page = Open(mFolder / "empty");
        EXPECT_TRUE(WaitFor([&] { return page->GetOccurrences() != nullptr && page->GetViews()->IsReady(); }))
            << GetMessages();
        return page;
    }

    static bool HasRows(const CapturePage& page)
    {
        return page.GetChart() != nullptr && !page.GetOccurrences()->IsBusy();
    }

    std::string GetMessages() const { return mWindow->GetMessages().GetTexts().join("\n").toStdString(); }

    template <class Widget>
    Widget& Find(const char* name) const
    {
        auto* widget = mWindow->GetCurrentPage()->findChild<Widget*>(name);
        EXPECT_NE(widget, nullptr) << name;
        return *widget;
    }

    int GetNumRows() const { return Find<QTableView>("occurrenceTable").model()->rowCount(); }

    std::string GetCell(int row, int column) const
    {
        const QAbstractItemModel& model = *Find<QTableView>("occurrenceTable").model();
        return model.index(row, column).data().toString().toStdString();
    }

    std::string GetStatistics() const
    {
        return Find<QLabel>("statistics").text().replace(QChar::Nbsp, ' ').toStdString();
    }

    std::vector<int> GetSelectedRows() const
    {
        std::vector<int> rows;
        for (const QModelIndex& index : Find<QTableView>("occurrenceTable").selectionModel()->selectedRows())
            rows.push_back(index.row());
        return rows;
    }

    void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        // A dialog that has been closed leaves no window active where there is nobody to manage windows.
        QApplication::setActiveWindow(mWindow.get());
        QWidget* target = mWindow->focusWidget() != nullptr ? mWindow->focusWidget() : mWindow.get();
        QTest::keyClick(target, key, modifiers);
    }

    TemporaryFolder mFolder;
    std::unique_ptr<WindowState> mState;
    std::unique_ptr<MainWindow> mWindow;
};

/// With the plug-in, which one process can have only once.
class MainWindowTest : public WindowTest
{
protected:
    static void SetUpTestSuite()
    {
        sFolder = new TemporaryFolder;
        sHost = new WindowHost{*sFolder / "settings.json", *sFolder / "log"};
        Utility::Result result;
        ASSERT_TRUE(sHost->GetHost().LoadPlugin(BARCHARTPLUGIN_MODULE, result)) << result.ToString();
    }

    static void TearDownTestSuite()
    {
        delete sHost;
        delete sFolder;
    }

    void SetUp() override { MakeWindow(*sHost); }

    void TearDown() override { mWindow.reset(); }

    static inline TemporaryFolder* sFolder = nullptr;
    static inline WindowHost* sHost = nullptr;
};

}
