#include "Renderer/DesktopFont.h"

#include <gtest/gtest.h>

namespace
{
using namespace Renderer;

TEST(DesktopFontTest, WithoutADesktopItIsTheTypefaceThatIsAlwaysThere)
{
    const DesktopFont font = gGetDesktopFont();
    EXPECT_EQ(font.mFace.mName, "DejaVu Sans");
    EXPECT_EQ(font.mFace.mWeight, FaceRequest::cRegular);
    EXPECT_FALSE(font.mFace.mIsItalic);
    EXPECT_EQ(font.mPixels, 0);
    EXPECT_EQ(GetDefaultFontSize(), 11.5f) << "a screen of 96 dots per inch is taken for granted";
}
}
