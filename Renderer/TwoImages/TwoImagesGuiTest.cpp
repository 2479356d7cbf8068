#include "Renderer/RenderContext.h"
#include "Renderer/TwoImages/Frame.h"

#include "System/DynamicLibrary.h"
#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// The program makes a RenderContext and hands it to a module, as the host does with its plug-ins: both are linked with
// the renderer and keep its names to themselves, so that each runs its own code on the same objects.

namespace
{
using Renderer::RenderContext;
using TwoImages::Frame;

class TwoImagesGuiTest : public ::testing::Test
{
protected:
    TwoImagesGuiTest() { Utility::gSetTraceSinks({mSink}); }
    ~TwoImagesGuiTest() override { Utility::gSetTraceSinks(mSinksBefore); }

    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(mModule.Open(TWO_IMAGES_MODULE, error)) << error;
        const auto getOperations = reinterpret_cast<TwoImages::GetOperations>(mModule.Find(TwoImages::gExportedName));
        ASSERT_NE(getOperations, nullptr);
        mTheirs = getOperations();
        ASSERT_NE(mTheirs.Initialise, mOurs.Initialise) << "the module has code of its own";
        mTheirs.SetTraceSink(mSink);
    }

    std::unique_ptr<Frame> CreateFrame(const TwoImages::Operations& image)
    {
        return std::unique_ptr<Frame>{image.CreateFrame(*mContext)};
    }

    QImage Paint(Frame& frame)
    {
        EXPECT_TRUE(mGL->MakeCurrent());
        frame.Paint();
        return mGL->Read();
    }

    /// As the program draws it when it is alone.
    static QImage sDrawAlone()
    {
        Tests::OffscreenGL gl(200, 120);
        RenderContext context;
        EXPECT_TRUE(gl.MakeCurrent() && context.Initialise());
        const std::unique_ptr<Frame> frame{TwoImages::gGetOperations().CreateFrame(context)};
        frame->Paint();
        return gl.Read();
    }

    static bool sIsModuleLoaded()
    {
        std::ifstream maps{"/proc/self/maps"};
        const std::string text{std::istreambuf_iterator<char>{maps}, {}};
        return text.find(TWO_IMAGES_MODULE) != std::string::npos;
    }

    int mLines = 0;
    const Utility::TraceSink mSink{[](const char*, void* context) { ++*static_cast<int*>(context); }, &mLines};
    // Unloaded after all that its code made in the context.
    System::DynamicLibrary mModule;
    TwoImages::Operations mTheirs;
    const TwoImages::Operations mOurs = TwoImages::gGetOperations();
    std::unique_ptr<Tests::OffscreenGL> mGL = std::make_unique<Tests::OffscreenGL>(200, 120);
    std::unique_ptr<RenderContext> mContext = std::make_unique<RenderContext>();
    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
};

TEST_F(TwoImagesGuiTest, BothDrawWithAContextThatEitherHasStarted)
{
    const QImage expected = sDrawAlone();
    for (const auto& [first, second] : {std::pair{mTheirs, mOurs}, std::pair{mOurs, mTheirs}})
    {
        SCOPED_TRACE(first.CreateFrame == mTheirs.CreateFrame ? "the module first" : "the program first");
        mContext = std::make_unique<RenderContext>();
        mLines = 0;
        ASSERT_TRUE(mGL->MakeCurrent() && first.Initialise(*mContext));
        EXPECT_GT(mLines, 0) << "of the shaders";
        std::unique_ptr<Frame> one = CreateFrame(first);
        EXPECT_EQ(Paint(*one), expected);
        EXPECT_TRUE(second.Initialise(*mContext));
        std::unique_ptr<Frame> other = CreateFrame(second);
        EXPECT_EQ(Paint(*other), expected) << "with programs, fonts and glyphs that the first one made";
        EXPECT_EQ(Paint(*one), expected);
        one.reset();
        EXPECT_EQ(Paint(*CreateFrame(second)), expected) << "in geometry that the first one gave back";
        EXPECT_EQ(Paint(*other), expected);
        other.reset();
    }
}

TEST_F(TwoImagesGuiTest, TheEndOfAGLContextReachesWhatEitherHasMade)
{
    const QImage expected = sDrawAlone();
    ASSERT_TRUE(mGL->MakeCurrent() && mTheirs.Initialise(*mContext));
    const std::unique_ptr<Frame> before = CreateFrame(mTheirs);
    Paint(*before);
    // The module watches this one: it was the first to draw in it.
    auto second = std::make_unique<Tests::OffscreenGL>(200, 120, mGL.get());
    ASSERT_TRUE(second->MakeCurrent());
    before->Paint();
    mGL = std::move(second);
    EXPECT_TRUE(mContext->IsInitialised());
    EXPECT_EQ(Paint(*before), expected);

    mGL.reset();
    EXPECT_FALSE(mContext->IsInitialised());
    mGL = std::make_unique<Tests::OffscreenGL>(200, 120);
    ASSERT_TRUE(mGL->MakeCurrent() && mOurs.Initialise(*mContext));
    EXPECT_EQ(Paint(*CreateFrame(mTheirs)), expected);
    EXPECT_EQ(Paint(*CreateFrame(mOurs)), expected);
}

TEST_F(TwoImagesGuiTest, TheProgramEndsWhatTheModuleHasMadeInItsContextBeforeItUnloadsIt)
{
    ASSERT_TRUE(mGL->MakeCurrent() && mTheirs.Initialise(*mContext));
    std::unique_ptr<Frame> frame = CreateFrame(mTheirs);
    Paint(*frame);
    frame.reset();
    mContext.reset();
    ASSERT_TRUE(sIsModuleLoaded());
    mModule = {};
#ifndef __SANITIZE_THREAD__ // which keeps modules loaded
    ASSERT_FALSE(sIsModuleLoaded());
#endif
    // The GL context ends, and calls nothing of the module, which had watched it.
    mGL.reset();
    sDrawAlone();
}
}
