#include "SymbolResolverWorker/HttpDownload.h"

#include <array>
#include <cstddef>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/Debuginfod.h"
#include "SymbolResolverWorker/JobControl.h"
#include "SymbolResolverWorker/Testing/HttpServerLinux.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

namespace Symbols::Testing
{

namespace
{

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class HttpDownloadTest : public testing::Test
{
protected:
    bool Download(const std::string& path, const DownloadPatience& patience)
    {
        mResult.Clear();
        return gDownload(mServer.GetURL() + path, mFolder / "cache/file", mControl, mResult, patience);
    }

    const std::string mContent = std::string(30000, 'x');
    const HttpServer mServer{{{"/file", mContent}}};
    TemporaryFolder mFolder;
    JobControl mControl;
    Utility::Result mResult;
};

TEST_F(HttpDownloadTest, AServerThatStallsIsGivenUp)
{
    const struct
    {
        const char* mPath;
        uint64_t mLeast;
    } cRows[] = {{"/hang", 1}, {"/stall/file", 1}, {"/stall/file", 10000}, {"/drip/file", 20000}};
    for (const auto& row : cRows)
    {
        EXPECT_FALSE(Download(row.mPath, {.mNext = 300ms, .mLeast = row.mLeast})) << row.mPath;
        EXPECT_THAT(mResult.ToString(), HasSubstr("bytes came within 300 ms")) << row.mPath;
        EXPECT_THAT(mFolder.List(), IsEmpty()) << row.mPath;
    }
}

TEST_F(HttpDownloadTest, AServerOfDebugFilesIsWaitedForByTheSameRule)
{
    const std::array<std::byte, 4> buildID{std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}};
    const HttpServer server{{{"/buildid/01020304/debuginfo", mContent}}};
    const auto ask = [&](const char* path, uint64_t least) {
        mResult.Clear();
        std::string found;
        // The library remembers for a while that there was none.
        const std::string cache = mFolder / (std::string{"cache"} + path);
        return gQueryDebuginfod(
            buildID, {server.GetURL() + path}, cache, found, mControl, mResult, {.mNext = 1500ms, .mLeast = least});
    };
    for (const char* path : {"/hang", "/stall"})
    {
        EXPECT_FALSE(ask(path, 20000)) << path;
        EXPECT_THAT(mResult.ToString(), HasSubstr("too little came")) << path;
    }
    // The whole takes longer than the patience, no drop does.
    EXPECT_TRUE(ask("/drip", 500)) << mResult.ToString();
}

TEST_F(HttpDownloadTest, AServerThatSendsSteadilyMayGoOn)
{
    // The whole takes longer than the patience, no drop does.
    EXPECT_TRUE(Download("/drip/file", {.mNext = 2s, .mLeast = 500})) << mResult.ToString();
    EXPECT_EQ(mFolder.Read("cache/file"), mContent);
}

TEST_F(HttpDownloadTest, WhereNobodyListensIsSaid)
{
    EXPECT_FALSE(gDownload("http://127.0.0.1:1/file", mFolder / "cache/file", mControl, mResult));
    EXPECT_THAT(mResult.ToString(), HasSubstr("http://127.0.0.1:1/file: "));
    EXPECT_FALSE(Download("/none", {}));
    EXPECT_THAT(mResult.ToString(), HasSubstr("/none: "));
    EXPECT_THAT(mFolder.List(), IsEmpty());
}

}

}
