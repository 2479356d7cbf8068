#include "SymbolResolverWorker/SourceChecksum.h"

#include <cstring>

#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "SymbolResolverWorker/DwarfChecksums.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/JobExecutor.h"
#include "SymbolResolverWorker/PdbReader.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

using Testing::gHasProgram;
using Testing::gRunShell;
using EKind = SourceChecksum::EKind;

class SourceChecksumTest : public Testing::ReaderTest
{
protected:
    static SourceChecksum Make(EKind kind, const std::string& digits)
    {
        SourceChecksum checksum{kind, {}};
        for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
            checksum.mBytes.push_back(static_cast<std::byte>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        return checksum;
    }

    Profiler::EResolveFunctionDataResult FindSource(const std::string& image, uint64_t offset)
    {
        Utility::Result result;
        ImageIdentity identity;
        EXPECT_TRUE(identity.Read(image, result)) << result.ToString();
        const Profiler::ResolveFunctionDataJob job{identity.mKey, 0, "", "", {}, offset, 16, offset, offset};
        return gResolveFunctionData(job, mControl)->Result;
    }
};

TEST_F(SourceChecksumTest, TellsWhetherAFileIsTheOneThatWasCompiled)
{
    const std::string path = mFolder.Write("a.cpp", "abc");
    const std::string md5 = "900150983cd24fb0d6963f7d28e17f72";
    const std::string sha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
    const std::string sha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    EXPECT_EQ(gCompareSource(path, {}), ESourceFile::Matched) << "nothing is known of it";
    for (const auto& checksum : {Make(EKind::MD5, md5), Make(EKind::SHA1, sha1), Make(EKind::SHA256, sha256)})
    {
        EXPECT_EQ(gCompareSource(path, checksum), ESourceFile::Matched);
        SourceChecksum other = checksum;
        other.mBytes.back() ^= std::byte{1};
        EXPECT_EQ(gCompareSource(path, other), ESourceFile::Unmatched);
        EXPECT_EQ(gCompareSource(mFolder / "b.cpp", checksum), ESourceFile::Missing);
        EXPECT_EQ(gCompareSource(mFolder.GetPath(), checksum), ESourceFile::Missing);
    }
    EXPECT_EQ(gCompareSource(path, Make(EKind::MD5, sha1)), ESourceFile::Matched) << "no checksum of that kind";
}

TEST_F(SourceChecksumTest, AProgramDatabaseHasThoseOfItsFiles)
{
    Utility::Result result;
    PdbReader reader;
    ASSERT_TRUE(reader.Open(SYMBOL_TEST_DATA "/sample.pdb", result)) << result.ToString();
    // As llvm-pdbutil-14 shows it.
    EXPECT_EQ(reader.FindChecksum(0x1010), Make(EKind::MD5, "37FE5A3D601470130740B165EC3F7018"));
    EXPECT_EQ(reader.FindChecksum(0xFFFFFF), SourceChecksum{});
}

TEST_F(SourceChecksumTest, AChangedSourceIsNotShownAsTheRightOne)
{
    if (!gHasProgram("clang++-14"))
        GTEST_SKIP() << "clang writes checksums, g++ does not";
    const std::string source = mFolder.Write("c.cpp", "int gAdd(int a, int b)\n{\n    return a + b;\n}\n");
    for (const char* options : {"-gdwarf-5", "-gdwarf-5 -gdwarf64", "-gdwarf-5 -gz=zlib", "-gdwarf-4"})
    {
        const std::string image = mFolder / "c.so";
        gRunShell("clang++-14 " + std::string{options} + " -shared -fPIC -nostdlib -Wl,--build-id " + source + " -o " +
                  image);
        const uint64_t offset = ReadFunctions(image).at(0).Address;
        using enum Profiler::EResolveFunctionDataResult;
        EXPECT_EQ(FindSource(image, offset), SourceFound) << options;
        const std::string text = mFolder.Read("c.cpp");
        mFolder.Replace("c.cpp", text + "// Something new.\n");
        EXPECT_EQ(FindSource(image, offset), std::strcmp(options, "-gdwarf-4") == 0 ? SourceFound : SourceUnmatched)
            << options << ": version 4 has no checksums";
        FileSystem::gDeleteFile(source);
        EXPECT_EQ(FindSource(image, offset), SourceNotFound) << options;
        mFolder.Write("c.cpp", text);
    }
}

/// A header of lines by hand: no folders, and files with a path, the number of a folder and a checksum.
std::string MakeHeader(char numFiles)
{
    const auto bytes = [](std::initializer_list<int> values) {
        std::string text;
        for (const int value : values)
            text += static_cast<char>(value);
        return text;
    };
    std::string header = bytes({0, 0, 0, 0, 5, 0, 8, 0});  // length, version, sizes of an address and of a segment
    header += bytes({0, 0, 0, 0, 1, 1, 1, 0, 1, 3, 0, 0}); // rest of the header, instructions, two opcodes
    header += bytes({1, 1, 8, 0});                         // a folder is a path (1) as text (8); there are none
    header += bytes({3, 1, 8, 2, 15, 5, 30, numFiles});    // a file also has a folder (2, 15) and a checksum (5, 30)
    for (char i = 0; i < numFiles; ++i)
        header += bytes({'f', '0' + i, 0, 0x81, 1}) + std::string(16, static_cast<char>('a' + i));
    return header;
}

TEST_F(SourceChecksumTest, DamagedLinesGiveNoWrongChecksums)
{
    const std::string header = MakeHeader(3);
    const auto read = [](const std::string& bytes, uint64_t offset = 0) {
        return gReadDwarfChecksums(ByteRange{std::as_bytes(std::span{bytes})}, offset);
    };
    const auto all = read(header);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[2], (SourceChecksum{EKind::MD5, std::vector<std::byte>(16, std::byte{'c'})}));
    for (std::size_t size = 0; size < header.size(); ++size)
    {
        const auto some = read(header.substr(0, size));
        EXPECT_LT(some.size(), all.size()) << size;
        EXPECT_TRUE(std::equal(some.begin(), some.end(), all.begin())) << size;
    }
    EXPECT_TRUE(read(header, 5).empty());
    EXPECT_TRUE(read(header, ~uint64_t{0}).empty());
    for (std::size_t i = 0; i < header.size(); ++i)
    {
        for (const char value : {'\0', '\1', '\x7F', '\xFF'})
        {
            std::string changed = header;
            changed[i] = value;
            EXPECT_LE(read(changed).size(), header.size());
        }
    }
}

}

}
