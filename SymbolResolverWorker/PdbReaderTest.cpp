#include "SymbolResolverWorker/PdbReader.h"

#include <map>
#include <optional>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/Testing/MsfBuilder.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Format.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

const std::string cSample = SYMBOL_TEST_DATA "/sample.pdb";

class PdbReaderTest : public ReaderTest
{
protected:
    bool Open(const std::string& path) { return mReader.Open(path, mResult); }

    PdbReader mReader;
    Utility::Result mResult;
};

/// The decimal number behind a label.
std::optional<uint64_t> FindNumber(const std::string& line, const std::string& label)
{
    const std::size_t found = line.find(label);
    if (found == std::string::npos)
        return std::nullopt;
    return std::stoull(line.substr(found + label.size()));
}

std::string Describe(const Profiler::Symbol& function)
{
    return Utility::gFormat("%llx %llu ", static_cast<unsigned long long>(function.Address),
               static_cast<unsigned long long>(function.Size)) +
           function.Name;
}

/// What llvm-pdbutil says of the sample, as `TestData/make-sample` prints it; code begins at 0x1000.
TEST_F(PdbReaderTest, TheSampleIsWhatItsMakersToolSays)
{
    ASSERT_TRUE(Open(cSample)) << mResult.ToString();
    EXPECT_EQ(mReader.GetFile().GetGUID().ToString(), "E7F0BAA7-2E2A-9989-4C4C-44205044422E");
    EXPECT_EQ(mReader.GetFile().GetAge(), 1);
    EXPECT_THAT(ReadFunctions(mReader),
        ::testing::ElementsAre(Profiler::Symbol{0x1000, 10, "Outer::Work"}, Profiler::Symbol{0x1010, 74, "start"},
            Profiler::Symbol{0x1060, 17, "Help"}, Profiler::Symbol{0x1080, 17, "Outer::Box::Open"},
            Profiler::Symbol{0x10A0, 4, "Outer::Twice<int>"}));

    const std::map<uint64_t, int32_t> lines{{0x1000, 8}, {0x1005, 8}, {0x1006, 9}, {0x1009, 9}, {0x1010, 35},
        {0x103F, 36}, {0x1040, 38}, {0x1050, 37}, {0x1059, 39}, {0x1060, 30}, {0x1090, 18}, {0x10A3, 25}};
    for (const auto& [address, line] : lines)
        EXPECT_EQ(mReader.FindLine(address), (SourceLine{"/sample/sample.cpp", line})) << std::hex << address;
    for (const uint64_t address : {0x0, 0xFFF, 0x100A, 0x105A, 0x10A4, 0x2000, 0x100000})
        EXPECT_EQ(mReader.FindLine(address), std::nullopt) << std::hex << address;
    EXPECT_EQ(mReader.FindLineInFile(0x1041, 0x1010, "/sample/sample.cpp"), 38);
}

TEST_F(PdbReaderTest, AnImageNamesItsDatabase)
{
    ImageIdentity identity;
    ASSERT_TRUE(identity.Read(SYMBOL_TEST_DATA "/sample.exe", mResult)) << mResult.ToString();
    const Profiler::PDBKey& key = identity.mKey;
    ASSERT_TRUE(Open(cSample));
    EXPECT_EQ(key.PDBGUID, mReader.GetFile().GetGUID());
    EXPECT_EQ(key.PDBAge, mReader.GetFile().GetAge());
    EXPECT_EQ(key.PDBName, "sample.pdb");
    EXPECT_EQ(key.ModuleSize, 0x5000);
    EXPECT_EQ(identity.mBase, 0x140000000u);
}

TEST_F(PdbReaderTest, FunctionsAreThoseThatPdbutilSees)
{
    for (const char* tool : {"clang-14", "lld-link-14", "llvm-pdbutil-14"})
    {
        if (!gHasProgram(tool))
            GTEST_SKIP() << "There is no " << tool;
    }
    std::string command = "cd " + mFolder.GetPath();
    for (int unit = 0; unit < 8; ++unit)
    {
        std::string source = unit == 0 ? "int Unit1_F0(int); extern \"C\" int start() { return Unit1_F0(1); }\n" : "";
        for (int i = 0; i < 100; ++i)
            source += Utility::gFormat("%s __attribute__((noinline)) int Unit%d_F%d(int v)\n{\n    return v * %d;\n}\n"
                                       "namespace N%d { int C%d(int v) { return Unit%d_F%d(v) + 1; } }\n",
                i % 3 == 1 ? "static" : "", unit, i, i + 2 + 100 * unit, unit, i, unit, i);
        mFolder.Write("u" + std::to_string(unit) + ".cpp", source);
        command += Utility::gFormat(
            " && clang-14 --target=x86_64-pc-windows-msvc -g -gcodeview -O1 -c u%d.cpp -o u%d.obj", unit, unit);
    }
    // A unit without debug information has public functions only.
    mFolder.Write("p.cpp", "int Public(int v) { return v; }\nint PublicToo(int v) { return v + 1; }\n");
    gRunShell(command + " && clang-14 --target=x86_64-pc-windows-msvc -O1 -c p.cpp -o p.obj"
                        " && lld-link-14 -debug -nodefaultlib -entry:start -subsystem:console -opt:noref,noicf"
                        " -out:big.exe *.obj");
    const std::string pdb = mFolder / "big.pdb";
    ASSERT_TRUE(Open(pdb)) << mResult.ToString();

    // One section has all code, at 0x1000.
    std::map<uint64_t, Profiler::Symbol> expected;
    const std::string dump = gRunShell("llvm-pdbutil-14 dump -symbols -publics " + pdb);
    // The name stands in one line, all else in the next.
    std::string name;
    for (const std::string& line : gSplitLines(dump))
    {
        const auto offset = FindNumber(line, "addr = 0001:");
        const auto size = FindNumber(line, "code size = ");
        if (!name.empty() && offset && size)
            expected[0x1000 + *offset] = {0x1000 + *offset, *size, name};
        else if (!name.empty() && offset && line.find("flags = function") != std::string::npos)
            expected.try_emplace(0x1000 + *offset, Profiler::Symbol{0x1000 + *offset, 0, name});
        const bool isFunction =
            line.find("PROC32 [") != std::string::npos || line.find("S_PUB32 [") != std::string::npos;
        const std::size_t quote = line.find('`');
        name = isFunction ? line.substr(quote + 1, line.rfind('`') - quote - 1) : "";
    }
    const auto functions = ReadFunctions(mReader);
    ASSERT_GT(functions.size(), 1500u);
    std::vector<std::string> found;
    std::vector<std::string> wanted;
    for (const Profiler::Symbol& function : functions)
        found.push_back(Describe(function));
    for (const auto& [address, function] : expected)
        wanted.push_back(Describe(function));
    EXPECT_EQ(found, wanted);

    // "  0001:00000010-0000005A, line/addr entries = 6", then the lines: number, address, mark.
    std::map<uint64_t, SourceLine> lines;
    std::string file;
    for (const std::string& line : gSplitLines(gRunShell("llvm-pdbutil-14 dump -l " + pdb)))
    {
        if (line.starts_with("/"))
            file = line.substr(0, line.find(" (MD5: "));
        // Of two at one address the last one counts.
        std::istringstream entries{line};
        for (std::string number, address, mark; entries >> number >> address >> mark && mark == "!";)
            lines[0x1000 + std::stoull(address, nullptr, 16)] = {file, std::stoi(number)};
    }
    EXPECT_GT(lines.size(), 1500u);
    for (const auto& [address, line] : lines)
        EXPECT_EQ(mReader.FindLine(address), line) << std::hex << address << " is line " << std::dec << line.mLine;
}

/// A damaged file is refused or read as far as it goes; no more is asked of it here than that it ends.
TEST_F(PdbReaderTest, DamageIsNoticedOrHarmless)
{
    const MsfBuilder whole = MsfBuilder::sRead(cSample);
    ASSERT_TRUE(Open(mFolder.Write("whole.pdb", whole.Build()))) << mResult.ToString();
    ASSERT_EQ(ReadFunctions(mReader).size(), 5u);

    struct Row
    {
        const char* mWhat;
        std::size_t mStream;
        std::size_t mOffset;
        std::string mBytes;
        bool mIsRefused;
    };
    const std::string most = "\xFF\xFF\xFF\xFF";
    const std::vector<Row> rows{{"an old info stream", 1, 0, std::string(4, '\0'), true},
        {"texts of names too long", 1, 28, most, true}, {"an unknown DBI version", 3, 4, most, true},
        {"modules too long", 3, 24, most, true}, {"contributions too long", 3, 28, most, true},
        {"modules without an end", 3, 64 + 64, std::string(400, 'x'), true},
        {"a module in no stream", 3, 64 + 34, std::string("\x77\x00", 2), false},
        {"symbols longer than their stream", 3, 64 + 36, most, false},
        {"a record that is too long", 11, 4, std::string("\xFF\x7F", 2), false},
        {"a name without an end", 11, 4 + 2 + 37, std::string(160, 'x'), false},
        {"lines longer than their stream", 3, 64 + 44, most, false}};
    for (const Row& row : rows)
    {
        MsfBuilder damaged = whole;
        ASSERT_LE(row.mOffset + row.mBytes.size(), damaged.mStreams[row.mStream].size()) << row.mWhat;
        damaged.mStreams[row.mStream].replace(row.mOffset, row.mBytes.size(), row.mBytes);
        mFolder.Replace("damaged.pdb", damaged.Build());
        PdbReader reader;
        Utility::Result result;
        EXPECT_EQ(!reader.Open(mFolder / "damaged.pdb", result), row.mIsRefused) << row.mWhat;
        EXPECT_EQ(result.HasErrors(), row.mIsRefused) << row.mWhat;
        std::vector<Profiler::Symbol> functions;
        (void)reader.ReadFunctions(functions, mControl, result);
        (void)reader.FindLine(0x1000);
    }
}

/// Otherwise a small file could have much read: each of its modules all of the others' symbols.
TEST_F(PdbReaderTest, AStreamBelongsToOneModule)
{
    MsfBuilder shared = MsfBuilder::sRead(cSample);
    // The modules stand behind the header of 64 bytes: 64 bytes each with the stream at 34, then two texts, padded.
    std::string& modules = shared.mStreams[3];
    const std::size_t textEnd = modules.find('\0', modules.find('\0', 128) + 1) + 1;
    modules.replace(((textEnd + 3) & ~std::size_t{3}) + 34, 2, modules.substr(64 + 34, 2));
    ASSERT_TRUE(Open(mFolder.Write("shared.pdb", shared.Build()))) << mResult.ToString();
    ASSERT_EQ(mReader.GetFile().GetModules().size(), 2u);
    EXPECT_NE(mReader.GetFile().GetModules()[0].mStream, MsfFile::cNoStream);
    EXPECT_EQ(mReader.GetFile().GetModules()[1].mStream, MsfFile::cNoStream);
    EXPECT_EQ(ReadFunctions(mReader).size(), 5u);
}

TEST_F(PdbReaderTest, AContainerThatLiesIsRefused)
{
    const std::string whole = MsfBuilder::sRead(cSample).Build();
    // Each at its offset in the first block: block size, number of blocks, size of the directory, block of its map.
    const std::map<std::size_t, std::set<uint32_t>> lies{{0, {0}}, {32, {0, 1, 511, 513, 1u << 31}},
        {40, {0, 1, 0xFFFFFFFF}}, {44, {0, 3, 0x7FFFFFFF, 0xFFFFFFFF}}, {52, {0xFFFFFFFF, 0x00FFFFFF}}};
    for (const auto& [offset, numbers] : lies)
    {
        for (const uint32_t number : numbers)
        {
            std::string lie = whole;
            std::memcpy(lie.data() + offset, &number, sizeof(number));
            mFolder.Replace("lie.pdb", lie);
            Utility::Result result;
            EXPECT_FALSE(PdbReader{}.Open(mFolder / "lie.pdb", result)) << offset << " " << number;
            EXPECT_TRUE(result.HasErrors());
        }
    }
    // Streams that share blocks: more than the file has.
    MsfBuilder builder;
    builder.mStreams.assign(4, std::string(2000, 'x'));
    std::string shared = builder.Build();
    const std::size_t directory = shared.size() - 2 * MsfBuilder::cBlockSize;
    const uint32_t huge = static_cast<uint32_t>(shared.size()) * 100;
    std::memcpy(shared.data() + directory + 4, &huge, sizeof(huge));
    mFolder.Replace("lie.pdb", shared);
    EXPECT_FALSE(Open(mFolder / "lie.pdb"));
    EXPECT_THAT(mResult.ToString(), ::testing::HasSubstr("blocks"));
}

}

}
