#include "SymbolResolverWorker/ImageIdentity.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/ModuleSymbols.h"
#include "SymbolResolverWorker/SymbolSearch.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Hash.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

class ImageIdentityTest : public ReaderTest
{
protected:
    Profiler::PDBKey ReadKey(const std::string& path)
    {
        Utility::Result result;
        ImageIdentity identity;
        EXPECT_TRUE(identity.Read(path, result)) << result.ToString();
        return identity.mKey;
    }

    /// What the worker makes of a key.
    ModuleSymbols::EOutcome Find(const Profiler::PDBKey& key)
    {
        Utility::Result result;
        return ModuleSymbols{}.Open(key, SymbolSearch{}, mControl, result);
    }

    std::string CompileFunction(const std::string& name, const std::string& options)
    {
        return Compile("a.cpp", "int " + name + "(int v) { return v + 1; }\n", "-shared -fPIC -nostdlib -g " + options);
    }
};

TEST_F(ImageIdentityTest, ABuildIDIsTheIdentity)
{
    const std::string path = CompileFunction("A", "-Wl,--build-id=0x0102030405060708090a0b0c0d0e0f1011121314");
    const Profiler::PDBKey key = ReadKey(path);
    EXPECT_EQ(key.PDBAge, 0);
    EXPECT_EQ(key.PDBGUID.Data1, 0x0807060504030201u);
    EXPECT_EQ(key.PDBGUID.Data2, 0x100F0E0D0C0B0A09u);
    EXPECT_EQ(Find(key), ModuleSymbols::EOutcome::Found);
    // It stays that of the image when its symbols go.
    gRunShell("strip " + path);
    EXPECT_EQ(ReadKey(path).PDBGUID, key.PDBGUID);
}

TEST_F(ImageIdentityTest, WithoutABuildIDTheContentIs)
{
    const std::string path = CompileFunction("A", "-Wl,--build-id=none");
    const Profiler::PDBKey key = ReadKey(path);
    EXPECT_EQ(key.PDBAge, 1);
    EXPECT_EQ(key.PDBGUID.Data1, Utility::gXXH64(mFolder.Read("a.cpp.so")));
    EXPECT_EQ(key.PDBGUID.Data2, std::filesystem::file_size(path));
    EXPECT_EQ(Find(key), ModuleSymbols::EOutcome::Found);
    // The same code under another name is another build.
    CompileFunction("B", "-Wl,--build-id=none");
    EXPECT_NE(ReadKey(path).PDBGUID, key.PDBGUID);
    EXPECT_EQ(Find(key), ModuleSymbols::EOutcome::NotFound);
    EXPECT_EQ(Find(ReadKey(path)), ModuleSymbols::EOutcome::Found);
}

TEST_F(ImageIdentityTest, WhatHasNoFunctionsAtAddressesIsRefusedWithTheReason)
{
    CompileFunction("A", "");
    const std::string good = mFolder.Read("a.cpp.so");
    std::string core = good;
    core[16] = 4;
    std::string noSegments = good;
    noSegments[56] = 0;
    const std::string object = mFolder / "a.o";
    gRunShell("g++ -c " + (mFolder / "a.cpp") + " -o " + object);
    const struct
    {
        std::string mPath;
        const char* mReason;
    } cRows[] = {{object, "an object file or a kernel module"}, {mFolder.Write("core", core), "a core dump"},
        {mFolder.Write("none", noSegments), "no segment to load"},
        {mFolder.Write("cut", good.substr(0, 100)), "The file ends before offset"},
        {mFolder.Write("text", "int A;"), "neither an ELF file nor a PE image"}, {mFolder / "missing", "No such file"}};
    for (const auto& row : cRows)
    {
        Utility::Result result;
        EXPECT_FALSE(ImageIdentity{}.Read(row.mPath, result)) << row.mPath;
        EXPECT_THAT(result.ToString(), ::testing::HasSubstr(row.mReason));
    }
}

}

}
