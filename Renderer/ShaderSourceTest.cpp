#include "Renderer/ShaderSource.h"
#include "Renderer/EmbeddedResources.h"

#include <gmock/gmock.h>

#include <cstring>

namespace
{
using namespace Renderer;

TEST(ShaderSourceTest, VersionIsTheFirstTwoNumbersOfWhatTheDriverSays)
{
    struct Row
    {
        const char* mText;
        bool mIsVersion;
        int mMajor;
        int mMinor;
    };
    for (const Row& row : {Row{"4.5 (Compatibility Profile) Mesa 22.3.6", true, 4, 5},
             Row{"3.3.0 Vendor 12.7", true, 3, 3}, Row{"2.1", true, 2, 1}, Row{"OpenGL ES 3.2", false, 0, 0},
             Row{"", false, 0, 0}, Row{"4", false, 0, 0}, Row{nullptr, false, 0, 0}})
    {
        int majorVersion = -1;
        int minorVersion = -1;
        EXPECT_EQ(gParseGLVersion(row.mText, majorVersion, minorVersion), row.mIsVersion);
        EXPECT_EQ(majorVersion, row.mMajor);
        EXPECT_EQ(minorVersion, row.mMinor);
    }
}

TEST(ShaderSourceTest, RewritesEveryVersionNumber)
{
    struct Row
    {
        const char* mSource;
        const char* mRewritten;
    };
    for (const Row& row :
        {Row{"#version 140\nvoid main() {}\n", "#version 460\nvoid main() {}\n"}, Row{"#version 140", "#version 460"},
            Row{"#version140", "#version 460"}, Row{"#version \t\r\n 140 core\n", "#version 460 core\n"},
            Row{"x#version 1#version 2", "x#version 460#version 460"},
            Row{"#version#version 300 es", "#version#version 460 es"}})
    {
        EXPECT_EQ(gRewriteShaderVersion(row.mSource, 4, 6), row.mRewritten);
    }
    for (const char* source : {"", "void main() {}", "#version", "#version \n", "#versio 140", "#version -1"})
    {
        EXPECT_EQ(gRewriteShaderVersion(source, 4, 6), source);
    }
    EXPECT_EQ(gRewriteShaderVersion("#version 400\n", 3, 3), "#version 330\n");
}

TEST(ShaderSourceTest, AnArrayIsNamedWithoutItsIndex)
{
    EXPECT_EQ(gRemoveArraySuffix("weights[0]"), "weights");
    EXPECT_EQ(gRemoveArraySuffix("lights[0].colours[2]"), "lights");
    EXPECT_EQ(gRemoveArraySuffix("lights[0].colour"), "lights.colour");
    for (const char* name : {"inModel", "", "a[", "a]", "]a["})
    {
        EXPECT_EQ(gRemoveArraySuffix(name), name);
    }
}

TEST(EmbeddedResourcesTest, EveryShaderIsInTheImageAndBeginsWithItsVersion)
{
    for (const char* name : {"Bar_vs.cg", "Bar_ps.cg", "Default_vs.cg", "Default_ps.cg", "DashedLine_vs.cg",
             "DashedLine_ps.cg", "HatchPattern_vs.cg", "HatchPattern_ps.cg", "LineShadow_vs.cg", "LineShadow_ps.cg",
             "font_vs.cg", "font_ps.cg", "fontrender.compute"})
    {
        const std::string fullName = std::string("Renderer/Shaders/") + name;
        const EmbeddedResource resource = EmbeddedResources::sGet().FindResource(fullName);
        EXPECT_EQ(resource.mName, fullName);
        ASSERT_NE(resource.mData, nullptr) << name;
        EXPECT_EQ(resource.mSize, std::strlen(resource.mData));
        EXPECT_THAT(resource.mData, ::testing::StartsWith("#version "));
        EXPECT_THAT(resource.mData, ::testing::EndsWith("}\n"));
    }
    EXPECT_EQ(gGetEmbeddedShaders().size(), 13u);
}

TEST(EmbeddedResourcesTest, AnUnknownNameGivesNothingAndAKnownOneKeepsItsFirstData)
{
    EmbeddedResources resources;
    EmbeddedResourceGroup& group = resources.GetGroup("Group");
    group.RegisterResource("Folder/Entry", "first", 5);
    group.RegisterResource("Folder/Entry", "second", 6);
    EXPECT_STREQ(resources.FindResource("Group/Folder/Entry").mData, "first");
    EXPECT_EQ(resources.FindResource("Group/Folder/Entry").mSize, 5u);
    for (const char* name : {"", "Entry", "Group", "Group/", "Other/Folder/Entry", "Group/Entry", "/Folder/Entry"})
    {
        const EmbeddedResource resource = resources.FindResource(name);
        EXPECT_EQ(resource.mData, nullptr) << name;
        EXPECT_EQ(resource.mSize, ~std::uint64_t{0}) << name;
        EXPECT_EQ(resource.mName, name);
    }
}
}
