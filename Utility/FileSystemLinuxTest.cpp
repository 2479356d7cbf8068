#include "Utility/FileSystem.h"

#include "Utility/TemporaryFolder.h"
#include "tests/support/ScopedVariable.h"

#include <sys/stat.h>

namespace
{
using namespace FileSystem;

TEST(FileSystemLinuxTest, ReadsFilesWithoutASizeAndRefusesPipesAndDevices)
{
    std::string text;
    EXPECT_TRUE(gReadTextFile("/proc/self/status", text));
    EXPECT_NE(text.find("Pid:"), std::string::npos);

    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    std::vector<std::byte> bytes;
    EXPECT_FALSE(gReadFileToBuffer(folder / "pipe", bytes)) << "nobody will ever write to it";
    EXPECT_FALSE(gReadFileToBuffer("/dev/zero", bytes)) << "it never ends";
    EXPECT_TRUE(folder.List().empty()) << "a pipe is no file";
}

TEST(FileSystemLinuxTest, KnownFoldersFollowTheDesktop)
{
    const TemporaryFolder home;
    const ScopedVariable homeVariable("HOME", home.GetPath().c_str());
    {
        const ScopedVariable none("XDG_CONFIG_HOME", nullptr);
        EXPECT_EQ(gGetKnownFolder(0), home / ".config");
        EXPECT_EQ(gGetKnownFolder(1), home / "Documents");
        const ScopedVariable relative("XDG_CONFIG_HOME", "not/absolute");
        EXPECT_EQ(gGetKnownFolder(0), home / ".config");
        EXPECT_EQ(gGetKnownFolder(2), "");
    }
    const ScopedVariable configuration("XDG_CONFIG_HOME", (home / "configuration").c_str());
    EXPECT_EQ(gGetKnownFolder(0), home / "configuration");
    struct
    {
        const char* mLine;
        std::string mFolder;
    } const rows[] = {
        {R"(XDG_DOCUMENTS_DIR="$HOME/My Papers")", home / "My Papers"},
        {R"(XDG_DOCUMENTS_DIR="/srv/a\"b")", "/srv/a\"b"},
        {R"(XDG_DOCUMENTS_DIR="relative")", home / "Documents"},
        {R"(XDG_DOCUMENTS_DIR=")", home / "Documents"},
        {R"(# XDG_DOCUMENTS_DIR="/srv")", home / "Documents"},
    };
    for (const auto& row : rows)
    {
        home.Write(
            "configuration/user-dirs.dirs", std::string("# folders\nXDG_MUSIC_DIR=\"/m\"\n  ") + row.mLine + "\n");
        EXPECT_EQ(gGetKnownFolder(1), row.mFolder) << row.mLine;
    }
}
}
