#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Where there is no OpenGL to draw with: nothing is drawn, nothing crashes, and the reason is there to be shown.

namespace
{
using namespace Renderer;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RenderContextStartGuiTest : public ::testing::Test
{
protected:
    RenderContextStartGuiTest()
    {
        Utility::gSetTraceSinks({{[](const char* line, void* context) {
                                      // Without the time.
                                      static_cast<std::vector<std::string>*>(context)->emplace_back(line + 12);
                                  },
            &mLines}});
    }
    ~RenderContextStartGuiTest() override { Utility::gSetTraceSinks(mSinksBefore); }

    /// A widget's first frame, with all that needs a program, a texture, a buffer.
    static void sPaint(RenderContext& context)
    {
        PrimitiveRenderer renderer(context, 1.0f);
        renderer.SetViewportSize(64, 64);
        PrimitiveList list(100);
        context.DeletePendingVertexArrays();
        context.BeginFrame();
        context.Clear({1, 1, 1, 1});
        renderer.BeginList(list, {0, 0, 64, 64}, {0, 0});
        list.FillRect({16, 16}, {48, 48}, {1, 0, 0, 1}, 5);
        list.DrawDashedLine({0, 0}, {60, 60}, 2, 5, 0, {1, 0, 0, 1}, 3);
        list.DrawText({0, 0}, 12, {1, 0, 0, 1}, "text", 1);
        renderer.Flush();
        context.EndFrame();
    }

    std::vector<std::string> mLines;
    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
};

TEST_F(RenderContextStartGuiTest, WithoutAContextTheReasonIsKnownAndOneThatComesLaterIsUsed)
{
    RenderContext context;
    EXPECT_EQ(context.GetFailure(), "");
    EXPECT_FALSE(context.Initialise());
    EXPECT_EQ(context.GetFailure(), "Could not initialize Glew.");
    EXPECT_FALSE(context.IsInitialised() || context.HasGL());
    sPaint(context);
    EXPECT_THAT(mLines, ElementsAre("Could not initialize Glew.\n"));

    Tests::OffscreenGL gl(64, 64);
    ASSERT_TRUE(gl.MakeCurrent() && context.Initialise());
    EXPECT_EQ(context.GetFailure(), "");
    sPaint(context);
    EXPECT_EQ(gl.Read().pixelColor(32, 32), QColor(255, 0, 0));

    {
        const Tests::OffscreenGL stranger(8, 8);
        EXPECT_FALSE(context.Initialise());
        EXPECT_THAT(context.GetFailure(), HasSubstr("does not share"));
    }
    EXPECT_TRUE(context.IsInitialised()) << "for the widgets of the first group nothing has changed";
    ASSERT_TRUE(gl.MakeCurrent());
    EXPECT_TRUE(context.Initialise());
    EXPECT_EQ(context.GetFailure(), "");
}

TEST_F(RenderContextStartGuiTest, ADriverThatIsTooOldIsToldFromOneThatIsNot)
{
    // The driver reads that once in a process, so an old one takes another process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto startOnOldDriver = [this] {
        Tests::OffscreenGL gl(64, 64);
        RenderContext context;
        const bool isRefused = gl.MakeCurrent() && !context.Initialise() && !context.HasGL();
        sPaint(context);
        std::fprintf(stderr, "%s (%zu lines)", context.GetFailure().c_str(), mLines.size());
        std::_Exit(isRefused ? 0 : 1);
    };
    const char* const name = "MESA_GL_VERSION_OVERRIDE";
    const char* const before = std::getenv(name);
    const std::string kept = before != nullptr ? before : "";
    for (const char* const version : {"1.4", "2.1", "3.1COMPAT"})
    {
        setenv(name, version, 1);
        EXPECT_EXIT(startOnOldDriver(), ::testing::ExitedWithCode(0), "OpenGL 3.3 is needed.*\\(1 lines\\)") << version;
    }
    before != nullptr ? setenv(name, kept.c_str(), 1) : unsetenv(name);
}
}
