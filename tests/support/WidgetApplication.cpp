#include <gtest/gtest.h>

#include <QtWidgets/QApplication>

#include <memory>

namespace
{

/// The application object that widgets need, while the tests run; listing them needs none.
class WidgetApplication final : public ::testing::Environment
{
    void SetUp() override
    {
        // As the program does: all windows draw with one render context.
        QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
        mApplication = std::make_unique<QApplication>(mArgumentCount, mArguments);
    }
    void TearDown() override { mApplication.reset(); }

    int mArgumentCount = 1;
    char mName[6] = "Tests";
    char* mArguments[2] = {mName, nullptr};
    std::unique_ptr<QApplication> mApplication;
};

const auto* const gApplication = ::testing::AddGlobalTestEnvironment(new WidgetApplication);

}
