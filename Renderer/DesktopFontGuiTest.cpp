#include "Renderer/DesktopFont.h"
#include "Renderer/FontManager.h"
#include "Renderer/RenderContext.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// A desktop is asked once in a process, so each one of these has a process of its own, which says what it found.

namespace
{
using namespace Renderer;

/// An environment variable for the processes that are started while it lives.
class Variable
{
public:
    Variable(const char* name, const std::string& value) : mName{name}
    {
        const char* const before = std::getenv(name);
        mWasSet = before != nullptr;
        mBefore = mWasSet ? before : "";
        setenv(name, value.c_str(), 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { mWasSet ? setenv(mName, mBefore.c_str(), 1) : unsetenv(mName); }

private:
    const char* mName;
    bool mWasSet;
    std::string mBefore;
};

void TellAndExit()
{
    RenderContext context;
    const FaceRequest& face = context.GetFonts().GetDefaultFont().GetFace();
    std::fprintf(stderr, "%s, %d%s, line of %g", context.GetFonts().GetDefaultFontName().c_str(), face.mWeight,
        face.mIsItalic ? ", italic" : "", static_cast<double>(GetDefaultFontSize()));
    std::_Exit(0);
}

TEST(DesktopFontGuiTest, FaceAndSizeAreThoseOfTheDesktop)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::filesystem::path folder = std::filesystem::path{::testing::TempDir()} / "DesktopFontGuiTest";
    std::filesystem::create_directories(folder);
    const Variable configuration{"XDG_CONFIG_HOME", folder.string()};
    const Variable session{"KDE_SESSION_VERSION", "5"};
    // What points are worth.
    const Variable dpi{"QT_FONT_DPI", "96"};
    const struct
    {
        const char* mDesktop;
        const char* mPlatform;
        /// Family, points, pixels, style hint, weight, italic and more, as Qt writes them down.
        const char* mFont;
        const char* mFound;
    } rows[] = {
        {"KDE", "xcb", "DejaVu Serif,-1,15,5,75,1,0,0,0,0", "^DejaVu Serif, 700, italic, line of 14$"},
        {"KDE", "xcb", "DejaVu Sans Mono,12,-1,5,50,0,0,0,0,0", "^DejaVu Sans Mono, 400, line of 15$"},
        {"KDE", "xcb", "DejaVu Sans,-1,13,5,25,0,0,0,0,0", "^DejaVu Sans, 300, line of 12$"},
        // Without a desktop: what Qt takes for its own windows.
        {"", "xcb", "", "^Sans Serif, 400, line of 11$"},
        {"", "offscreen", "", "^.+, 400, line of [0-9]+$"},
    };
    for (const auto& row : rows)
    {
        std::ofstream{folder / "kdeglobals"} << "[General]\nfont=" << row.mFont << '\n';
        const Variable desktop{"XDG_CURRENT_DESKTOP", row.mDesktop};
        const Variable platform{"QT_QPA_PLATFORM", row.mPlatform};
        EXPECT_EXIT(TellAndExit(), ::testing::ExitedWithCode(0), row.mFound) << row.mDesktop << ' ' << row.mFont;
    }
    std::filesystem::remove_all(folder);
}
}
