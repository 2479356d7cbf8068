#include "SymbolResolverWorker/HttpDownload.h"

#include <gmock/gmock.h>

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
