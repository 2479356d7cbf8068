#include "Utility/FileWriter.h"

#include "Utility/FailingFileCalls.h"
#include "Utility/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>
#include <system_error>

namespace
{
using namespace FileSystem;
using Internal::FailingFileCalls;
using Internal::FileCalls;
using Internal::ScopedFileCalls;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int gNoSpace = static_cast<int>(std::errc::no_space_on_device);

std::span<const std::byte> AsBytes(std::string_view text)
{
    return std::as_bytes(std::span<const char>(text));
}

class FileWriterTest : public ::testing::Test
{
protected:
    TemporaryFolder mFolder;
    FailingFileCalls mCalls;
    const ScopedFileCalls mScope{mCalls};
    FileError mError;
};

TEST_F(FileWriterTest, ReplacedFileIsOldOrNewWhicheverOperationFails)
{
    const std::string path = mFolder.Write("settings.json", "the old content");
    ASSERT_TRUE(gReplaceFile(path, AsBytes("the old content"), mError));
    mCalls.Heal();
    ASSERT_TRUE(gReplaceFile(path, AsBytes("the old content"), mError));
    const int operations = mCalls.GetCount();
    ASSERT_GE(operations, 7);

    mCalls.SetTearsWrites(true);
    for (const bool persists : {false, true})
    {
        for (int operation = 0; operation < operations; ++operation)
        {
            SCOPED_TRACE(::testing::Message() << "operation " << operation << (persists ? " and all that follow" : ""));
            mFolder.Write("settings.json", "the old content");
            mCalls.FailAt(operation, gNoSpace, persists);
            EXPECT_FALSE(gReplaceFile(path, AsBytes("the new content"), mError));
            mCalls.Heal();

            EXPECT_NE(mError.mOperation, EFileOperation::None);
            EXPECT_EQ(mError.mNumber, gNoSpace);
            EXPECT_THAT(mError.ToString(), HasSubstr("settings.json: No space left on device"));
            const bool isNew = mError.mOperation == EFileOperation::SyncDirectory;
            EXPECT_EQ(mFolder.Read("settings.json"), isNew ? "the new content" : "the old content");
            EXPECT_THAT(mFolder.List(), ElementsAre("settings.json"));
        }
    }
}

TEST(FileWriter, FilesThatWaitForTheirFolderAreWaitedForWithIt)
{
    // What was waited for, by the names of files: the system knows no more of an open one than that.
    class NotedSyncs final : public FileCalls
    {
    public:
        int Sync(int file) override
        {
            mNames.push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file)).filename());
            return 0;
        }
        int SyncDirectory(const char* path) override
        {
            mNames.push_back(std::filesystem::path(path).filename());
            return 0;
        }
        std::vector<std::string> mNames;
    };

    TemporaryFolder folder;
    NotedSyncs calls;
    const ScopedFileCalls scope{calls};
    FileError error;
    std::filesystem::create_directories(folder / "tree/inner");
    std::filesystem::create_symlink(folder / "tree", folder / "tree/link");
    for (const char* name : {"tree/a", "tree/inner/b"})
    {
        ASSERT_TRUE(gReplaceFile(folder / name, AsBytes("text"), error, EDurability::WithFolder));
    }
    EXPECT_TRUE(calls.mNames.empty());
    ASSERT_TRUE(gSyncTree(folder / "tree", error));
    EXPECT_THAT(calls.mNames, ::testing::UnorderedElementsAre("a", "b", "inner", "tree"));
    EXPECT_EQ(calls.mNames.back(), "tree");
    EXPECT_FALSE(gSyncTree(folder / "missing", error));
    EXPECT_THAT(error.ToString(), HasSubstr("missing: No such file"));
}

TEST_F(FileWriterTest, TreeIsNotDurableWhicheverOperationFails)
{
    mFolder.Write("a", "text");
    std::filesystem::create_directory(mFolder / "inner");
    mFolder.Write("inner/b", "text");
    mCalls.Heal();
    ASSERT_TRUE(gSyncTree(mFolder.GetPath(), mError));
    const int operations = mCalls.GetCount();
    ASSERT_GE(operations, 6);
    for (int operation = 0; operation < operations; ++operation)
    {
        mCalls.FailAt(operation, gNoSpace, false);
        EXPECT_FALSE(gSyncTree(mFolder.GetPath(), mError)) << operation;
        EXPECT_EQ(mError.mNumber, gNoSpace);
        EXPECT_EQ(mCalls.GetNumOpen(), 0);
    }
}

TEST_F(FileWriterTest, ShortTransfersAreContinued)
{
    mCalls.SetLongestTransfer(3);
    ASSERT_TRUE(gReplaceFile(mFolder / "file", AsBytes("more than three bytes"), mError));
    EXPECT_EQ(mFolder.Read("file"), "more than three bytes");
}

TEST_F(FileWriterTest, WriterLeavesNothingWithoutCommitAndStaysFailed)
{
    mFolder.Write("file", "old");
    {
        AtomicFileWriter writer;
        ASSERT_TRUE(writer.Open(mFolder / "file", mError));
        ASSERT_TRUE(writer.Write(AsBytes("abandoned"), mError));
        EXPECT_EQ(mFolder.List().size(), 2u);
    }
    EXPECT_THAT(mFolder.List(), ElementsAre("file"));

    AtomicFileWriter writer;
    ASSERT_TRUE(writer.Open(mFolder / "file", mError));
    mCalls.FailAt(0, gNoSpace, false);
    EXPECT_FALSE(writer.Write(AsBytes("first"), mError));
    EXPECT_FALSE(writer.Write(AsBytes("second"), mError));
    EXPECT_FALSE(writer.Commit(mError));
    EXPECT_EQ(mError.mNumber, gNoSpace);
    EXPECT_EQ(mFolder.Read("file"), "old");
    EXPECT_THAT(mFolder.List(), ElementsAre("file"));

    ASSERT_TRUE(writer.Open(mFolder / "file", mError)) << "a new start clears the failure";
    ASSERT_TRUE(writer.Write(AsBytes("in "), mError) && writer.Write(AsBytes("pieces"), mError));
    ASSERT_TRUE(writer.Commit(mError));
    EXPECT_EQ(mFolder.Read("file"), "in pieces");
}

TEST_F(FileWriterTest, ReplacingKeepsLinksPermissionsAndLongNames)
{
    namespace fs = std::filesystem;
    const std::string target = mFolder.Write("kept/target", "old");
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(target, mFolder / "link");
    ASSERT_TRUE(gReplaceFile(mFolder / "link", AsBytes("new"), mError)) << mError.ToString();
    EXPECT_TRUE(fs::is_symlink(mFolder / "link"));
    EXPECT_EQ(mFolder.Read("kept/target"), "new");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read | fs::perms::owner_write);

    const std::string longest(255, 'n');
    EXPECT_TRUE(gReplaceFile(mFolder / longest, AsBytes("content"), mError)) << mError.ToString();
    EXPECT_EQ(mFolder.Read(longest), "content");
}

TEST(TemporaryNameTest, TellsWhatItWasFor)
{
    const std::pair<const char*, const char*> rows[] = {
        {"events.index.0123456789ABCDEF.tmp", "events.index"},
        {"events.index.0123456789abcdef.tmp", "events.index.0123456789abcdef.tmp"},
        {"events.index.0123456789ABCDE.tmp", "events.index.0123456789ABCDE.tmp"},
        {"events.index-0123456789ABCDEF.tmp", "events.index-0123456789ABCDEF.tmp"},
        {".0123456789ABCDEF.tmp", ".0123456789ABCDEF.tmp"},
        {"letter.tmp", "letter.tmp"},
        {"", ""},
    };
    for (const auto& [name, expected] : rows)
    {
        EXPECT_EQ(gStripTemporaryName(name), expected);
    }
    EXPECT_EQ(gStripTemporaryName(gMakeTemporaryPath("/a/b.dat")), "/a/b.dat");
}

TEST_F(FileWriterTest, ErrorsNameOperationFileAndReason)
{
    EXPECT_FALSE(gReplaceFile(mFolder / "missing/file", AsBytes("x"), mError));
    EXPECT_EQ(mError.ToString(), "Unable to open " + (mFolder / "missing/file") + ": No such file or directory");
    EXPECT_EQ(mError.GetReason(), "No such file or directory");

    AppendFile append;
    EXPECT_FALSE(append.Open(mFolder.GetPath(), mError));
    EXPECT_EQ(mError.mNumber, static_cast<int>(std::errc::is_a_directory));
    EXPECT_FALSE(append.IsOpen());
    EXPECT_EQ(FileError().ToString(), "");

    InputFile zero;
    EXPECT_FALSE(zero.Open(std::string("/dev/null\0/x", 12), mError)) << "a zero byte must not cut a path short";
}

TEST_F(FileWriterTest, AppendFileIsReadBesideItsWriter)
{
    AppendFile writer;
    ASSERT_TRUE(writer.Open(mFolder / "events.dat", mError));
    ASSERT_TRUE(writer.WriteAt(0, AsBytes("0123456789"), mError) && writer.Sync(mError));
    InputFile reader;
    ASSERT_TRUE(reader.Open(mFolder / "events.dat", mError));
    InputFile moved = std::move(reader);
    EXPECT_FALSE(reader.IsOpen());

    struct
    {
        std::uint64_t mOffset;
        std::size_t mAsked;
        std::string_view mFound;
    } const rows[] = {{0, 4, "0123"}, {6, 10, "6789"}, {10, 4, ""}, {50, 1, ""}, {3, 0, ""}};
    for (const auto& row : rows)
    {
        std::string found(row.mAsked, '?');
        const auto target = std::as_writable_bytes(std::span<char>(found));
        const std::optional<std::size_t> count = moved.ReadAt(row.mOffset, target, mError);
        ASSERT_TRUE(count.has_value());
        EXPECT_EQ(found.substr(0, *count), row.mFound) << row.mOffset;
    }

    ASSERT_TRUE(writer.Close(mError));
    ASSERT_TRUE(writer.Close(mError)) << "closing twice is closing once";
    ASSERT_TRUE(writer.Open(mFolder / "events.dat", mError));
    std::uint64_t size = 0;
    ASSERT_TRUE(writer.GetSize(size, mError) && writer.WriteAt(size, AsBytes("abc"), mError));
    ASSERT_TRUE(writer.Truncate(12, mError));
    EXPECT_EQ(mFolder.Read("events.dat"), "0123456789ab");
}

TEST_F(FileWriterTest, FailedFlushStaysFailedUntilItsBytesAreWrittenAgain)
{
    AppendFile file;
    ASSERT_TRUE(file.Open(mFolder / "events.dat", mError));
    ASSERT_TRUE(file.WriteAt(0, AsBytes("first"), mError) && file.Sync(mError));
    ASSERT_TRUE(file.WriteAt(5, AsBytes("second"), mError));
    mCalls.FailAt(0, static_cast<int>(std::errc::io_error), false);
    EXPECT_FALSE(file.Sync(mError));

    EXPECT_FALSE(file.Sync(mError)) << "the system would report success, and the bytes may be lost";
    EXPECT_EQ(mError.mOperation, EFileOperation::Sync);
    EXPECT_EQ(mError.mNumber, static_cast<int>(std::errc::io_error));
    ASSERT_TRUE(file.Truncate(7, mError));
    EXPECT_FALSE(file.Sync(mError)) << "two bytes of the lost write are still there";
    ASSERT_TRUE(file.Truncate(5, mError));
    ASSERT_TRUE(file.WriteAt(5, AsBytes("again"), mError));
    EXPECT_TRUE(file.Sync(mError));
    EXPECT_EQ(mFolder.Read("events.dat"), "firstagain");
}

TEST_F(FileWriterTest, TornAppendIsCutOffAndRepeated)
{
    AppendFile file;
    ASSERT_TRUE(file.Open(mFolder / "events.dat", mError));
    ASSERT_TRUE(file.WriteAt(0, AsBytes("whole."), mError) && file.Sync(mError));
    mCalls.SetTearsWrites(true);
    mCalls.FailAt(0, gNoSpace, false);
    EXPECT_FALSE(file.WriteAt(6, AsBytes("torn chunk"), mError));
    EXPECT_THAT(mError.ToString(), HasSubstr("Unable to write"));
    EXPECT_EQ(mFolder.Read("events.dat"), "whole.torn ");
    ASSERT_TRUE(file.Truncate(6, mError) && file.WriteAt(6, AsBytes("next"), mError) && file.Sync(mError));
    EXPECT_EQ(mFolder.Read("events.dat"), "whole.next");
}

TEST_F(FileWriterTest, EveryFailureOfAnAppendFileIsReported)
{
    for (int operation = 0;; ++operation)
    {
        mCalls.FailAt(operation, gNoSpace, false);
        AppendFile file;
        std::uint64_t size = 0;
        const std::string path = mFolder / ("file" + std::to_string(operation));
        const bool isDone = file.Open(path, mError) && file.WriteAt(0, AsBytes("abc"), mError) &&
                            file.GetSize(size, mError) && file.Sync(mError) && file.Truncate(1, mError) &&
                            file.Close(mError);
        if (isDone)
        {
            // The last operation is the end of the loop: there was nothing left to fail.
            EXPECT_EQ(operation, mCalls.GetCount());
            EXPECT_EQ(operation, 8);
            break;
        }
        EXPECT_EQ(mError.mNumber, gNoSpace) << operation;
    }
}
}
