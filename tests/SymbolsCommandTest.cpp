#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Utility/TemporaryFolder.h"
#include "tests/support/RunProgram.h"

/// `quarkspindle symbols` with its real cache and workers.
namespace
{

using ::testing::HasSubstr;
using ::testing::Not;
using Tests::ProgramResult;

const std::string cImage = QUARKSPINDLE_SAMPLE_IMAGE;

std::string ReadStart(const std::string& path, std::size_t size)
{
    std::string content(size, 0);
    std::ifstream{path, std::ios::binary}.read(content.data(), static_cast<std::streamsize>(size));
    return content;
}

class SymbolsCommandTest : public testing::Test
{
protected:
    ProgramResult Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "symbols");
        arguments.insert(arguments.end(), {"--cache", mFolder / "cache"});
        return Tests::gRunQuarkspindle(arguments);
    }

    TemporaryFolder mFolder;
};

TEST_F(SymbolsCommandTest, TheSecondCallReadsTheCacheAndStartsNoWorker)
{
    const ProgramResult first = Run({cImage, "--list", "--verbose"});
    ASSERT_EQ(first.ExitCode, 0) << first.Errors;
    EXPECT_EQ(first.Output, "       140001000       10  Outer::Work\n"
                            "       140001010       74  start\n"
                            "       140001060       17  Help\n"
                            "       140001080       17  Outer::Box::Open\n"
                            "       1400010a0        4  Outer::Twice<int>\n");
    EXPECT_THAT(first.Errors, HasSubstr("[Worker 00]"));
    EXPECT_THAT(mFolder.List(), ::testing::Contains(::testing::EndsWith("sample.symcache")));

    const ProgramResult second = Run({cImage, "--list", "--match", "OUTER", "--verbose"});
    EXPECT_EQ(second.ExitCode, 0);
    EXPECT_THAT(second.Output, HasSubstr("Outer::Box::Open"));
    EXPECT_THAT(second.Output, Not(HasSubstr("start")));
    EXPECT_THAT(second.Errors, Not(HasSubstr("[Worker")));
    EXPECT_THAT(second.Errors, HasSubstr("exists in cache"));
}

TEST_F(SymbolsCommandTest, AddressesGetFunctionOffsetAndLine)
{
    const ProgramResult result = Run({cImage, "0x140001041", "1085", "ffff"});
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
    EXPECT_EQ(result.Output, "0x140001041  start+0x31  /sample/sample.cpp:38\n"
                             "0x1085  Outer::Box::Open+0x5  /sample/sample.cpp:18\n"
                             "0xffff  ??\n");
    EXPECT_EQ(result.Errors, "");

    const ProgramResult again = Run({cImage, "0xffff", "1085", "0x140001041", "--verbose"});
    EXPECT_EQ(again.Output, "0xffff  ??\n"
                            "0x1085  Outer::Box::Open+0x5  /sample/sample.cpp:18\n"
                            "0x140001041  start+0x31  /sample/sample.cpp:38\n");
    EXPECT_THAT(again.Errors, Not(HasSubstr("[Worker"))) << "no worker is started for what was asked before";
    EXPECT_THAT(again.Errors, HasSubstr("All lines are in"));
}

TEST_F(SymbolsCommandTest, OneWorkerServesTheSymbolsAndLinesOfOneCall)
{
    std::vector<std::string> arguments{cImage, "--verbose"};
    for (int i = 0; i < 64; ++i)
        arguments.push_back("0x14000" + std::to_string(1010 + i));
    const ProgramResult result = Run(arguments);
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
    std::size_t starts = 0;
    for (std::size_t at = 0; (at = result.Errors.find("Process started", at)) != std::string::npos; ++at)
        ++starts;
    EXPECT_EQ(starts, 1u) << result.Errors;
}

TEST_F(SymbolsCommandTest, AFunctionIsShownByItsInstructions)
{
    const ProgramResult result = Run({cImage, "--disassemble", "Outer::Twice<int>"});
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
    EXPECT_THAT(result.Output, HasSubstr("/sample/sample.cpp:25\n"));
    EXPECT_THAT(result.Output, HasSubstr("1400010a0  lea      eax, [rcx + rcx]\n"));
    EXPECT_THAT(result.Output, HasSubstr("ret"));
    for (const char* address : {"0x1400010a0", "0x10A2"})
        EXPECT_EQ(Run({cImage, "--disassemble", address}).Output, result.Output) << address;
}

TEST_F(SymbolsCommandTest, ACacheThatIsNoFolderIsSaid)
{
    const std::string file = mFolder.Write("file", "");
    for (const auto& [cache, error] : {std::pair{file, "file is no folder"}, {file + "/below", "Unable to create"}})
    {
        const ProgramResult result = Tests::gRunQuarkspindle({"symbols", cImage, "1085", "--cache", cache});
        EXPECT_EQ(result.ExitCode, 1);
        EXPECT_THAT(result.Errors, HasSubstr(error));
    }
}

TEST_F(SymbolsCommandTest, WhatIsWrongIsSaid)
{
    const struct
    {
        std::vector<std::string> mArguments;
        int mExitCode;
        const char* mError;
    } cRows[] = {{{mFolder / "none", "1"}, 1, "No such file"},
        {{mFolder.Write("text", "no image"), "--list"}, 1, "neither an ELF file nor a PE image"},
        {{mFolder.Write("cut", ReadStart("/proc/self/exe", 4000)), "1"}, 1, "No function of this file is known"},
        {{cImage, "1", "--from", mFolder / "gone"}, 1, "gone is neither a folder nor the URL of a server"},
        {{cImage, "--disassemble", "Nobody"}, 1, "There is no function"},
        {{cImage, "--disassemble", "0xffff"}, 1, "There is no function at 0xffff"}, {{cImage}, 2, "is required"},
        {{cImage, "12x"}, 2, "is no address"}, {{cImage, "12", "--list"}, 2, "excludes"},
        {{cImage, "--match", "x", "--disassemble", "y"}, 2, "--list"}};
    for (const auto& row : cRows)
    {
        const ProgramResult result = Run(row.mArguments);
        EXPECT_EQ(result.ExitCode, row.mExitCode) << result.Errors;
        EXPECT_THAT(result.Errors, HasSubstr(row.mError));
        EXPECT_EQ(result.Output, "");
    }
}

}
