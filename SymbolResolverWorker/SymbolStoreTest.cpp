#include "SymbolResolverWorker/SymbolStore.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/FunctionName.h"
#include "SymbolResolverWorker/ImageFinder.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/ModuleSymbols.h"
#include "SymbolResolverWorker/Testing/HttpServerLinux.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SymbolStoreTest : public ReaderTest
{
protected:
    SymbolStoreTest()
    {
        Utility::Result result;
        ImageIdentity identity;
        EXPECT_TRUE(identity.Read(SYMBOL_TEST_DATA "/sample.exe", result)) << result.ToString();
        mKey = identity.mKey;
    }

    std::vector<SymbolServer> At(const std::string& location) { return {{mFolder / "cache", location}}; }

    /// The path of the copy; empty for none. `isWanted` says what is thought of each.
    std::string Fetch(const std::string& location, bool isWanted = true)
    {
        std::string taken;
        const bool isFetched = gFetchPdb(mKey, At(location), mControl, [&](const std::string& path) {
            taken = path;
            return isWanted;
        });
        return isFetched ? taken : "";
    }

    Profiler::PDBKey mKey;
};

TEST_F(SymbolStoreTest, ServersAreReadFromTheirPath)
{
    EXPECT_THAT(gParseSymbolServerPath("srv*/c*http://a/b;srv*/d*/e"),
        ElementsAre(SymbolServer{"/c", "http://a/b"}, SymbolServer{"/d", "/e"}));
    EXPECT_THAT(gParseSymbolServerPath(""), IsEmpty());
    EXPECT_THAT(gParseSymbolServerPath("srv*;symsrv*a*b;/plain;srv*a*b*c"), IsEmpty());
}

TEST_F(SymbolStoreTest, APlaceInAStoreIsMadeOfAFileName)
{
    const std::string folder = "/E7F0BAA72E2A99894C4C44205044422E1/";
    EXPECT_EQ(gMakeStorePath(mKey), "sample.pdb" + folder + "sample.pdb");
    for (const char* name : {"C:\\build\\sample.pdb", "/build/../sample.pdb", "../sample.pdb"})
    {
        mKey.PDBName = name;
        EXPECT_EQ(gMakeStorePath(mKey), "sample.pdb" + folder + "sample.pdb") << name;
    }
    for (const std::string& name : {std::string{}, std::string{".."}, std::string{"a/"}, std::string{"c:x.pdb"},
             std::string{"a\0.pdb", 6}, std::string(256, 'x')})
    {
        mKey.PDBName = name;
        EXPECT_EQ(gMakeStorePath(mKey), "") << name;
    }
}

TEST_F(SymbolStoreTest, ADatabaseIsFetchedOnceAndThenKept)
{
    TemporaryFolder data;
    std::filesystem::copy_file(SYMBOL_TEST_DATA "/sample.pdb", data / "sample.pdb");
    const HttpServer server{{{"/store/" + gMakeStorePath(mKey), data.Read("sample.pdb")}}};
    EXPECT_EQ(Fetch(server.GetURL() + "/other"), "");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Fetch(server.GetURL() + "/store//"), mFolder / "cache" + ("/" + gMakeStorePath(mKey)));
    EXPECT_EQ(server.GetNumRequests(), 2);
    EXPECT_THAT(mFolder.List(), ElementsAre("cache/" + gMakeStorePath(mKey)));

    // The image is not beside its database, and no folder has it.
    mKey.ModulePath = "/nowhere/sample.exe";
    ModuleSymbols symbols;
    Utility::Result result;
    const SymbolSearch search{{}, At(server.GetURL() + "/store")};
    ASSERT_EQ(symbols.Open(mKey, search, mControl, result), ModuleSymbols::EOutcome::Found) << result.ToString();
    EXPECT_EQ(ReadFunctions(symbols.GetReader()).size(), 5u);
    EXPECT_EQ(symbols.GetImage(), nullptr);
}

TEST_F(SymbolStoreTest, WhatIsNotTheFileThatWasAskedForIsNotKept)
{
    const std::string place = gMakeStorePath(mKey);
    const HttpServer server{{{"/portal/" + place, "<html>Please log in</html>"}, {"/store/" + place, "a database"}}};
    EXPECT_EQ(Fetch(server.GetURL() + "/portal", false), "");
    EXPECT_THAT(mFolder.List(), IsEmpty());

    // Damaged in the cache: fetched anew.
    mFolder.Write("cache/" + place, "half a data");
    int numTries = 0;
    EXPECT_TRUE(
        gFetchPdb(mKey, At(server.GetURL() + "/store"), mControl, [&](const std::string&) { return ++numTries == 2; }));
    EXPECT_EQ(mFolder.Read("cache/" + place), "a database");
}

TEST_F(SymbolStoreTest, NothingIsFetchedThroughALinkInTheCache)
{
    TemporaryFolder outside;
    std::filesystem::create_directory(mFolder / "cache");
    std::filesystem::create_directory_symlink(outside.GetPath(), mFolder / "cache/sample.pdb");
    const HttpServer server{{{"/store/" + gMakeStorePath(mKey), "a database"}}};
    EXPECT_EQ(Fetch(server.GetURL() + "/store"), "");
    EXPECT_EQ(server.GetNumRequests(), 0);
    EXPECT_THAT(outside.List(), IsEmpty());
}

TEST_F(SymbolStoreTest, OfAPackedDatabaseIsSaidWhatToDo)
{
    mKey.ModulePath = "/nowhere/sample.exe";
    const SymbolSearch search{{mFolder.GetPath()}, {}};
    mFolder.Write(std::filesystem::path{gMakeStorePath(mKey)}.parent_path().string() + "/sample.pd_", "MSCF");
    ModuleSymbols symbols;
    Utility::Result result;
    // It may be unpacked by the next time, so this is no answer to be kept.
    EXPECT_EQ(symbols.Open(mKey, search, mControl, result), ModuleSymbols::EOutcome::Unreadable);
    EXPECT_THAT(result.ToString(), ::testing::ContainsRegex("sample.pd_.*The database is packed into a cabinet file"));
}

TEST_F(SymbolStoreTest, ADebugFileIsFetchedByItsBuildID)
{
    const std::string path = Compile("app.cpp", "extern \"C\" int Start()\n{\n    return 1;\n}\n",
        "-shared -nostdlib -g -Wl,--build-id=0xabcdef0123456789");
    gRunShell("cd " + mFolder.GetPath() + " && objcopy --only-keep-debug app.cpp.so app.debug && strip app.cpp.so");
    const HttpServer server{{{"/buildid/abcdef0123456789/debuginfo", mFolder.Read("app.debug")}}};
    Utility::Result result;
    ElfFile image;
    ASSERT_TRUE(image.Open(path, result));
    EXPECT_EQ(gFetchDebugFile(image, {}, mControl), nullptr);
    EXPECT_EQ(server.GetNumRequests(), 0) << "nobody has named it";
    const auto debugFile = gFetchDebugFile(image, At(server.GetURL()), mControl);
    ASSERT_NE(debugFile, nullptr);
    EXPECT_EQ(debugFile->GetBuildID(), image.GetBuildID());
    // The second time it is in the cache, whatever servers come first.
    for (const char* folder : {"", "/none"})
        EXPECT_NE(gFetchDebugFile(image, At(server.GetURL() + folder), mControl), nullptr);
    EXPECT_EQ(server.GetNumRequests(), 1);
}

TEST_F(SymbolStoreTest, AServerThatDoesNotAnswerIsLeftWhenTheJobEnds)
{
    const HttpServer server{{}};
    std::thread canceller{[&] {
        while (server.GetNumRequests() == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
        mControl.Cancel();
    }};
    EXPECT_EQ(Fetch(server.GetURL() + "/hang"), "");
    canceller.join();
    EXPECT_THAT(mFolder.List(), IsEmpty()) << "nothing half-done remains";
}

TEST_F(SymbolStoreTest, PathsInLowerCaseAreFound)
{
    const std::string path = mFolder.Write("Sub/App.so", "");
    mFolder.Write("sub/other.so", "");
    std::string key = path;
    std::ranges::transform(key, key.begin(), [](unsigned char letter) { return std::tolower(letter); });
    EXPECT_THAT(gFindIgnoringCase(key), ElementsAre(path));
    EXPECT_THAT(gFindIgnoringCase(mFolder / "sub/none"), IsEmpty());
    EXPECT_THAT(gFindIgnoringCase("relative"), IsEmpty());
}

TEST_F(SymbolStoreTest, NamesAreWrittenOut)
{
    const std::pair<std::string, std::string> cRows[] = {{"_ZN5Outer4WorkEi", "Outer::Work(int)"}, {"main", "main"},
        {"f", "f"}, {"_Znonsense", "_Znonsense"}, {"", ""}, {"?Work@Outer@@YAHH@Z", "?Work@Outer@@YAHH@Z"},
        {std::string(70000, 'x'), std::string(65536, 'x')}};
    for (const auto& [name, readable] : cRows)
        EXPECT_EQ(gMakeReadable(name), readable);
    EXPECT_EQ(gCutVersion("memcpy@@GLIBC_2.14"), "memcpy");
    EXPECT_EQ(gCutVersion("@x"), "@x");
    EXPECT_EQ(gCutVersion(""), "");
}

}

}
