#include "Utility/DirectoryRename.h"

#include "Utility/FileSystem.h"
#include "Utility/TemporaryFolder.h"

#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace FileSystem
{
namespace
{
class DirectoryRename : public testing::Test
{
protected:
    void MakeDirectory(const std::string& name)
    {
        ASSERT_TRUE(gCreateNewDirectory(mDirectory / name, mError)) << mError.ToString();
        mDirectory.Write(name + "/content", name);
    }
    std::string GetContent(const std::string& name) { return mDirectory.Read(name + "/content"); }
    bool FailsWith(std::errc reason) { return mError.mNumber == static_cast<int>(reason); }

    TemporaryFolder mDirectory;
    FileError mError;
};

TEST_F(DirectoryRename, NeverReplaces)
{
    MakeDirectory("a");
    EXPECT_FALSE(gCreateNewDirectory(mDirectory / "a", mError));
    EXPECT_TRUE(FailsWith(std::errc::file_exists));

    ASSERT_TRUE(gCreateNewDirectory(mDirectory / "empty", mError));
    EXPECT_FALSE(gRenameWithoutReplacing(mDirectory / "a", mDirectory / "empty", mError));
    EXPECT_TRUE(FailsWith(std::errc::file_exists));
    EXPECT_EQ(GetContent("a"), "a");

    EXPECT_TRUE(gRenameWithoutReplacing(mDirectory / "a", mDirectory / "b", mError));
    EXPECT_EQ(GetContent("b"), "a");
    EXPECT_FALSE(gFileExists(mDirectory / "a"));
}

TEST_F(DirectoryRename, ExchangesNames)
{
    MakeDirectory("a");
    MakeDirectory("b");
    ASSERT_TRUE(gExchange(mDirectory / "a", mDirectory / "b", mError)) << mError.ToString();
    EXPECT_EQ(GetContent("a"), "b");
    EXPECT_EQ(GetContent("b"), "a");

    EXPECT_FALSE(gExchange(mDirectory / "a", mDirectory / "missing", mError));
    EXPECT_TRUE(FailsWith(std::errc::no_such_file_or_directory));
    EXPECT_EQ(GetContent("a"), "b");
}
}
}
