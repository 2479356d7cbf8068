#include "Utility/FileSystem.h"

#include "Utility/FailingFileCalls.h"
#include "Utility/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <system_error>

namespace
{
using namespace FileSystem;
using namespace std::string_view_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FileSystemTest, TextFilesAreConvertedByTheirMark)
{
    const TemporaryFolder folder;
    struct
    {
        const char* mName;
        std::string_view mContent;
        bool mIsReadable;
        std::string_view mText;
    } const rows[] = {
        {"empty", "", true, ""},
        {"one byte", "a", true, "a"},
        {"plain", "h\xC3\xA9", true, "h\xC3\xA9"},
        {"UTF-8 keeps its mark", "\xEF\xBB\xBFx", true, "\xEF\xBB\xBFx"},
        {"not UTF-8 at all", "\xC3(", true, "\xC3("},
        {"half a mark", "\xFF", true, "\xFF"},
        {"UTF-16", "\xFF\xFEh\0\xAC\x20"sv, true, "\xEF\xBB\xBFh\xE2\x82\xAC"},
        {"UTF-16 with a pair", "\xFF\xFE\x3D\xD8\x00\xDE"sv, true, "\xEF\xBB\xBF\xF0\x9F\x98\x80"},
        {"UTF-16 with half a unit", "\xFF\xFEh\0x"sv, true, "\xEF\xBB\xBFh"},
        {"UTF-16 of the mark alone", "\xFF\xFE", true, "\xEF\xBB\xBF"},
        {"UTF-16 with half a pair", "\xFF\xFE\x3D\xD8"sv, false, ""},
        {"UTF-32", "\xFF\xFE\0\0\x00\xF6\x01\0"sv, true, "\xEF\xBB\xBF\xF0\x9F\x98\x80"},
        {"UTF-32 beyond the last", "\xFF\xFE\0\0\0\0\x11\0"sv, false, ""},
        {"big-endian is not told", "\xFE\xFF\0h"sv, true, "\xFE\xFF\0h"sv},
    };
    for (const auto& row : rows)
    {
        std::string text = "left over";
        EXPECT_EQ(gReadTextFile(folder.Write("text", row.mContent), text), row.mIsReadable) << row.mName;
        EXPECT_EQ(text, row.mText) << row.mName;
    }
}

TEST(FileSystemTest, WhatCannotBeReadLeavesAnEmptyBuffer)
{
    const TemporaryFolder folder;
    std::vector<std::byte> bytes(3);
    EXPECT_FALSE(gReadFileToBuffer(folder / "missing", bytes));
    EXPECT_THAT(bytes, IsEmpty());
    bytes.resize(3);
    EXPECT_FALSE(gReadFileToBuffer(folder.GetPath(), bytes)) << "a directory";
    EXPECT_THAT(bytes, IsEmpty());

    const std::string path = folder.Write("file", "content");
    Internal::FailingFileCalls calls;
    const Internal::ScopedFileCalls scope(calls);
    for (int operation = 0; operation < 3; ++operation)
    {
        calls.FailAt(operation, static_cast<int>(std::errc::io_error), false);
        EXPECT_FALSE(gReadFileToBuffer(path, bytes)) << operation;
        EXPECT_THAT(bytes, IsEmpty());
    }
}

TEST(FileSystemTest, DirectoryTreesComeAndGo)
{
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    EXPECT_TRUE(gCreateDirectoryTree(folder / "a/b\\c/./d"));
    EXPECT_TRUE(gFileExists(folder / "a/b/c/d"));
    EXPECT_TRUE(gFileExists(folder.GetPath() + "\\a\\b")) << "both separators are read";
    EXPECT_TRUE(gCreateDirectoryTree(folder / "a/b"));
    EXPECT_TRUE(gCreateDirectory(folder / "a"));
    EXPECT_FALSE(gCreateDirectory(folder / "no/parent"));

    const std::string file = folder.Write("a/file", "x");
    EXPECT_TRUE(gCreateDirectoryTree(file)) << "it exists";
    EXPECT_FALSE(gCreateDirectory(file));
    EXPECT_FALSE(gCreateDirectoryTree(file + "/below"));
    EXPECT_FALSE(gCreateDirectoryTree(""));

    folder.Write("outside/kept", "x");
    fs::create_directory_symlink(folder / "outside", folder / "a/link");
    fs::create_directory_symlink(folder / "outside", folder / "root-link");
    EXPECT_FALSE(gDeleteDirectoryTree(folder / "root-link"));
    EXPECT_FALSE(gDeleteDirectoryTree(file));
    EXPECT_FALSE(gDeleteDirectoryTree(folder / "missing"));
    EXPECT_FALSE(gDeleteFile(folder / "a/b/c/d")) << "a directory";
    EXPECT_TRUE(gDeleteDirectoryTree(folder / "a"));
    EXPECT_FALSE(gFileExists(folder / "a"));
    EXPECT_EQ(folder.Read("outside/kept"), "x") << "links are not followed";
}

TEST(FileSystemTest, FilesAreCopiedMeasuredAndDeleted)
{
    const TemporaryFolder folder;
    const std::string source = folder.Write("source", "new");
    const std::string target = folder.Write("target", "much longer old content");
    EXPECT_TRUE(gCopyFile(source, target));
    EXPECT_EQ(folder.Read("target"), "new");
    EXPECT_FALSE(gCopyFile(folder / "missing", target));
    EXPECT_EQ(folder.Read("target"), "new");

    EXPECT_FALSE(gCopyFile(folder.GetPath(), target)) << "a directory";
    std::string large(3000000, 'x');
    large.back() = 'y';
    Internal::FailingFileCalls calls;
    calls.SetTearsWrites(true);
    bool hasFailed = true;
    for (int operation = 0; hasFailed; ++operation)
    {
        const Internal::ScopedFileCalls scope(calls);
        folder.Replace("source", large);
        folder.Replace("target", "new");
        calls.FailAt(operation, static_cast<int>(std::errc::no_space_on_device), false);
        const bool isCopied = gCopyFile(source, target);
        hasFailed = calls.HasFailed();
        calls.Heal();
        EXPECT_TRUE(isCopied || hasFailed);
        const std::string content = folder.Read("target");
        EXPECT_TRUE(content == large || (!isCopied && content == "new")) << operation;
        EXPECT_THAT(folder.List(), ElementsAre("source", "target"));
    }
    EXPECT_TRUE(folder.Read("target") == large);
    folder.Replace("target", "new");

    std::uint64_t size = 7;
    EXPECT_TRUE(gGetFileSize(target, size));
    EXPECT_EQ(size, 3u);
    EXPECT_FALSE(gGetFileSize(folder.GetPath(), size));
    EXPECT_FALSE(gGetFileSize(folder / "missing", size));
    EXPECT_TRUE(gDeleteFile(target));
    EXPECT_FALSE(gDeleteFile(target));
}

TEST(FileSystemTest, ListingGoesByExtensionAndFollowsEachDirectoryOnce)
{
    const TemporaryFolder folder;
    for (const char* const name : {"b.dat", "a.DAT", "c.txt", ".hidden", "sub/d.dat", "sub/deep/e.dat"})
    {
        folder.Write(name, "");
    }
    std::filesystem::create_directory_symlink(folder.GetPath(), folder / "sub/deep/loop");
    std::filesystem::create_symlink(folder / "nowhere", folder / "dangling.dat");

    const auto list = [&](const std::string& extension, bool recursive) {
        std::vector<std::string> files{"before"};
        EXPECT_TRUE(gListFiles(folder.GetPath(), extension, files, recursive));
        EXPECT_EQ(files.front(), "before") << "it appends";
        files.erase(files.begin());
        for (std::string& file : files)
        {
            file.erase(0, folder.GetPath().size() + 1);
        }
        return files;
    };
    EXPECT_THAT(list("dat", false), ElementsAre("a.DAT", "b.dat"));
    EXPECT_THAT(list("dat", true), ElementsAre("a.DAT", "b.dat", "sub/d.dat", "sub/deep/e.dat"));
    EXPECT_THAT(list("", false), ElementsAre(".hidden", "a.DAT", "b.dat", "c.txt"));
    EXPECT_THAT(list("png", true), IsEmpty());

    std::vector<std::string> files;
    EXPECT_FALSE(gListFiles(folder / "missing", "", files, true));

    const std::string before = gGetCurrentDirectory();
    ASSERT_TRUE(gSetCurrentDirectory(folder / "sub"));
    EXPECT_TRUE(gListFiles("", "dat", files, false));
    EXPECT_TRUE(gListFiles("./deep", "dat", files, false));
    const std::string here = gGetCurrentDirectory();
    ASSERT_TRUE(gSetCurrentDirectory(before));
    EXPECT_THAT(files, ElementsAre(here + "/d.dat", here + "/deep/e.dat"));
}

TEST(FileSystemTest, KnowsItsOwnProgram)
{
    EXPECT_EQ(gGetBaseName(gGetExecutablePath()), "UtilityTests");
    const std::string before = gGetCurrentDirectory();
    const std::string relative = "../qs-" + Utility::gFormatGUID(Utility::gMakeGUID()) + "/deep";
    ASSERT_TRUE(gSetCurrentDirectoryToExecutableRelative(relative));
    const std::string made = gGetCurrentDirectory();
    EXPECT_EQ(made, gCombinePath(gGetExecutableDirectory(), relative));
    ASSERT_TRUE(gSetCurrentDirectory(before));
    EXPECT_TRUE(gDeleteDirectoryTree(gGetDirectory(made)));
}
}
