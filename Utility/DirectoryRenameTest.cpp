#include "Utility/DirectoryRename.h"

#include "Utility/FailingFileCalls.h"
#include "Utility/FileSystem.h"
#include "Utility/TemporaryFolder.h"

#include <string>
#include <system_error>

#include <gmock/gmock.h>

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

/// Some file systems of networks are like that.
class PlainFileCalls final : public Internal::FailingFileCalls
{
public:
    int RenameWithoutReplacing(const char*, const char*) override { return Refuse(); }
    int Exchange(const char*, const char*) override { return Refuse(); }

private:
    static int Refuse() { return -static_cast<int>(std::errc::invalid_argument); }
};

TEST_F(DirectoryRename, ManagesWithPlainRenamesAndStepsBackWhenOneFails)
{
    MakeDirectory("a");
    MakeDirectory("b");
    PlainFileCalls calls;
    const Internal::ScopedFileCalls scope(calls);
    int operation = 0;
    for (;; ++operation)
    {
        calls.FailAt(operation, static_cast<int>(std::errc::io_error), false);
        const bool isDone = gExchange(mDirectory / "a", mDirectory / "b", mError);
        const bool hasFailed = calls.HasFailed();
        calls.Heal();
        EXPECT_NE(isDone, hasFailed);
        EXPECT_THAT(mDirectory.ListEntries(), testing::ElementsAre("a", "a/content", "b", "b/content"));
        EXPECT_EQ(GetContent("a"), isDone ? "b" : "a");
        EXPECT_EQ(GetContent("b"), isDone ? "a" : "b");
        if (isDone)
        {
            break;
        }
        EXPECT_TRUE(FailsWith(std::errc::io_error));
    }
    EXPECT_EQ(operation, 3);

    EXPECT_FALSE(gRenameWithoutReplacing(mDirectory / "a", mDirectory / "b", mError));
    EXPECT_TRUE(FailsWith(std::errc::file_exists));
    EXPECT_TRUE(gRenameWithoutReplacing(mDirectory / "a", mDirectory / "c", mError)) << mError.ToString();
    EXPECT_EQ(GetContent("c"), "b");
}
}
}
