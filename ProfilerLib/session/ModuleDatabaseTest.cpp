#include "ProfilerLib/session/ModuleDatabase.h"

#include <algorithm>
#include <limits>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProfilerLib/session/CallstackDatabase.h"
#include "ProfilerLib/session/FakeSymbolSource.h"
#include "ProfilerLib/session/InstrumentationDatabase.h"
#include "ProfilerLib/session/SessionFixture.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

namespace Tests
{

/// The databases alone, as a root.
struct Databases : public RTTI::Object
{
    explicit Databases(Profiler::SymbolSource* source = nullptr) : mModules{source} {}

    Profiler::ModuleDatabase mModules;
    Profiler::CallstackDatabase mCallstacks;
    Profiler::InstrumentationDatabase mInstrumentation;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Databases>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Databases>("Tests::Databases", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&Databases::mModules>{"Modules"}, RTTI::Field<&Databases::mCallstacks>{"Callstacks"},
            RTTI::Field<&Databases::mInstrumentation>{"Instrumentation"});
    }
};

}

namespace Profiler
{
namespace
{

constexpr double cAlways = ModuleImage::cAlwaysLoaded;
constexpr double cNever = ModuleImage::cNeverUnloaded;

Module& Add(ModuleDatabase& database, const std::string& path, uint64_t base, int32_t size, double load = cAlways,
    double unload = cNever)
{
    return database.AddModule(path, base, size, 1, 2, {3, 4}, "p", load, load, unload);
}

std::string NameAt(const ModuleDatabase& database, uint64_t address, double timeMs)
{
    const Module* module = database.FindModule(address, timeMs);
    return module == nullptr ? "-" : module->GetName();
}

class ModuleDatabaseTest : public testing::Test
{
protected:
    LogCapture mLog;
};

TEST_F(ModuleDatabaseTest, AddressAndTimePickTheModule)
{
    ModuleDatabase database;
    Add(database, "c:\\always.dll", 0x1000, 0x100);
    Add(database, "first.dll", 0x2000, 0x100, 10, 20);
    Add(database, "second.dll", 0x2000, 0x100, 30, 40);
    Add(database, "wide.dll", 0x3000, 0x1000, 10, 20);
    Add(database, "inner.dll", 0x3800, 0x10, 30, 40);
    Add(database, "unknown size.dll", 0x5000, -1);
    Add(database, "top.dll", ~uint64_t{0} - 0xF, 0x100);
    const struct
    {
        const char* mWhat;
        uint64_t mAddress;
        double mTimeMs;
        const char* mName;
    } rows[] = {
        {"below all", 0xFFF, 0, "-"},
        {"base", 0x1000, 0, "always.dll"},
        {"last byte", 0x10FF, 0, "always.dll"},
        {"end", 0x1100, 0, "-"},
        {"mapped from the load on", 0x2000, 10, "first.dll"},
        {"mapped up to the unload", 0x2000, 20, "first.dll"},
        {"the other one of the place", 0x20FF, 35, "second.dll"},
        {"between the two: the one to come", 0x2000, 25, "second.dll"},
        {"before both: the first in the list", 0x2000, 5, "first.dll"},
        {"after both", 0x2000, 50, "-"},
        {"around a shorter one", 0x3700, 15, "wide.dll"},
        {"in both, the wide one by time", 0x3808, 15, "wide.dll"},
        {"in both, before both", 0x3808, 5, "wide.dll"},
        {"in both, the shorter one by time", 0x3808, 35, "inner.dll"},
        {"hidden behind the shorter one", 0x3900, 15, "-"},
        {"unknown size", 0x5000, 0, "-"},
        {"up to the top of the address space", ~uint64_t{0}, 0, "top.dll"},
        {"no time", 0x1000, std::numeric_limits<double>::quiet_NaN(), "-"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NameAt(database, row.mAddress, row.mTimeMs), row.mName) << row.mWhat;
}

TEST_F(ModuleDatabaseTest, LookupsAgreeWithAWalkOverRandomModules)
{
    std::mt19937_64 random{7};
    for (int table = 0; table < 200; ++table)
    {
        ModuleDatabase database;
        const std::size_t count = random() % 12;
        for (std::size_t i = 0; i < count; ++i)
        {
            const double load = static_cast<double>(random() % 20);
            Add(database, std::to_string(i), 16 * (random() % 12), static_cast<int32_t>(random() % 64), load,
                load + static_cast<double>(random() % 10));
        }
        const std::vector<Module*> modules = database.GetModules();
        ASSERT_TRUE(std::ranges::is_sorted(modules, {}, &Module::GetImageBase));
        for (uint64_t address = 0; address < 300; address += 5)
        {
            for (double timeMs = -1; timeMs < 32; timeMs += 3)
            {
                // The list from its end: those above the address do not count, one that ends below it hides the rest.
                Module* expected = nullptr;
                for (auto module = modules.rbegin(); module != modules.rend(); ++module)
                {
                    const uint64_t base = (*module)->GetImageBase();
                    if (base > address)
                        continue;
                    if (base + static_cast<uint64_t>((*module)->GetImageSize()) <= address)
                        break;
                    const bool isLater = (*module)->GetLoadTimeMs() > timeMs;
                    if (isLater || timeMs <= (*module)->GetUnloadTimeMs())
                        expected = *module;
                    if (!isLater && timeMs <= (*module)->GetUnloadTimeMs())
                        break;
                }
                ASSERT_EQ(database.FindModule(address, timeMs), expected) << table << " " << address << " " << timeMs;
            }
        }
    }
}

TEST_F(ModuleDatabaseTest, AKnownModuleIsCompletedNotReplaced)
{
    ModuleDatabase database;
    Module& bare = database.AddModule("old.dll", 0x1000, 0x100, 0, -1, {0, 7}, "", 0, cAlways, cNever);
    // Any address in it finds it.
    EXPECT_EQ(&database.AddModule("C:/New.dll", 0x1010, 0x999, 5, 6, {8, 9}, "New.pdb", 3, 1, 9), &bare);
    EXPECT_EQ(bare.GetPDBKey(), PDBKey::sMake("c:/new.dll", 5, 0x100, 6, {8, 9}, "New.pdb"));
    EXPECT_EQ(bare.GetPath(), "C:/New.dll");
    EXPECT_EQ(bare.GetName(), "old.dll");
    EXPECT_EQ(bare.GetImageBase(), 0x1000u);
    EXPECT_EQ(bare.GetLoadTimeMs(), 1);
    EXPECT_EQ(bare.GetUnloadTimeMs(), 9);

    EXPECT_EQ(&database.AddModule("C:/New.dll", 0x1000, 0x100, 50, 60, {80, 90}, "Other.pdb", 3, 2, 8), &bare);
    EXPECT_EQ(bare.GetPDBKey(), PDBKey::sMake("c:/new.dll", 5, 0x100, 6, {8, 9}, "New.pdb"));
    EXPECT_EQ(bare.GetLoadTimeMs(), 1);
    EXPECT_EQ(bare.GetUnloadTimeMs(), 9);
    EXPECT_EQ(database.GetNumModules(), 1u);

    // A time stamp of -1 counts as known: only 0 is a gap.
    Module& unknown = database.AddModule("x", 0x9000, 0x100, -1, -1, {}, "", 0, 0, 1);
    database.AddModule("x", 0x9000, 0x100, 5, -1, {}, "", 0, 0, 1);
    EXPECT_EQ(unknown.GetPDBKey().ModuleTimeStamp, -1);
    EXPECT_NE(&Add(database, "y", 0x9000, 0x100, 2, 3), &unknown) << "gone by then";
    EXPECT_EQ(NameAt(database, 0x9000, 2), "y");
}

TEST_F(ModuleDatabaseTest, SystemModulesAreKnownByThePrefixOfTheirName)
{
    const struct
    {
        const char* mPath;
        const char* mRole;
    } rows[] = {
        {"c:\\windows\\ntdll.dll", "n"},
        {"NTDLLextra", "n"},
        {"c:/kernel32/other.dll", ""},
        {"Kernel32.DLL", "3"},
        {"KERNELBASE.dll", "b"},
        {"SpindlemarkApi64.dll", "i"},
        {"spindlemarkAPI.dll", ""}, // the second one does not count
        {"myntdll.dll", ""},
        {"", ""},
    };
    // As recorded, and again as read.
    Tests::Databases databases;
    ModuleDatabase& database = databases.mModules;
    for (std::size_t i = 0; i < std::size(rows); ++i)
        Add(database, rows[i].mPath, 0x1000 * (i + 1), 0x100);
    ModuleDatabase read;
    GetStored<std::vector<std::unique_ptr<Module>>>(read, "Modules") =
        std::move(GetStored<std::vector<std::unique_ptr<Module>>>(database, "Modules"));
    const std::vector<Module*> modules = read.GetModules();
    read.OnLoaded();
    for (const ModuleDatabase* which :
        {static_cast<const ModuleDatabase*>(&database), static_cast<const ModuleDatabase*>(&read)})
    {
        for (std::size_t i = 0; i < std::size(rows); ++i)
        {
            const auto getRole = [&](uint64_t address) {
                return std::string{which->IsInNtdll(address) ? "n" : ""} + (which->IsInKernel32(address) ? "3" : "") +
                       (which->IsInKernelBase(address) ? "b" : "");
            };
            const uint64_t base = 0x1000 * (i + 1);
            const std::string role = rows[i].mRole;
            EXPECT_EQ(getRole(base) + (which->GetInstrumentationModule() == modules[i] ? "i" : ""), role)
                << rows[i].mPath;
            EXPECT_EQ(getRole(base + 0xFF), role == "i" ? "" : role);
            EXPECT_EQ(getRole(base + 0x100), "");
            EXPECT_EQ(getRole(base - 1), "");
        }
    }
}

TEST_F(ModuleDatabaseTest, TheKernelIsAskedForItsInterruptFunctions)
{
    FakeSymbolSource source;
    source.Add("C:/NtOsKrnl.exe", {{0x900, 0x10, "KiApcInterrupt"}, {0x100, 0x10, "KiInterruptDispatchNoLockNoEtw"},
                                      {0x500, 0, "KiHvInterrupt"}, {0x700, 0x10, "KiOther"}});
    ModuleDatabase recorded{&source};
    Module& kernel = Add(recorded, "C:/NtOsKrnl.exe", 0x10000, 0x1000);
    EXPECT_EQ(recorded.GetKernelInterruptAddresses(), (std::vector<uint64_t>{0x10100, 0x10500, 0x10900}));
    EXPECT_EQ(kernel.GetFunctions().size(), 3u);

    // A stored session has them in what was resolved, and loads nothing for them.
    ModuleDatabase read{&source};
    auto& modules = GetStored<std::vector<std::unique_ptr<Module>>>(read, "Modules");
    modules = std::move(GetStored<std::vector<std::unique_ptr<Module>>>(recorded, "Modules"));
    source.mNumCalls = 0;
    read.OnLoaded();
    EXPECT_EQ(read.GetKernelInterruptAddresses(), recorded.GetKernelInterruptAddresses());
    EXPECT_EQ(source.mNumCalls, 0);

    // Without a source there is one attempt, and none of them.
    ModuleDatabase alone;
    mLog.Take();
    Add(alone, "ntoskrnl.exe", 0x10000, 0x1000);
    EXPECT_TRUE(alone.GetKernelInterruptAddresses().empty());
    const std::string log = mLog.Take();
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
}

TEST_F(ModuleDatabaseTest, AnAddressOfNoModuleResolvesToAPlaceholder)
{
    FakeSymbolSource source;
    ModuleDatabase database{&source};
    Add(database, "a.dll", 0x1000, 0x100);
    const ResolvedAddress resolved = database.ResolveAddress(0xABC, 0, false);
    ASSERT_NE(resolved.mModule, nullptr);
    EXPECT_EQ(resolved.mModule->GetName(), "<unknown>");
    EXPECT_EQ(resolved.mModule->GetPath(), "<unknown>");
    EXPECT_EQ(resolved.mName, "Unknown");
    EXPECT_EQ(resolved.GetDisplayName(), "0xABC");
    EXPECT_EQ(source.mNumCalls, 0);
}

TEST_F(ModuleDatabaseTest, SearchesFindResolvedFunctionsOfAllModules)
{
    FakeSymbolSource source;
    source.Add("a", {{0x10, 8, "LoadFile"}, {0x20, 8, "NeverAskedForLoad"}});
    source.Add("b", {{0x10, 8, "Reload"}, {0x20, 8, "Save"}});
    ModuleDatabase database{&source};
    Add(database, "b", 0x2000, 0x100);
    Add(database, "a", 0x1000, 0x100);
    for (const uint64_t address : {0x2010, 0x2020, 0x1010})
        database.ResolveAddress(address, 0, false);
    std::vector<InstrumentationSearchResult> results{{"before", 1, true}};
    database.FindFunctions("LOAD", results);
    EXPECT_EQ(results, (std::vector<InstrumentationSearchResult>{
                           {"before", 1, true}, {"LoadFile", 0x1010, false}, {"Reload", 0x2010, false}}));
}

TEST_F(ModuleDatabaseTest, ModulesOutOfOrderAndMissingOnesAreSetRight)
{
    ModuleDatabase database;
    auto& modules = GetStored<std::vector<std::unique_ptr<Module>>>(database, "Modules");
    for (const uint64_t base : {0x3000, 0x1000, 0x2000})
    {
        modules.push_back(std::make_unique<Module>());
        modules.push_back(nullptr);
        Module& module = *modules[modules.size() - 2];
        GetStored<std::string>(module, "Path") = std::to_string(base);
        GetStored<uint64_t>(module, "ImageBase") = base;
        GetStored<int32_t>(module, "ImageSize") = base == 0x2000 ? std::numeric_limits<int32_t>::min() : 0x100;
    }
    database.OnLoaded();
    EXPECT_EQ(database.GetNumModules(), 3u);
    EXPECT_EQ(NameAt(database, 0x1010, 0), std::to_string(0x1000));
    EXPECT_EQ(NameAt(database, 0x2010, 0), "-");
    EXPECT_EQ(NameAt(database, 0x30FF, 0), std::to_string(0x3000));
}

TEST_F(ModuleDatabaseTest, LookupsFromManyThreadsAgree)
{
    FakeSymbolSource source;
    source.mRecordsKeys = false;
    constexpr uint64_t cNumModules = 4;
    constexpr uint64_t cNumFunctions = 100;
    std::vector<Symbol> symbols;
    for (uint64_t i = 0; i < cNumFunctions; ++i)
        symbols.push_back({i * 16, i % 5 == 0 ? 0 : uint64_t{16}, "f" + std::to_string(i)});
    ModuleDatabase database{&source};
    for (uint64_t i = 0; i < cNumModules; ++i)
    {
        source.Add(std::to_string(i), symbols);
        Add(database, std::to_string(i), (i + 1) << 16, 1 << 16);
    }

    std::vector<std::thread> threads;
    std::atomic<int> numWrong = 0;
    for (unsigned seed = 0; seed < 4; ++seed)
    {
        threads.emplace_back([&, seed] {
            std::mt19937 random{seed};
            for (int i = 0; i < 1000; ++i)
            {
                const uint64_t module = random() % cNumModules;
                const uint64_t function = random() % cNumFunctions;
                const uint64_t start = ((module + 1) << 16) + function * 16;
                const ResolvedAddress resolved = database.ResolveAddress(start + random() % 16, 0, random() % 2 == 0);
                if (resolved.mFunctionAddress != start || resolved.mName != "f" + std::to_string(function))
                    ++numWrong;
                if (i % 200 == 0)
                {
                    std::vector<InstrumentationSearchResult> results;
                    database.FindFunctions("f1", results);
                    resolved.mModule->ResolveFunctionByName("f99", false);
                }
            }
        });
    }
    // A recording goes on meanwhile: new modules, and old ones completed.
    for (uint64_t i = 0; i < 200; ++i)
    {
        Add(database, "new", (i % 50 + 100) << 16, 1 << 16);
        database.AddModule(std::to_string(i % cNumModules), ((i % cNumModules) + 1) << 16, 1 << 16, 5, 6, {7, 8}, "new",
            0, -static_cast<double>(i), cNever);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(numWrong, 0);
    for (Module* module : database.GetModules())
    {
        const std::vector<ResolvedFunction> functions = module->GetFunctions();
        EXPECT_EQ(
            std::ranges::adjacent_find(functions, std::greater_equal{}, &ResolvedFunction::Address), functions.end());
    }
}

class DatabaseFileTest : public testing::Test
{
protected:
    DatabaseFileTest()
    {
        const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(mRegistry);
        mRegistry.Register(RTTI::gTypeOf<Tests::Databases>());
        Serialization::gRegisterTypes(mRegistry);
        mRegistry.Finalize();
    }

    LogCapture mLog;
    RTTI::TypeRegistry mRegistry;
};

TEST_F(DatabaseFileTest, DatabasesComeBackAsTheyWere)
{
    FakeSymbolSource source;
    source.Add("c:\\a.dll", {{0x10, 8, "f"}, {0x20, 0, "g"}});
    Tests::Databases databases{&source};
    databases.mModules.AddModule("c:\\a.dll", 0x1000, 0x100, 11, 12, {13, 14}, "a.pdb", 0, 1.5, 2.5);
    Add(databases.mModules, "b.dll", 0x2000, 0x100);
    databases.mModules.ResolveAddress(0x1027, 2, false);
    databases.mCallstacks.AddCallstack(1, {0x1010, 0x1020});
    databases.mCallstacks.AddCallstack(1, {});
    databases.mCallstacks.AddCallstack(2, {});
    const uint64_t context = databases.mInstrumentation.AddEvent(5, "name", "context");

    Utility::Result result;
    Utility::OutputMemoryStream output;
    ASSERT_TRUE(Serialization::gWriteBinary(output, {&databases}, result)) << result.ToString();
    Utility::InputMemoryStream input{output.GetData()};
    RTTI::ObjectFactory factory;
    FakeSymbolSource later;
    factory.SetFactory<Module>([&] { return std::make_unique<Module>(&later); });
    std::vector<std::unique_ptr<RTTI::Object>> roots;
    ASSERT_TRUE(
        Serialization::gReadBinary(input, mRegistry, factory, Serialization::EUnknownTypePolicy::Skip, roots, result))
        << result.ToString();
    const auto read = Serialization::gTakeFirst<Tests::Databases>(roots);
    ASSERT_NE(read, nullptr);
    read->mModules.OnLoaded();

    ASSERT_EQ(read->mModules.GetNumModules(), 2u);
    Module& module = *read->mModules.GetModules()[0];
    EXPECT_EQ(module.GetName(), "a.dll");
    EXPECT_EQ(module.GetPath(), "c:\\a.dll");
    EXPECT_EQ(module.GetPDBKey(), PDBKey::sMake("c:/a.dll", 11, 0x100, 12, {13, 14}, "a.pdb"));
    EXPECT_EQ(module.GetImageBase(), 0x1000u);
    EXPECT_EQ(module.GetImageEnd(), 0x1100u);
    EXPECT_EQ(module.GetLoadTimeMs(), 1.5);
    EXPECT_EQ(module.GetUnloadTimeMs(), 2.5);
    EXPECT_EQ(module.GetLoadState(), Module::ELoadState::Stored);
    EXPECT_EQ(module.GetFunctions(), (std::vector<ResolvedFunction>{{0x1020, 0, "g"}}));
    EXPECT_EQ(read->mModules.GetModules()[1]->GetUnloadTimeMs(), cNever);
    EXPECT_EQ(read->mModules.ResolveAddress(0x1027, 2, false).mName, "Unknown");
    EXPECT_EQ(later.mNumCalls, 1) << "a module that was read asks the source of its reader";

    ASSERT_NE(read->mCallstacks.FindCallstack(1), nullptr);
    EXPECT_EQ(*read->mCallstacks.FindCallstack(1), (Callstack{0x1010, 0x1020}));
    EXPECT_EQ(read->mCallstacks.FindCallstack(2)->size(), 0u);
    EXPECT_EQ(read->mCallstacks.FindCallstack(3), nullptr);
    EXPECT_EQ(read->mInstrumentation.GetEventName(5), "name");
    EXPECT_EQ(read->mInstrumentation.GetContext(context), "context");
}

TEST_F(DatabaseFileTest, WritingUnderAFreezeIsWholeWhileLookupsGoOn)
{
    constexpr uint64_t cNumFunctions = 500;
    std::vector<Symbol> symbols;
    for (uint64_t i = 0; i < cNumFunctions; ++i)
        symbols.push_back({i * 16, 16, "a function with a long name " + std::to_string(i)});
    FakeSymbolSource source;
    source.mRecordsKeys = false;
    source.Add("m", symbols);
    Tests::Databases databases{&source};
    Add(databases.mModules, "m", 0x10000, 0x10000);

    std::thread lookups{[&] {
        for (uint64_t i = 0; i < cNumFunctions; ++i)
            databases.mModules.ResolveAddress(0x10000 + (i * 7 % cNumFunctions) * 16, 0, false);
    }};
    for (int i = 0; i < 20; ++i)
    {
        Utility::Result result;
        Utility::OutputMemoryStream output;
        {
            const ModuleDatabase::Freeze freeze{databases.mModules};
            ASSERT_TRUE(Serialization::gWriteBinary(output, {&databases}, result)) << result.ToString();
        }
        Utility::InputMemoryStream input{output.GetData()};
        std::vector<std::unique_ptr<RTTI::Object>> roots;
        EXPECT_TRUE(
            Serialization::gReadBinary(input, mRegistry, {}, Serialization::EUnknownTypePolicy::Skip, roots, result))
            << result.ToString();
    }
    lookups.join();
    EXPECT_EQ(databases.mModules.GetModules().front()->GetFunctions().size(), cNumFunctions);
}

TEST_F(DatabaseFileTest, TypesKeepTheirStoredNames)
{
    const struct
    {
        const RTTI::TypeHandle& mType;
        const char* mName;
        int32_t mVersion;
        std::vector<std::string> mProperties;
    } rows[] = {
        {RTTI::gTypeOf<Module>(), "Profiler::Module", 1,
            {"Name std::string", "Path std::string", "ImageBase uint64_t", "ImageEnd uint64_t", "ImageSize int32_t",
                "ImageTimeStamp int32_t", "PDBName std::string", "PDBAge int32_t", "PDBGUID Profiler::SerializableGUID",
                "LoadTimeMs double", "UnloadTimeMs double",
                "ResolvedFunctions Map_uint64_t_To_Profiler::ResolvedFunction",
                "Functions Array_Profiler::ResolvedFunction"}},
        {RTTI::gTypeOf<ModuleDatabase>(), "Profiler::ModuleDatabase", 1,
            {"Modules Array_std::unique_ptr<Profiler::Module>"}},
        {RTTI::gTypeOf<CallstackDatabase>(), "Profiler::CallstackDatabase", 1,
            {"StacksByID Map_Profiler::CallstackKey_To_std::unique_ptr<Profiler::Callstack>"}},
        {RTTI::gTypeOf<InstrumentationDatabase>(), "Profiler::InstrumentationDatabase", 2,
            {"InstrumentationIDs Map_uint64_t_To_std::string", "ContextIDs Map_uint64_t_To_std::string"}},
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
    const RTTI::TypeHandle& stack = *RTTI::gGetMap(RTTI::gTypeOf<CallstackMap>()).Value;
    EXPECT_EQ(stack.GetName(), "UniquePtr_Array_uint64_t");
}

}
}
