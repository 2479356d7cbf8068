#include "SymbolResolverWorker/ElfReader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include <gmock/gmock.h>
#include <zstd.h>

#include "SymbolResolverWorker/DebugFileFinder.h"
#include "SymbolResolverWorker/SectionUnpacker.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Format.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

using ElfReaderTest = ReaderTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string cThisProgram = std::filesystem::read_symlink("/proc/self/exe").string();

constexpr const char* cSource = R"(
namespace Outer { int sCount; __attribute__((noinline)) int Work(int value) { sCount += value; return value * 2; } }
static __attribute__((noinline)) int Help(int value)
{
    return Outer::Work(value) + 1;
}
extern "C" int Start(int value)
{
    for (int i = 0; i < 10; ++i)
        value += Help(i);
    return value;
}
)";

std::vector<std::string> GetNames(const std::vector<Profiler::Symbol>& functions)
{
    std::vector<std::string> names;
    for (const Profiler::Symbol& function : functions)
        names.push_back(function.Name);
    return names;
}

/// The better one of two at one address is smaller.
std::pair<bool, int> GetRank(const ToolFunction& function)
{
    const int binding = function.mBinding == "LOCAL" ? 2 : function.mBinding == "WEAK" ? 1 : 0;
    return {function.mSize == 0, binding};
}

TEST_F(ElfReaderTest, FunctionsAreThoseThatReadelfSees)
{
    // The last one is this program, which has a symbol table.
    for (const std::string& path :
        {std::string{"/lib/x86_64-linux-gnu/libc.so.6"}, std::string{"/lib/x86_64-linux-gnu/libstdc++.so.6"},
            std::string{"/lib/x86_64-linux-gnu/libm.so.6"}, cThisProgram})
    {
        const auto reader = Open(path);
        const ElfFile* debugFile = reader->GetDebugFile();
        auto expected = gReadElfSymbols(debugFile == nullptr ? path : debugFile->GetPath(), ".symtab");
        const bool isStripped = expected.empty();
        if (isStripped)
            expected = gReadElfSymbols(path, ".dynsym");
        ASSERT_FALSE(expected.empty()) << path;

        const uint64_t base = reader->GetImage().GetBase();
        std::size_t numSeen = 0;
        for (const Profiler::Symbol& function : ReadFunctions(*reader))
        {
            if (isStripped && function.Name.starts_with("[unnamed"))
                continue;
            const auto [begin, end] = expected.equal_range(function.Address + base);
            numSeen += static_cast<std::size_t>(std::distance(begin, end));
            const auto best = std::min_element(
                begin, end, [](const auto& a, const auto& b) { return GetRank(a.second) < GetRank(b.second); });
            ASSERT_NE(best, end) << path << " has nothing where " << function.Name << " is";
            EXPECT_TRUE(std::any_of(begin, end,
                [&](const auto& entry) {
                    const ToolFunction& other = entry.second;
                    return other.mName == function.Name && (other.mSize == function.Size || other.mSize == 0) &&
                           GetRank(other) == GetRank(best->second);
                }))
                << path << " has another name, size or rank than " << function.Name;
        }
        // Each is there by itself or by another one of its address.
        EXPECT_EQ(numSeen, expected.size()) << path;
    }
}

TEST_F(ElfReaderTest, UnnamedFunctionsAreThoseThatReadelfUnwinds)
{
    for (const char* path :
        {"/lib/x86_64-linux-gnu/libc.so.6", "/lib/x86_64-linux-gnu/libstdc++.so.6", "/lib/x86_64-linux-gnu/libm.so.6"})
    {
        const auto reader = Open(path);
        if (reader->GetDebugFile() != nullptr)
            continue;
        const auto expected = gReadUnwindTable(path);
        std::map<uint64_t, Profiler::Symbol> functions;
        for (const Profiler::Symbol& function : ReadFunctions(*reader))
        {
            functions.emplace(function.Address, function);
            if (!function.Name.starts_with("[unnamed"))
                continue;
            const auto [begin, end] = expected.equal_range(function.Address);
            EXPECT_TRUE(std::any_of(
                begin, end, [&](const auto& range) { return range.second == function.Address + function.Size; }))
                << path << " " << function.Name;
        }
        for (const auto& [begin, end] : expected)
        {
            const auto behind = functions.upper_bound(begin);
            ASSERT_NE(behind, functions.begin()) << path;
            const Profiler::Symbol& function = std::prev(behind)->second;
            EXPECT_TRUE(begin == function.Address || begin - function.Address < function.Size)
                << path << " has nothing at 0x" << std::hex << begin;
        }
    }
}

TEST_F(ElfReaderTest, OneNameOfAnAddressIsKept)
{
    constexpr const char* cAssembly = R"(
        .text
        .macro name label, binding, size
        .type \label, @function
        \binding \label
        .size \label, \size
        \label:
        .endm
        .skip 16
        name unsized_global, .globl, 0
        name sized_local, .local, 4
        .skip 16
        name weak, .weak, 4
        name local, .local, 4
        name global, .globl, 4
        .skip 16
        name _a, .globl, 4
        name z, .globl, 4
        name __b, .globl, 4
        .skip 16
        name _ZN5Outer4WorkEi, .globl, 4
        .skip 16
        name lonely, .local, 0
        data_label:
        .skip 16
        .type object, @object
        .globl object
        object: .skip 8
    )";
    const auto functions = ReadFunctions(Compile("names.s", cAssembly, "-shared -fPIC -nostdlib"));
    EXPECT_THAT(GetNames(functions), ElementsAre("sized_local", "global", "z", "Outer::Work(int)", "lonely"));
    EXPECT_EQ(functions.back().Size, 24u) << "up to the end of its section";
}

TEST_F(ElfReaderTest, AddressesCountFromTheLowestSegment)
{
    const std::string path = Compile("fixed.cpp", cSource, "-nostdlib -static -no-pie -Wl,-e,Start -g");
    const auto reader = Open(path);
    EXPECT_EQ(reader->GetImage().GetBase(), 0x400000u);
    const auto functions = ReadFunctions(*reader);
    const auto start = std::ranges::find(functions, "Start", &Profiler::Symbol::Name);
    ASSERT_NE(start, functions.end());
    EXPECT_LT(start->Address, 0x10000u);
    EXPECT_EQ(reader->FindLine(start->Address), (SourceLine{mFolder / "fixed.cpp", 8}));
}

TEST_F(ElfReaderTest, WhatIsStrippedIsFoundByItsUnwindTable)
{
    const std::string path = Compile("whole.cpp", cSource, "-shared -fPIC -nostdlib -O1 -Wl,-Bsymbolic");
    const auto whole = ReadFunctions(path);
    ASSERT_THAT(GetNames(whole), ElementsAre("Outer::Work(int)", "Help(int)", "Start"));
    gRunShell("strip " + path);
    const auto stripped = ReadFunctions(path);
    ASSERT_EQ(stripped.size(), whole.size());
    for (std::size_t i = 0; i < whole.size(); ++i)
    {
        EXPECT_EQ(stripped[i].Address, whole[i].Address);
        EXPECT_EQ(stripped[i].Size, whole[i].Size);
    }
    EXPECT_EQ(
        stripped[1].Name, Utility::gFormat("[unnamed at 0x%llx]", static_cast<unsigned long long>(whole[1].Address)));
}

/// What is lost from the image comes back from its debug file, wherever that lies.
class DebugFileTest : public ReaderTest
{
protected:
    /// An image without symbols, and its debug file under another name.
    void Split(const std::string& options)
    {
        mImage = Compile("split.cpp", cSource, "-shared -fPIC -nostdlib -O1 -g " + options);
        gRunShell("cd " + mFolder.GetPath() + " && objcopy --only-keep-debug split.cpp.so split.debug && strip " +
                  mImage + " && objcopy --add-gnu-debuglink=split.debug split.cpp.so");
    }

    bool HasSymbols(const std::vector<std::string>& directories = {})
    {
        const auto reader = Open(mImage, directories);
        const auto functions = ReadFunctions(*reader);
        const bool hasNames = functions.size() == 3 && functions[1].Name == "Help(int)";
        return hasNames && reader->FindLine(functions[1].Address) == SourceLine{mFolder / "split.cpp", 4};
    }

    void Move(const std::string& to)
    {
        const std::string target = mFolder / to;
        std::filesystem::create_directories(FileSystem::gGetDirectory(target));
        std::filesystem::rename(mFolder / "split.debug", target);
    }

    std::string mImage;
};

TEST_F(DebugFileTest, IsFoundByItsBuildID)
{
    Split("-Wl,--build-id=0xabcdef0123456789");
    Move("store/.build-id/ab/cdef0123456789.debug");
    EXPECT_FALSE(HasSymbols());
    EXPECT_TRUE(HasSymbols({mFolder / "store"}));
    // That of another build is no use.
    std::string other = mFolder.Read("store/.build-id/ab/cdef0123456789.debug");
    const std::size_t buildID = other.find("\xAB\xCD\xEF\x01");
    ASSERT_NE(buildID, std::string::npos);
    other[buildID] = 'x';
    mFolder.Replace("store/.build-id/ab/cdef0123456789.debug", other);
    EXPECT_FALSE(HasSymbols({mFolder / "store"}));
}

TEST_F(DebugFileTest, IsFoundByItsNameAndChecksum)
{
    Split("-Wl,--build-id=none");
    EXPECT_TRUE(HasSymbols());
    Move(".debug/split.debug");
    EXPECT_TRUE(HasSymbols());
    std::filesystem::rename(mFolder / ".debug/split.debug", mFolder / "split.debug");
    Move("other/split.debug");
    EXPECT_FALSE(HasSymbols());
    EXPECT_TRUE(HasSymbols({mFolder / "other"}));
    gRunShell("printf x >> " + (mFolder / "other/split.debug"));
    EXPECT_FALSE(HasSymbols({mFolder / "other"})) << "the checksum is another one now";
}

TEST_F(DebugFileTest, MayBeCompressed)
{
    for (const char* form : {"zlib", "zlib-gnu"})
    {
        Split("-Wl,--build-id");
        gRunShell("cd " + mFolder.GetPath() + " && objcopy --compress-debug-sections=" + form +
                  " split.debug && objcopy --remove-section=.gnu_debuglink split.cpp.so && objcopy "
                  "--add-gnu-debuglink=split.debug split.cpp.so");
        EXPECT_TRUE(HasSymbols()) << form;
    }
}

/// Sections that become larger stay as they are, so this takes a source that repeats itself.
TEST_F(ElfReaderTest, LinesComeOutOfSectionsPackedWithZstd)
{
    std::string source;
    for (int i = 0; i < 200; ++i)
        source += Utility::gFormat("int Function%d(int v)\n{\n    return v + %d;\n}\n", i, i);
    for (const char* options : {"-g", "-gdwarf-4"})
    {
        const std::string path = Compile("packed.cpp", source, std::string{"-shared -fPIC -nostdlib "} + options);
        gRunShell("objcopy --compress-debug-sections=zstd " + path);
        EXPECT_THAT(gRunShell("readelf -tW " + path + " | grep -A3 debug_line$"), ::testing::HasSubstr("COMPRESSED"));
        const auto reader = Open(path);
        const auto functions = ReadFunctions(*reader);
        ASSERT_EQ(functions.size(), 200u) << options;
        EXPECT_EQ(reader->FindLine(functions[150].Address), (SourceLine{mFolder / "packed.cpp", 602})) << options;
    }
}

TEST(SectionUnpackerTest, GivesWhatWasPackedOrNothing)
{
    const std::string content = std::string(300000, 'a') + "the end";
    std::vector<std::byte> packed(ZSTD_compressBound(content.size()));
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> packer{ZSTD_createCCtx(), &ZSTD_freeCCtx};
    ZSTD_CCtx_setParameter(packer.get(), ZSTD_c_checksumFlag, 1);
    packed.resize(ZSTD_compress2(packer.get(), packed.data(), packed.size(), content.data(), content.size()));
    const std::span whole{packed};
    std::vector<std::byte> damaged = packed;
    damaged.back() ^= std::byte{1};
    std::vector<std::byte> longer = packed;
    longer.push_back(std::byte{0});

    const JobControl control;
    const auto unpacked = gUnpackZstd(whole, content.size(), control);
    ASSERT_TRUE(unpacked);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(unpacked->data()), unpacked->size()), content);
    const struct
    {
        const char* mWhat;
        std::span<const std::byte> mPacked;
        uint64_t mSize;
    } cRows[] = {{"a size too small", whole, content.size() - 1}, {"a size too large", whole, content.size() + 1},
        {"a size of nothing", whole, 0}, {"an endless size", whole, ~uint64_t{0}},
        {"a missing end", whole.first(packed.size() - 1), content.size()}, {"nothing", {}, content.size()},
        {"a wrong checksum", damaged, content.size()}, {"more behind the end", longer, content.size()},
        {"no such format", whole.subspan(1), content.size()}};
    for (const auto& row : cRows)
        EXPECT_EQ(gUnpackZstd(row.mPacked, row.mSize, control), std::nullopt) << row.mWhat;
    JobControl cancelled;
    cancelled.Cancel();
    EXPECT_EQ(gUnpackZstd(whole, content.size(), cancelled), std::nullopt);
}

/// Addresses all over the functions of an image, always the same ones.
std::vector<uint64_t> ChooseAddresses(const std::vector<Profiler::Symbol>& functions, std::size_t count)
{
    std::mt19937_64 random{1};
    std::vector<uint64_t> addresses;
    while (addresses.size() < count)
    {
        const Profiler::Symbol& function = functions[random() % functions.size()];
        addresses.push_back(function.Address + (function.Size == 0 ? 0 : random() % function.Size));
    }
    return addresses;
}

/// Without the folder that a relative path goes out from. A function that several objects hold has a unit in each,
/// which name different folders when a compiler cache made them for different trees.
std::string GetWithoutFolderOfUnit(const std::string& path)
{
    const std::size_t up = path.rfind("../");
    return up == std::string::npos ? path : path.substr(up);
}

/// Code in which the compiler inlines what comes from several files.
constexpr const char* cInliningSource = R"(
#include <algorithm>
#include <map>
#include <string>
#include <vector>
std::map<std::string, std::vector<int>> gMap;
extern "C" int Use(const char* name, int value)
{
    auto& list = gMap[name];
    list.push_back(value);
    std::sort(list.begin(), list.end(), [](int a, int b) { return a % 7 < b % 7; });
    std::string text{name};
    for (const int i : list)
        text += std::to_string(i);
    return static_cast<int>(text.find("12"));
}
)";

/// What a tool that takes the options of addr2line says: "file:line", or an empty text where it knows no line.
std::vector<std::string> AskForLines(const std::string& tool, const std::string& image, const std::string& addresses)
{
    std::vector<std::string> lines = gSplitLines(gRunShell(tool + " -e " + image + " < " + addresses));
    for (std::string& line : lines)
    {
        line = line.substr(0, line.find(" ("));
        // "?" and 0 stand for code that has no line, which is none here.
        if (line.ends_with(":?") || line.ends_with(":0"))
            line.clear();
    }
    return lines;
}

bool IsSame(const std::optional<SourceLine>& ours, const std::string& theirs)
{
    if (!ours || theirs.empty())
        return !ours && theirs.empty();
    return FileSystem::gNormalizePath(GetWithoutFolderOfUnit(theirs)) ==
           FileSystem::gNormalizePath(GetWithoutFolderOfUnit(ours->mPath)) + ":" + std::to_string(ours->mLine);
}

/// Where addr2line differs, a second tool has to agree with the reader. addr2line takes a header's line for one of the
/// source file where a file is listed twice, and knows no lines of what gcc splits in DWARF 5.
TEST_F(ElfReaderTest, LinesAreThoseThatAddr2lineSees)
{
    const std::string secondTool = "llvm-addr2line-14";
    if (!gHasProgram(secondTool))
        GTEST_SKIP() << "There is no " << secondTool;
    std::vector<std::string> paths{cThisProgram};
    const std::string source = mFolder.Write("inlining.cpp", cInliningSource);
    for (const std::string compiler : {"g++", "clang++-14"})
    {
        if (!gHasProgram(compiler))
            continue;
        // clang writes no table of addresses, which the library would look units up in.
        for (const char* options : {"-gdwarf-4", "-gdwarf-5", "-gdwarf-4 -gsplit-dwarf", "-gdwarf-5 -gsplit-dwarf"})
        {
            paths.push_back(mFolder / ("lines" + std::to_string(paths.size()) + ".so"));
            gRunShell("cd " + mFolder.GetPath() + " && " + compiler + " -O2 -shared -fPIC " + options + " " + source +
                      " -o " + paths.back());
        }
    }
    for (const std::string& path : paths)
    {
        const auto reader = Open(path);
        const std::vector<uint64_t> addresses = ChooseAddresses(ReadFunctions(*reader), 500);
        std::string input;
        for (const uint64_t address : addresses)
            input += Utility::gFormat("0x%llx\n", static_cast<unsigned long long>(address));
        const std::string inputPath = mFolder.Write("addresses", input);
        const auto expected = AskForLines("addr2line", path, inputPath);
        const auto second = AskForLines(secondTool, path, inputPath);
        ASSERT_EQ(expected.size(), addresses.size());
        ASSERT_EQ(second.size(), addresses.size());
        std::size_t numDifferent = 0;
        std::size_t numWithLine = 0;
        for (std::size_t i = 0; i < addresses.size(); ++i)
        {
            const auto found = reader->FindLine(addresses[i]);
            numWithLine += found ? 1 : 0;
            if (IsSame(found, expected[i]))
                continue;
            ++numDifferent;
            EXPECT_TRUE(IsSame(found, second[i]))
                << path << " at 0x" << std::hex << addresses[i] << ": " << expected[i] << " and " << second[i]
                << ", not " << (found ? found->mPath + ":" + std::to_string(found->mLine) : "none");
        }
        EXPECT_GE(numWithLine, addresses.size() / 4) << path;
        std::printf("%zu of %zu lines of %s differ from addr2line's\n", numDifferent, addresses.size(), path.c_str());
    }
}

TEST_F(ElfReaderTest, ALineInAFileIsFoundInFrontOfInlinedCode)
{
    mFolder.Write("inlined.h", "static inline __attribute__((always_inline)) int Twice(volatile int* v)\n{\n"
                               "    *v += 1;\n    *v += 2;\n    return *v;\n}\n");
    const std::string path = Compile("caller.cpp",
        "#include \"inlined.h\"\nextern \"C\" int Caller(volatile int* v)\n{\n    *v = 5;\n    return Twice(v);\n}\n",
        "-shared -fPIC -nostdlib -O1 -g");
    const auto reader = Open(path);
    const Profiler::Symbol caller = ReadFunctions(*reader).at(0);
    bool wasInlined = false;
    for (uint64_t address = caller.Address; address < caller.Address + caller.Size; ++address)
    {
        const auto line = reader->FindLine(address);
        ASSERT_TRUE(line);
        const auto inCaller = reader->FindLineInFile(address, caller.Address, mFolder / "caller.cpp");
        ASSERT_TRUE(inCaller);
        if (line->mPath == mFolder / "inlined.h")
            wasInlined = true;
        else
            EXPECT_EQ(*inCaller, line->mLine);
    }
    EXPECT_TRUE(wasInlined);
    EXPECT_EQ(reader->FindLineInFile(caller.Address, caller.Address, "/other"), std::nullopt);
}

TEST_F(ElfReaderTest, WhatIsNoImageIsRefused)
{
    const std::string path = Compile("good.cpp", cSource, "-shared -fPIC -nostdlib -g");
    const std::string good = mFolder.Read("good.cpp.so");
    std::string bigEndian = good;
    bigEndian[5] = 2;
    std::string object = good;
    object[16] = 1;
    const std::map<std::string, std::string> files{
        {"empty", ""}, {"text", "no image"}, {"header", good.substr(0, 40)}, {"big", bigEndian}, {"object", object}};
    for (const auto& [name, content] : files)
    {
        Utility::Result result;
        ElfFile file;
        EXPECT_FALSE(file.Open(mFolder.Write(name, content), result)) << name;
        EXPECT_TRUE(result.HasErrors()) << name;
    }
}

TEST_F(ElfReaderTest, EndsWhenTheJobDoes)
{
    const auto reader = Open(cThisProgram);
    mControl.Cancel();
    Utility::Result result;
    std::vector<Profiler::Symbol> functions;
    EXPECT_FALSE(reader->ReadFunctions(functions, mControl, result));
    EXPECT_THAT(result.ToString(), ::testing::HasSubstr("cancelled"));
}

}

}
