#include <cstdlib>

#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QAction>
#include <QtWidgets/QOpenGLWidget>

#include "BarChartPlugin/BarChart.h"
#include "Quarkspindle/window/EventPanel.h"
#include "Quarkspindle/window/WindowFixture.h"

// The window on a display without OpenGL.

namespace Quarkspindle
{

namespace
{

/// Qt asks for it when the application object is made, which is after this.
[[maybe_unused]] const int gWithoutOpenGL = setenv("QT_XCB_GL_INTEGRATION", "none", 1);

using WindowWithoutOpenGLTest = MainWindowTest;

TEST_F(WindowWithoutOpenGLTest, ChartIsAMessageAndEverythingElseWorks)
{
    CapturePage* page = OpenWithChart(mFolder.Write("trace.json", MakeTrace(30)));
    ASSERT_NE(page->GetChart(), nullptr);
    EXPECT_EQ(page->findChild<QOpenGLWidget*>(), nullptr);
    EXPECT_THAT(Find<QLabel>("blankMessage").text().toStdString(),
        testing::AllOf(testing::HasSubstr("cannot be drawn"), testing::HasSubstr("OpenGL")));
    EXPECT_EQ(GetNumRows(), 30);
    Press(Qt::Key_M);
    EXPECT_THAT(GetSelectedRows(), testing::ElementsAre(29));

    // Another chart, and at once the first again: the last one that was picked stays.
    page->ShowChart("rest", 8);
    EXPECT_TRUE(WaitFor([&] { return page->GetChart()->GetDescription().Name == "rest" && HasRows(*page); }));
    EXPECT_EQ(GetNumRows(), 2);
    page->ShowChart("work", 7);
    EXPECT_TRUE(WaitFor([&] { return page->GetChart()->GetDescription().Name == "work" && HasRows(*page); }));
    for (const QAction* action : mWindow->findChildren<QAction*>())
    {
        const bool needsPicture = action->text().contains("Picture") || action->text() == "&Fit";
        EXPECT_FALSE(needsPicture && action->isEnabled()) << action->text().toStdString();
    }

    // What is on the screen, which a widget with OpenGL would have left black.
    EXPECT_TRUE(WaitFor([&] {
        const QImage screen = mWindow->screen()->grabWindow(mWindow->winId()).toImage();
        const QLabel& message = Find<QLabel>("blankMessage");
        const QColor base = message.palette().color(QPalette::Base);
        const QColor window = mWindow->palette().color(QPalette::Window);
        return screen.pixelColor(message.mapTo(mWindow.get(), QPoint{20, 20})) == base &&
               screen.pixelColor(mWindow->width() - 3, mWindow->height() - 3) == window;
    }));
}

}

}
