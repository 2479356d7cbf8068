#include "Utility/Path.h"

#include <gtest/gtest.h>

namespace
{
using namespace FileSystem;

TEST(PathTest, PartsOfAPath)
{
    struct
    {
        const char* mPath;
        const char* mDirectory;
        const char* mFileName;
        const char* mBaseName;
        const char* mExtension;
    } const rows[] = {
        {"", "", "", "", ""},
        {"a/b\\archive.TAR.GZ", "a/b", "archive.TAR.GZ", "archive.TAR", "gz"},
        {"C:\\dir/File", "C:\\dir", "File", "File", "C:\\dir/File"},
        {"/file", "", "file", "file", "/file"},
        {"dir.d/File", "dir.d", "File", "File", "d/file"},
        {"dir/.hidden", "dir", ".hidden", "", "hidden"},
        {"dir/", "dir", "", "", "dir/"},
        {"end.", "", "end.", "end", ""},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(gGetDirectory(row.mPath), row.mDirectory) << row.mPath;
        EXPECT_EQ(gGetFileName(row.mPath), row.mFileName) << row.mPath;
        EXPECT_EQ(gGetBaseName(row.mPath), row.mBaseName) << row.mPath;
        EXPECT_EQ(gGetExtension(row.mPath), row.mExtension) << row.mPath;
    }
}

TEST(PathTest, NormalizingResolvesDotsOnlyWhereThereAreSome)
{
    const char* const rows[][2] = {
        {"a/b/c", "a/b/c"},
        {"a\\b//c/", "a\\b//c/"},
        {"a/..", "a/.."},
        {"a/b/../c", "a/c"},
        {"a\\b\\..\\c\\", "a/c"},
        {"./a//b", "a/b"},
        {"../../a/../b", "../../b"},
        {"a/../../b", "../b"},
        {"a./b/", "a./b"},
        {"./", ""},
        {"/a/./b", "/a/b"},
        {"/a/../../b", "/b"},
        {"/a/../", "/"},
    };
    for (const auto& [path, normal] : rows)
    {
        EXPECT_EQ(gNormalizePath(path), normal) << path;
    }
}

TEST(PathTest, CombiningPutsExactlyOneSeparator)
{
    const char* const rows[][3] = {
        {"a", "b", "a/b"},
        {"a/", "b", "a/b"},
        {"a", "\\b", "a\\b"},
        {"a/", "/b", "a/b"},
        {"a\\", "/b", "a\\b"},
        {"", "b", "b"},
        {"a", "", "a"},
        {"/", "b", "/b"},
        {"a/b", "../c", "a/c"},
        {"/a/b", "../../../c", "/c"},
        {"./", "b", "b"},
    };
    for (const auto& [a, b, combined] : rows)
    {
        EXPECT_EQ(gCombinePath(a, b), combined) << a << " and " << b;
    }
}

TEST(PathTest, KeysIgnoreCaseAndEqualityDoesNot)
{
    EXPECT_EQ(gGetPathKey("C:\\Dir/File.TXT"), "c:/dir/file.txt");
    EXPECT_TRUE(gPathsEqual("a\\b/c", "a/b\\c"));
    EXPECT_FALSE(gPathsEqual("a/b", "a/B"));
    EXPECT_FALSE(gPathsEqual("a/b", "a/b/"));
    EXPECT_EQ(gGetNativePath("a\\b/c"), "a/b/c");
    EXPECT_EQ(gGetNativePath(std::string_view("a\0b", 3)), "");
}
}
