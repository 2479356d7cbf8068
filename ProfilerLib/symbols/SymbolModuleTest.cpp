#include "ProfilerLib/symbols/SymbolModule.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/ResolvedFunction.h"
#include "ProfilerLib/symbols/Testing/Payload.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Utility/Damage.h"
#include "Utility/FailureSweep.h"
#include "Utility/FileSystem.h"
#include "Utility/Hash.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

namespace Tests
{

/// A root of another kind.
class Stranger : public RTTI::Object
{
public:
    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Stranger>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Stranger>("Tests::Stranger", RTTI::Version{1}, RTTI::Base<RTTI::Object>{});
    }
};

}

namespace Profiler
{
namespace
{

using Testing::Payload;

constexpr uint64_t cMaximum = std::numeric_limits<uint64_t>::max();
constexpr uint64_t cSettingsHash = 0x1122334455667788;

SymbolModule MakeModule(const std::vector<Symbol>& symbols)
{
    SymbolModule module;
    for (const Symbol& symbol : symbols)
        module.AddSymbol(symbol.Address, symbol.Size, symbol.Name);
    module.Sort();
    return module;
}

std::string NameAt(const SymbolModule& module, uint64_t base, uint64_t address)
{
    const Symbol* symbol = module.FindByAddress(base, address);
    return symbol == nullptr ? "-" : symbol->Name;
}

TEST(SymbolModuleLookupTest, FollowsStartsSizesAndGaps)
{
    const std::vector<Symbol> one = {{0x10, 4, "a"}};
    const std::vector<Symbol> two = {{0x10, 4, "a"}, {0x20, 0, "b"}};
    const std::vector<Symbol> many = {
        {0x10, 4, "a"}, {0x20, 0, "b"}, {0x30, 0x10, "c"}, {0x40, 0x10, "d"}, {0x60, cMaximum, "e"}};
    const struct
    {
        const char* mWhat;
        std::vector<Symbol> mSymbols;
        uint64_t mOffset;
        const char* mName;
    } rows[] = {
        {"nothing in an empty module", {}, 0, "-"},
        {"before the only one", one, 0xF, "-"},
        {"start of the only one", one, 0x10, "a"},
        {"last byte of the only one", one, 0x13, "a"},
        {"end of the only one", one, 0x14, "-"},
        {"before the first of two", two, 0, "-"},
        {"first of two", two, 0x12, "a"},
        {"gap of two", two, 0x1F, "-"},
        {"second of two, without a size", two, 0x20, "b"},
        {"far behind the last, which has no size", two, cMaximum, "b"},
        {"before the first of many", many, 0xF, "-"},
        {"gap of many", many, 0x14, "-"},
        {"without a size up to the next", many, 0x2F, "b"},
        {"neighbours without a gap, end of one", many, 0x3F, "c"},
        {"neighbours without a gap, start of the next", many, 0x40, "d"},
        {"gap before the last", many, 0x50, "-"},
        {"a size that reaches over the top", many, cMaximum - 1, "e"},
    };
    for (const auto& row : rows)
        for (const uint64_t base : {uint64_t{0}, uint64_t{0x7FF600000000}})
            EXPECT_EQ(NameAt(MakeModule(row.mSymbols), base, base + row.mOffset), row.mName) << row.mWhat;
}

TEST(SymbolModuleLookupTest, AgreesWithAWalkOverRandomTables)
{
    std::mt19937_64 random{20240611};
    for (int table = 0; table < 300; ++table)
    {
        std::vector<Symbol> symbols;
        const std::size_t count = random() % 20;
        while (symbols.size() < count)
        {
            const Symbol symbol{random() % 256, random() % 3 == 0 ? 0 : random() % 24, std::to_string(random())};
            if (std::ranges::find(symbols, symbol.Address, &Symbol::Address) == symbols.end())
                symbols.push_back(symbol);
        }
        const SymbolModule module = MakeModule(symbols);
        for (uint64_t offset = 0; offset < 300; ++offset)
        {
            const Symbol* last = nullptr;
            for (const Symbol& symbol : symbols)
                if (symbol.Address <= offset && (last == nullptr || symbol.Address > last->Address))
                    last = &symbol;
            const bool isCovered = last != nullptr && (last->Size == 0 || offset < last->Address + last->Size);
            ASSERT_EQ(NameAt(module, 0x1000, 0x1000 + offset), isCovered ? last->Name : "-")
                << "table " << table << ", offset " << offset;
        }
    }
}

TEST(SymbolModuleLookupTest, FindsTheFirstOfAName)
{
    const SymbolModule module = MakeModule({{8, 1, "f"}, {4, 1, "f"}, {2, 1, "ff"}});
    ASSERT_NE(module.FindByName("f"), nullptr);
    EXPECT_EQ(module.FindByName("f")->Address, 4u);
    EXPECT_EQ(module.FindByName("F"), nullptr);
    EXPECT_EQ(module.FindByName(""), nullptr);
}

class SymbolFileTest : public testing::Test
{
protected:
    SymbolFileTest()
    {
        const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(mRegistry);
        gRegisterSymbolTypes(mRegistry);
        Serialization::gRegisterTypes(mRegistry);
        mRegistry.Register(RTTI::gTypeOf<Tests::Stranger>());
        mRegistry.Finalize();
    }

    static SymbolModule MakeSample(ESymbolSource source = ESymbolSource::Found)
    {
        SymbolModule module{
            PDBKey::sMake("C:\\app.exe", 0x5F000001, 0x3000, 2, {0x1067CA476B29FC40, 0xDA620601DD001DB3}, "app.pdb"),
            cSettingsHash, source};
        if (source == ESymbolSource::Found)
        {
            module.AddSymbol(0x1040, 0, "Run");
            module.AddSymbol(0x1000, 0x40, "main");
            module.Sort();
        }
        return module;
    }

    std::string Save(SymbolModule module, const std::string& name = "m.symcache")
    {
        Utility::Result result;
        EXPECT_TRUE(module.Save(mFolder / name, result)) << result.ToString();
        return mFolder / name;
    }

    std::unique_ptr<SymbolModule> Load(const std::string& path, uint64_t settingsHash = cSettingsHash)
    {
        mResult.Clear();
        return SymbolModule::Load(path, mRegistry, settingsHash, mResult);
    }

    /// In place, which is much cheaper than a new file each time.
    void Overwrite(const std::string& name, std::size_t offset, std::string_view bytes)
    {
        std::fstream file{mFolder / name, std::ios::binary | std::ios::in | std::ios::out};
        file.seekp(static_cast<std::streamoff>(offset));
        file << bytes;
    }

    static std::string MakeChecksum(std::string_view bytes)
    {
        const uint64_t checksum = Utility::gXXH64(bytes.substr(0, bytes.size() - sizeof(uint64_t)));
        return {reinterpret_cast<const char*>(&checksum), sizeof(checksum)};
    }

    void ExpectFailure(int32_t code, const std::string& message)
    {
        ASSERT_EQ(mResult.GetEntries().size(), 1u);
        EXPECT_EQ(mResult.GetEntries()[0].mCode, code);
        EXPECT_EQ(mResult.GetEntries()[0].mMessage, message);
        EXPECT_TRUE(mResult.GetContexts().empty());
    }

    TemporaryFolder mFolder;
    RTTI::TypeRegistry mRegistry;
    Utility::Result mResult;
};

TEST_F(SymbolFileTest, ComesBackAsItWasSaved)
{
    const auto module = Load(Save(MakeSample(), "app.pdb/0123/app.symcache"));
    ASSERT_NE(module, nullptr) << mResult.ToString();
    EXPECT_EQ(module->GetPDBKey(), MakeSample().GetPDBKey());
    EXPECT_EQ(module->GetSymbolSettingsHash(), cSettingsHash);
    EXPECT_EQ(module->GetSourcePDBStatus(), ESymbolSource::Found);
    EXPECT_EQ(module->GetFunctions(), (std::vector<Symbol>{{0x1000, 0x40, "main"}, {0x1040, 0, "Run"}}));
    EXPECT_FALSE(mResult.HasErrors());
}

TEST_F(SymbolFileTest, HasTheBytesOfTheFormat)
{
    const auto guid = Payload{}.Number(uint64_t{0x1067CA476B29FC40}).Number(uint64_t{0xDA620601DD001DB3});
    const auto key = Payload{}
                         .Text("c:/app.exe")
                         .Number(int32_t{0x5F000001})
                         .Number(int32_t{0x3000})
                         .Number(int32_t{2})
                         .Sized(guid)
                         .Text("app.pdb");
    const auto functions = Payload{}
                               .Number(uint64_t{2})
                               .Sized(Payload{}.Number(uint64_t{0x1000}).Number(uint64_t{0x40}).Text("main"))
                               .Sized(Payload{}.Number(uint64_t{0x1040}).Number(uint64_t{0}).Text("Run"));
    const auto module = Payload{}.Sized(key).Number(cSettingsHash).Number(uint8_t{0}).Sized(functions);
    const auto payload = Payload{}.Number(uint64_t{1}).Text("Profiler::SymbolModule").Sized(module);

    Save(MakeSample());
    const std::string bytes = mFolder.Read("m.symcache");
    ASSERT_GT(bytes.size(), payload.GetBytes().size() + sizeof(uint64_t));
    EXPECT_EQ(bytes.substr(bytes.size() - sizeof(uint64_t) - payload.GetBytes().size(), payload.GetBytes().size()),
        payload.GetBytes());
}

TEST_F(SymbolFileTest, TypesKeepTheirStoredNames)
{
    const struct
    {
        const RTTI::TypeHandle& mType;
        const char* mName;
        int32_t mVersion;
        std::vector<std::string> mProperties;
    } rows[] = {
        {RTTI::gTypeOf<SymbolModule>(), "Profiler::SymbolModule", 10,
            {"PDBKey Profiler::PDBKey", "SymbolSettingsHash uint64_t", "SourcePDBStatus Profiler::ESymbolSource",
                "Functions Array_Profiler::Symbol"}},
        {RTTI::gTypeOf<Symbol>(), "Profiler::Symbol", 1, {"Address uint64_t", "Size uint64_t", "Name std::string"}},
        {RTTI::gTypeOf<SerializableGUID>(), "Profiler::SerializableGUID", 1, {"Data1 uint64_t", "Data2 uint64_t"}},
        {RTTI::gTypeOf<PDBKey>(), "Profiler::PDBKey", 2,
            {"ModulePath std::string", "ModuleTimeStamp int32_t", "ModuleSize int32_t", "PDBAge int32_t",
                "PDBGUID Profiler::SerializableGUID", "PDBName std::string"}},
        {RTTI::gTypeOf<ResolvedFunction>(), "Profiler::ResolvedFunction", 1,
            {"Address uint64_t", "Size uint64_t", "Name std::string"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mName);
        EXPECT_EQ(mRegistry.FindType(row.mName), &row.mType);
        EXPECT_EQ(RTTI::gGetCompound(row.mType).Version, row.mVersion);
        std::vector<std::string> properties;
        for (int32_t i = 0; i < RTTI::gGetNumProperties(row.mType); ++i)
        {
            const RTTI::Property& property = RTTI::gGetProperty(row.mType, i);
            properties.push_back(std::string{property.Name} + " " + property.Type->Info->Name);
        }
        EXPECT_EQ(properties, row.mProperties);
    }
    EXPECT_EQ(RTTI::gTypeOf<ESymbolSource>().Info->Size, 1);
}

TEST_F(SymbolFileTest, OnlyAnEmptyModuleDependsOnTheSettings)
{
    const std::string found = Save(MakeSample(), "found");
    const std::string missing = Save(MakeSample(ESymbolSource::NotFound), "missing");

    EXPECT_NE(Load(found, cSettingsHash), nullptr);
    EXPECT_NE(Load(found, 1), nullptr);
    const auto empty = Load(missing, cSettingsHash);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->FindByAddress(0, 0), nullptr);
    EXPECT_EQ(empty->FindByName("main"), nullptr);

    EXPECT_EQ(Load(missing, 1), nullptr);
    ExpectFailure(4, "Symbol settings have been changed. Empty symbol module should be reconverted.");
}

TEST_F(SymbolFileTest, OtherFilesAreRefused)
{
    EXPECT_EQ(Load(mFolder / "none"), nullptr);
    ExpectFailure(1, "Unable to open file");
    EXPECT_EQ(mResult.GetEntries()[0].mContext, mFolder / "none");

    EXPECT_EQ(Load(mFolder.Write("text", "This is not a symbol file.")), nullptr);
    ASSERT_EQ(mResult.GetEntries().size(), 1u);
    EXPECT_EQ(mResult.GetEntries()[0].mCode, 3);

    Tests::Stranger stranger;
    ASSERT_TRUE(Serialization::gWriteBinaryFile(mFolder / "stranger", {&stranger}, mResult));
    EXPECT_EQ(Load(mFolder / "stranger"), nullptr);
    ExpectFailure(5, "The file does not appear to be a SymbolModule file (missing SymbolModule object)");
}

TEST_F(SymbolFileTest, SaysWhyItCannotBeSaved)
{
    mFolder.Write("file", "in the way");
    Utility::Result result;
    EXPECT_FALSE(MakeSample().Save(mFolder / "file/m.symcache", result));
    EXPECT_TRUE(result.HasErrors());
}

TEST_F(SymbolFileTest, FailingDisksLeaveNothingButFolders)
{
    const std::string name = "app.pdb/0123/app.symcache";
    const auto write = [&](Utility::Result& result) {
        return MakeSample().Save(mFolder / name, result);
    };
    const auto check = [&](bool isWritten) {
        EXPECT_TRUE(isWritten || Load(mFolder / name) == nullptr || mFolder.List().size() == 1);
        Utility::Result result;
        EXPECT_TRUE(write(result)) << result.ToString();
        EXPECT_NE(Load(mFolder / name), nullptr) << mResult.ToString();
    };
    EXPECT_GE(FileSystem::Internal::gTryOnFailingDisks({mFolder, {"app.pdb", "app.pdb/0123", name},
                  [&] { FileSystem::gDeleteDirectoryTree(mFolder / "app.pdb"); }, write, check}),
        9);
}

TEST_F(SymbolFileTest, EveryDamageIsNoticed)
{
    const std::string path = Save(MakeSample());
    Damage::gExpectEachRefused(path, [&] {
        const bool isLoaded = Load(path) != nullptr;
        EXPECT_EQ(mResult.GetEntries().size(), isLoaded ? 0u : 1u);
        return !isLoaded;
    });
}

/// What passes the checksum may still be wrong: the outcome is an error or a module that can be asked.
TEST_F(SymbolFileTest, DamageBehindTheChecksumDoesNoHarm)
{
    const std::string path = Save(MakeSample());
    const std::string bytes = mFolder.Read("m.symcache");
    const std::size_t checksumOffset = bytes.size() - sizeof(uint64_t);
    // The schema's text, which is most of the file, is left to the tests of the container.
    const std::size_t begin = bytes.rfind("Profiler::SymbolModule") - 2 * sizeof(uint64_t);
    for (std::size_t offset = begin; offset < checksumOffset; ++offset)
    {
        for (const char value : {'\0', '\x01', '\x7F', '\xFF'})
        {
            std::string damaged = bytes;
            damaged[offset] = value;
            Overwrite("m.symcache", offset, {&value, 1});
            Overwrite("m.symcache", checksumOffset, MakeChecksum(damaged));
            const auto module = Load(path);
            ASSERT_EQ(module == nullptr, mResult.HasErrors()) << offset;
            if (module == nullptr)
                continue;
            ASSERT_TRUE(std::ranges::is_sorted(module->GetFunctions(), {}, &Symbol::Address)) << offset;
            for (const uint64_t address : {uint64_t{0}, uint64_t{0x1000}, uint64_t{0x1041}, cMaximum})
                static_cast<void>(module->FindByAddress(0, address));
            static_cast<void>(module->FindByName("main"));
        }
        Overwrite("m.symcache", offset, {&bytes[offset], 1});
    }
}

TEST_F(SymbolFileTest, FunctionsOutOfOrderAreSorted)
{
    SymbolModule module{{}, cSettingsHash, ESymbolSource::Found};
    for (const uint64_t address : {30, 10, 20, 0})
        module.AddSymbol(address, 5, std::to_string(address));
    const auto loaded = Load(Save(std::move(module)));
    ASSERT_NE(loaded, nullptr) << mResult.ToString();
    for (const uint64_t address : {30, 10, 20, 0})
        EXPECT_EQ(NameAt(*loaded, 0, address + 4), std::to_string(address));
}

}
}
