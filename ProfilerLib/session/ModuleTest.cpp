#include "ProfilerLib/session/Module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProfilerLib/session/FakeSymbolSource.h"
#include "ProfilerLib/session/SessionFixture.h"

namespace Profiler
{
namespace
{

using testing::HasSubstr;

constexpr uint64_t cBase = 0x7FF600000000;
constexpr uint64_t cNone = ResolvedAddress::cNoFunction;
const std::string cPath = "C:\\bin\\App.exe";

ModuleImage MakeImage()
{
    return {cPath, cBase, 0x3000, 11, 12, {0x1067CA476B29FC40, 0xDA620601DD001DB3}, "App.pdb", 1.0, 9.0};
}

class ModuleTest : public testing::Test
{
protected:
    ModuleTest()
    {
        mModule.SetImage(MakeImage());
        mSource.Add(cPath, {{0x1000, 0x100, "main"}, {0x1200, 0, "NoSize"}, {0x2000, 0x10, "Run"}});
    }

    static void Store(Module& module, std::vector<ResolvedFunction> functions)
    {
        GetStored<std::vector<ResolvedFunction>>(module, "Functions") = std::move(functions);
    }

    LogCapture mLog;
    FakeSymbolSource mSource;
    Module mModule{&mSource};
};

TEST_F(ModuleTest, SymbolsAreLoadedWhenTheStateAndTheCallerAllow)
{
    using enum Module::ELoadState;
    const struct
    {
        const char* mWhat;
        bool mIsStored;
        bool mIsCachedOnly;
        bool mHasSymbols;
        int mNumCalls;
        const char* mName;
        Module::ELoadState mAfter;
    } rows[] = {
        {"recording", false, false, true, 1, "main", Loaded},
        {"recording, cached only", false, true, true, 1, "main", Loaded},
        {"recording, refused", false, false, false, 1, "Unknown", Failed},
        {"stored, cached only", true, true, true, 0, "Unknown", Stored},
        {"stored", true, false, true, 1, "main", Loaded},
        {"stored, refused", true, false, false, 1, "Unknown", Failed},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        FakeSymbolSource source;
        if (row.mHasSymbols)
            source.Add(cPath, {{0x1000, 0x100, "main"}});
        Module module{&source};
        module.SetImage(MakeImage());
        if (row.mIsStored)
            module.OnLoaded();
        // The second lookup must not ask again, whatever came of the first.
        for (int i = 0; i < 2; ++i)
        {
            const ResolvedAddress resolved = module.ResolveAddress(cBase + 0x10FF, row.mIsCachedOnly);
            EXPECT_EQ(resolved.mName, row.mName);
            EXPECT_EQ(resolved.mModule, &module);
            EXPECT_EQ(resolved.mAddress, cBase + 0x10FF);
            EXPECT_EQ(resolved.HasFunction(), resolved.mName == "main");
            EXPECT_EQ(source.mNumCalls, row.mNumCalls);
            EXPECT_EQ(module.GetLoadState(), row.mAfter);
        }
    }
}

TEST_F(ModuleTest, OnlyWhatWasAskedForIsKeptInOrder)
{
    const struct
    {
        uint64_t mOffset;
        ResolvedAddress mExpected;
    } rows[] = {
        {0x2000, {&mModule, cBase + 0x2000, 0x10, cBase + 0x2000, "Run"}},
        {0x1000, {&mModule, cBase + 0x1000, 0x100, cBase + 0x1000, "main"}},
        {0x10FF, {&mModule, cBase + 0x1000, 0x100, cBase + 0x10FF, "main"}},
        {0x1100, {&mModule, cNone, 0, cBase + 0x1100, "Unknown"}},
        {0x2010, {&mModule, cNone, 0, cBase + 0x2010, "Unknown"}},
        {0x0FFF, {&mModule, cNone, 0, cBase + 0x0FFF, "Unknown"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(mModule.ResolveAddress(cBase + row.mOffset, false), row.mExpected) << row.mOffset;
    EXPECT_EQ(mModule.GetFunctions(),
        (std::vector<ResolvedFunction>{{cBase + 0x1000, 0x100, "main"}, {cBase + 0x2000, 0x10, "Run"}}));
}

TEST_F(ModuleTest, AFunctionWithoutASizeIsKeptOnceAndFoundThroughItsSymbols)
{
    for (const uint64_t offset : {0x1200, 0x1FFF, 0x1300})
        EXPECT_EQ(mModule.ResolveAddress(cBase + offset, true),
            (ResolvedAddress{&mModule, cBase + 0x1200, 0, cBase + offset, "NoSize"}));
    EXPECT_EQ(mModule.GetFunctions().size(), 1u);

    // Without the symbols the stored entry covers nothing.
    Module stored{nullptr};
    Store(stored, mModule.GetFunctions());
    stored.OnLoaded();
    EXPECT_EQ(stored.ResolveAddress(cBase + 0x1200, true).mName, "Unknown");
}

TEST_F(ModuleTest, AnEntryThatIsStoredBeatsTheSymbols)
{
    Store(mModule, {{cBase + 0x1200, 0, "Renamed"}, {cBase + 0x2000, 4, "Short"}});
    EXPECT_EQ(mModule.ResolveAddress(cBase + 0x1234, false).mName, "Renamed");
    const ResolvedAddress behind = mModule.ResolveAddress(cBase + 0x2008, false);
    EXPECT_EQ(behind.mName, "Short");
    EXPECT_EQ(behind.mFunctionSize, 4u);
}

TEST_F(ModuleTest, FunctionsAreFoundByTheirExactName)
{
    EXPECT_EQ(mModule.ResolveFunctionByName("Run", true),
        (ResolvedAddress{&mModule, cBase + 0x2000, 0x10, cBase + 0x2000, "Run"}));
    EXPECT_EQ(mModule.GetFunctions().size(), 1u);
    EXPECT_EQ(mModule.ResolveFunctionByName("run", false), ResolvedAddress{});
    EXPECT_EQ(mModule.ResolveFunctionByName("Ru", false), ResolvedAddress{});

    Module stored{&mSource};
    stored.SetImage(MakeImage());
    Store(stored, {{5, 0, "Kept"}});
    stored.OnLoaded();
    EXPECT_EQ(stored.ResolveFunctionByName("Kept", true), (ResolvedAddress{&stored, 5, 0, 5, "Kept"}));
    EXPECT_EQ(stored.ResolveFunctionByName("Run", true), ResolvedAddress{});
    EXPECT_EQ(stored.ResolveFunctionByName("Run", false).mFunctionAddress, cBase + 0x2000);
}

TEST_F(ModuleTest, LoadingPassesTheIdentityOnAndLogsItsOutcome)
{
    const std::string guid = "6B29FC40-CA47-1067-B31D-00DD010662DA";
    EXPECT_TRUE(mModule.LoadPDB());
    EXPECT_THAT(mLog.Take(), HasSubstr("]: Loaded PDB for module App.exe - GUID: " + guid + ", Age: 12\n"));
    ASSERT_EQ(mSource.mKeys.size(), 1u);
    EXPECT_EQ(mSource.mKeys[0], (PDBKey{cPath, 11, 0x3000, 12, {0x1067CA476B29FC40, 0xDA620601DD001DB3}, "App.pdb"}));

    FakeSymbolSource empty;
    for (SymbolSource* source : {static_cast<SymbolSource*>(&empty), static_cast<SymbolSource*>(nullptr)})
    {
        Module module{source};
        module.SetImage(MakeImage());
        EXPECT_FALSE(module.LoadPDB());
        EXPECT_EQ(module.GetLoadState(), Module::ELoadState::Failed);
        EXPECT_THAT(mLog.Take(),
            HasSubstr("]: Failed to find PDB for module App.exe (App.pdb) - GUID: " + guid + ", Age: 12\n"));
    }
}

TEST_F(ModuleTest, RequestsForSourceDataGoToTheSource)
{
    int numCancelled = 0;
    const auto onCancelled = [&numCancelled] {
        ++numCancelled;
    };
    const ResolvedAddress resolved = mModule.ResolveAddress(cBase + 0x1000, false);
    mSource.mKeys.clear();
    EXPECT_EQ(mModule.ResolveFunctionData(resolved, 1, 2, {}, {}, onCancelled).mJobHandle, 7);
    EXPECT_EQ(mSource.mAddresses, (std::vector<uint64_t>{cBase, cBase + 0x1000, 1, 2}));
    EXPECT_EQ(mModule.ResolveLineData({3, 4}, {}, onCancelled).mJobHandle, 8);
    EXPECT_EQ(mSource.mAddresses, (std::vector<uint64_t>{3, 4, cBase}));
    EXPECT_EQ(mSource.mKeys, (std::vector<PDBKey>{mModule.GetPDBKey(), mModule.GetPDBKey()}));
    EXPECT_EQ(mSource.mKeys[0].ModulePath, "c:/bin/app.exe");
    EXPECT_EQ(numCancelled, 2);

    Module alone;
    EXPECT_EQ(alone.ResolveFunctionData(resolved, 1, 2, {}, {}, onCancelled), ResolveRequest{});
    EXPECT_EQ(alone.ResolveLineData({3}, {}, onCancelled), ResolveRequest{});
    EXPECT_EQ(numCancelled, 4) << "nobody waits for an answer that never comes";
}

TEST_F(ModuleTest, WhatAFileHeldIsPutInOrder)
{
    // The older form, with an entry whose key is not its address.
    auto& older = GetStored<std::unordered_map<uint64_t, ResolvedFunction>>(mModule, "ResolvedFunctions");
    older = {{0x30, {0x30, 8, "c"}}, {0x10, {0x10, 8, "a"}}, {0x99, {0x20, 8, "b"}}};
    GetStored<std::string>(mModule, "Name") = "stale";
    mModule.OnLoaded();
    EXPECT_EQ(mModule.GetFunctions(), (std::vector<ResolvedFunction>{{0x10, 8, "a"}, {0x20, 8, "b"}, {0x30, 8, "c"}}));
    EXPECT_TRUE(older.empty());
    EXPECT_EQ(mModule.GetName(), "App.exe");

    Module module;
    Store(
        module, {{0x30, 8, "c"}, {0x10, 8, "a"}, {0x30, 4, "d"}, {~uint64_t{0}, 8, "top"}, {0x20, ~uint64_t{0}, "b"}});
    module.OnLoaded();
    EXPECT_EQ(module.GetFunctions().size(), 4u);
    const std::pair<uint64_t, const char*> rows[] = {
        {0xF, "Unknown"}, {0x17, "a"}, {0x18, "Unknown"}, {0x2F, "b"}, {0x37, "c"}, {~uint64_t{0}, "top"}};
    for (const auto& [address, name] : rows)
        EXPECT_EQ(module.ResolveAddress(address, true).mName, name) << address;
}

}
}
