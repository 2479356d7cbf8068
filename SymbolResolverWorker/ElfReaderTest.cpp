#include "SymbolResolverWorker/ElfReader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/DebugFileFinder.h"
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
        std::size_t numNamed = 0;
        for (const Profiler::Symbol& function : ReadFunctions(*reader))
        {
            if (isStripped && function.Name.starts_with("[unnamed"))
                continue;
            ++numNamed;
            const auto found = expected.find(function.Address + base);
            ASSERT_NE(found, expected.end()) << path << " has no " << function.Name;
            EXPECT_THAT(found->second.mNames, ::testing::Contains(function.Name)) << path;
            // Of several names at one address any size may come with the one that is kept.
            EXPECT_LE(function.Size, found->second.mSize) << path << " " << function.Name;
        }
        EXPECT_EQ(numNamed, expected.size()) << path;
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
    EXPECT_EQ(functions.back().Size, 0u);
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

TEST_F(ElfReaderTest, LinesAreThoseThatAddr2lineSees)
{
    std::vector<std::string> paths{cThisProgram};
    // clang writes no table of addresses, which the library would look units up in.
    if (gHasProgram("clang++-14"))
    {
        gRunShell("clang++-14 -g -O2 -shared -fPIC -nostdlib -x c++ " + mFolder.Write("c.cpp", cSource) + " -o " +
                  (mFolder / "clang.so"));
        paths.push_back(mFolder / "clang.so");
    }
    for (const std::string& path : paths)
    {
        const auto reader = Open(path);
        const std::vector<uint64_t> addresses = ChooseAddresses(ReadFunctions(*reader), 500);
        std::string input;
        for (const uint64_t address : addresses)
            input += Utility::gFormat("%llx\n", static_cast<unsigned long long>(address));
        const auto expected =
            gSplitLines(gRunShell("addr2line -e " + path + " < " + mFolder.Write("addresses", input)));
        ASSERT_EQ(expected.size(), addresses.size());
        std::size_t numDifferent = 0;
        std::string differences;
        for (std::size_t i = 0; i < addresses.size(); ++i)
        {
            const std::string line = expected[i].substr(0, expected[i].find(" ("));
            const auto found = reader->FindLine(addresses[i]);
            // "?" and 0 stand for code that has no line, which is none here.
            const bool hasLine = !line.ends_with(":?") && !line.ends_with(":0");
            if (hasLine == found.has_value() &&
                (!hasLine || FileSystem::gNormalizePath(GetWithoutFolderOfUnit(line)) ==
                                 FileSystem::gNormalizePath(GetWithoutFolderOfUnit(found->mPath)) + ":" +
                                     std::to_string(found->mLine)))
                continue;
            ++numDifferent;
            differences += line + " and " + (found ? found->mPath + ":" + std::to_string(found->mLine) : "none") + "\n";
        }
        // addr2line takes a header's line for one of the source file where a file is listed twice: seen with one
        // address in a thousand.
        EXPECT_LE(numDifferent, 3u) << differences;
        RecordProperty("different lines", static_cast<int>(numDifferent));
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
