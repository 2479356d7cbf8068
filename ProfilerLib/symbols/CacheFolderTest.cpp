#include "ProfilerLib/symbols/CacheFolder.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "Utility/FileWriter.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

namespace Profiler
{

namespace
{

using ::testing::UnorderedElementsAre;

class CacheFolderTest : public testing::Test
{
protected:
    std::vector<std::string> List() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator{mPath})
            names.push_back(entry.path().filename().string());
        return names;
    }

    const TemporaryFolder mFolder;
    const std::string mPath = mFolder / "a.pdb/0001";
    Utility::Result mResult;
};

TEST_F(CacheFolderTest, TheNextWriterRemovesWhatADeadOneLeft)
{
    const std::string left = "a.symcache.0123456789ABCDEF.tmp";
    {
        CacheFolder first;
        ASSERT_TRUE(first.Enter(mPath, mResult)) << mResult.ToString();
    }
    for (const char* name : {left.c_str(), "a.symcache", "a.symcache.tmp", "a.symcache.0123456789abcdef.tmp"})
        mFolder.Write("a.pdb/0001/" + std::string{name}, "half");
    std::filesystem::create_directory(mPath + "/folder.0123456789ABCDEF.tmp");
    std::filesystem::create_symlink("a.symcache", mPath + "/link.0123456789ABCDEF.tmp");

    CacheFolder next;
    ASSERT_TRUE(next.Enter(mPath, mResult)) << mResult.ToString();
    EXPECT_THAT(List(), UnorderedElementsAre("a.symcache", "a.symcache.tmp", "a.symcache.0123456789abcdef.tmp",
                            "folder.0123456789ABCDEF.tmp", "link.0123456789ABCDEF.tmp"));
}

TEST_F(CacheFolderTest, WhatIsBeingWrittenStays)
{
    CacheFolder::sRemoveAbandoned(mPath);
    CacheFolder writer;
    FileSystem::AtomicFileWriter file;
    FileSystem::FileError error;
    ASSERT_TRUE(writer.Enter(mPath, mResult) && file.Open(mPath + "/a.symcache", error)) << mResult.ToString();
    {
        CacheFolder other;
        EXPECT_TRUE(other.Enter(mPath, mResult));
        CacheFolder::sRemoveAbandoned(mPath);
    }
    EXPECT_TRUE(file.Commit(error)) << error.ToString();
    EXPECT_THAT(List(), UnorderedElementsAre("a.symcache"));

    mFolder.Write("file", "in the way");
    EXPECT_FALSE(writer.Enter(mFolder / "file/a.pdb", mResult));
}

}

}
