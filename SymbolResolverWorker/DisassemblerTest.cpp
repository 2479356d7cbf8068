#include "SymbolResolverWorker/Disassembler.h"

#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Format.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

class DisassemblerTest : public ReaderTest
{
protected:
    std::vector<Profiler::AsmInstruction> Disassemble(EArchitecture architecture, const std::vector<uint8_t>& code)
    {
        Utility::Result result;
        std::vector<Profiler::AsmInstruction> instructions;
        EXPECT_TRUE(gDisassemble(architecture, std::as_bytes(std::span{code}), 0x1000, instructions, mControl, result))
            << result.ToString();
        return instructions;
    }
};

TEST_F(DisassemblerTest, InstructionsAreNamedAndCallsAreMarked)
{
    const auto x64 = Disassemble(EArchitecture::X64, {0x48, 0x89, 0xE5, 0xE8, 0xF8, 0x0F, 0x00, 0x00, 0x06, 0xC3});
    ASSERT_EQ(x64.size(), 4u);
    EXPECT_EQ(x64[0].Mnemonic + " " + x64[0].OpStr, "mov rbp, rsp");
    EXPECT_EQ(x64[0].Size, 3);
    EXPECT_EQ(x64[1].Mnemonic + " " + x64[1].OpStr, "call 0x2000");
    EXPECT_EQ(x64[1].Address, 0x1003u);
    EXPECT_TRUE(x64[1].IsCallInstruction);
    EXPECT_FALSE(x64[0].IsCallInstruction);
    // What is no instruction there is one byte, and the next one is found behind it.
    EXPECT_EQ(x64[2].Mnemonic, ".byte");
    EXPECT_EQ(x64[3].Mnemonic, "ret");
    EXPECT_EQ(x64[3].Address, 0x1009u);

    const auto arm64 = Disassemble(EArchitecture::Arm64, {0x00, 0x04, 0x00, 0x94, 0xC0, 0x03, 0x5F, 0xD6});
    ASSERT_EQ(arm64.size(), 2u);
    EXPECT_EQ(arm64[0].Mnemonic, "bl");
    EXPECT_TRUE(arm64[0].IsCallInstruction);

    Utility::Result result;
    std::vector<Profiler::AsmInstruction> none;
    EXPECT_FALSE(gDisassemble(EArchitecture::Unknown, {}, 0, none, mControl, result));
}

/// The addresses at which objdump begins an instruction.
std::set<uint64_t> ReadInstructionAddresses(const std::string& path, uint64_t begin, uint64_t end)
{
    std::set<uint64_t> addresses;
    const std::string command = Utility::gFormat("objdump -d -w --no-show-raw-insn --start-address=0x%llx "
                                                 "--stop-address=0x%llx %s",
        static_cast<unsigned long long>(begin), static_cast<unsigned long long>(end), path.c_str());
    for (const std::string& line : gSplitLines(gRunShell(command)))
    {
        const std::size_t colon = line.find(":\t");
        if (line.starts_with(' ') && colon != std::string::npos)
            addresses.insert(std::stoull(line.substr(0, colon), nullptr, 16));
    }
    return addresses;
}

TEST_F(DisassemblerTest, InstructionsBeginWhereObjdumpSeesThem)
{
    std::size_t numInstructions = 0;
    // Not this program: clang's sanitizer puts data in front of functions, in which the two find their way differently.
    for (const std::string path : {"/lib/x86_64-linux-gnu/libm.so.6", "/usr/lib/x86_64-linux-gnu/libstdc++.so.6"})
    {
        const auto reader = Open(path);
        ASSERT_EQ(reader->GetImage().GetBase(), 0u);
        const auto functions = ReadFunctions(*reader);
        std::set<std::string> differences;
        for (std::size_t i = 0; i < functions.size(); i += functions.size() / 100)
        {
            Utility::Result result;
            std::vector<std::byte> code;
            std::vector<Profiler::AsmInstruction> instructions;
            const Profiler::Symbol& function = functions[i];
            if (function.Size == 0)
                continue;
            ASSERT_TRUE(reader->GetImage().ReadCode(function.Address, function.Size, code, result)) << function.Name;
            ASSERT_TRUE(gDisassemble(EArchitecture::X64, code, function.Address, instructions, mControl, result));
            std::set<uint64_t> found;
            // objdump shows "wait" and what follows as one: fstsw, say.
            bool isBehindWait = false;
            for (const Profiler::AsmInstruction& instruction : instructions)
            {
                if (!isBehindWait)
                    found.insert(instruction.Address);
                isBehindWait = instruction.Mnemonic == "wait";
            }
            numInstructions += found.size();
            if (found != ReadInstructionAddresses(path, function.Address, function.Address + function.Size))
                differences.insert(function.Name);
        }
        EXPECT_THAT(differences, ::testing::IsEmpty()) << path;
    }
    EXPECT_GT(numInstructions, 1000u);
}

}

}
