#include <gtest/gtest.h>

#include <QtGui/QGuiApplication>

#include <memory>

namespace
{

/// The application object that Qt's contexts and windows need, while the tests run; listing them needs none.
class GuiApplication final : public ::testing::Environment
{
    void SetUp() override { mApplication = std::make_unique<QGuiApplication>(mArgumentCount, mArguments); }
    void TearDown() override { mApplication.reset(); }

    int mArgumentCount = 1;
    char mName[6] = "Tests";
    char* mArguments[2] = {mName, nullptr};
    std::unique_ptr<QGuiApplication> mApplication;
};

const auto* const gApplication = ::testing::AddGlobalTestEnvironment(new GuiApplication);

}
