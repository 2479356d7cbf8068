#include "ProfilerLib/symbols/SymbolFiles.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "ProfilerLib/symbols/PDBKey.h"
#include "Utility/TemporaryFolder.h"

namespace Profiler
{

namespace
{

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class SymbolFilesTest : public testing::Test
{
protected:
    std::string Write(const std::string& name) { return mFolder.Write(name, "x"); }

    const TemporaryFolder mFolder;
    /// The build-id 0102030405060708090a0b0c0d0e0f10 and on.
    const SerializableGUID mGUID{0x0807060504030201, 0x100F0E0D0C0B0A09};
};

TEST_F(SymbolFilesTest, ListsWhatMayHaveSymbolsOfAnElfFile)
{
    const std::string image = Write("bin/App");
    const PDBKey key = PDBKey::sMake(image, 0, 0, 0, mGUID, image);
    const std::vector<std::string> local = {mFolder / "local", mFolder / "none"};
    EXPECT_THAT(gListSymbolFiles(key, image, local), IsEmpty());
    const std::string beside = Write("bin/App.debug");
    const std::string below = Write("bin/.debug/App.debug");
    const std::string named = Write("local/App.debug");
    const std::string byID = Write("local/.build-id/01/02030405060708090a0b0c0d0e0f1011121314.debug");
    Write("local/.build-id/01/02030405060708090a0b0c0d0e0f1111121314.debug");
    Write("bin/app.debug");
    EXPECT_THAT(gListSymbolFiles(key, image, local), UnorderedElementsAre(beside, below, named, byID));
    EXPECT_THAT(gListLocalSymbolFiles(key, local), UnorderedElementsAre(named, byID));
}

TEST_F(SymbolFilesTest, ListsWhatMayBeAProgramDatabase)
{
    const std::string image = mFolder / "bin/App.exe";
    const PDBKey key = PDBKey::sMake(image, 0, 0, 2, mGUID, "C:\\build\\App.pdb");
    const std::string beside = Write("bin/App.pdb");
    const std::string named = Write("local/App.pdb");
    EXPECT_THAT(gListSymbolFiles(key, image, {mFolder / "local"}), UnorderedElementsAre(beside, named));
}

TEST_F(SymbolFilesTest, AFileThatCameLaterIsNewerWhateverItsDate)
{
    const std::string debugFile = Write("App.debug");
    const std::string cached = Write("App.symcache");
    EXPECT_FALSE(gIsOlderThanAny(cached, {debugFile}));
    EXPECT_FALSE(gIsOlderThanAny(mFolder / "none", {debugFile}));
    // What the clock of a file system cannot tell apart came at the same time.
    while (!gIsOlderThanAny(cached, {mFolder / "none", debugFile}))
    {
        std::filesystem::rename(debugFile, debugFile + "2");
        std::filesystem::rename(debugFile + "2", debugFile);
        std::filesystem::last_write_time(debugFile, std::filesystem::file_time_type{});
    }
}

}

}
