#include "SymbolResolverWorker/JobExecutor.h"

#include <gmock/gmock.h>

#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/Testing/ReaderFixture.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

namespace
{

using JobExecutorTest = ReaderTest;

TEST_F(JobExecutorTest, CodeOfUnknownSizeEndsWithTheNextFunctionOrTheSection)
{
    const std::string path = Compile("sizes.cpp",
        "asm(\".globl First, Second, Third, Huge\\n\"\n"
        "    \".type First, @function\\n.type Second, @function\\n.type Third, @function\\n.type Huge, @function\\n\"\n"
        "    \"First: .fill 400, 1, 0x90\\nret\\nSecond: nop\\nret\\n\"\n"
        "    \".section .last, \\\"ax\\\"\\nThird: ret\\n.section .huge, \\\"ax\\\"\\nHuge: .fill 20000, 1, "
        "0x90\\n.text\");\n",
        "-shared -nostdlib -Wl,--build-id");
    Utility::Result result;
    ImageIdentity identity;
    ASSERT_TRUE(identity.Read(path, result)) << result.ToString();
    std::map<std::string, std::size_t> sizes;
    std::map<std::string, std::size_t> known;
    for (const Profiler::Symbol& function : ReadFunctions(path))
    {
        const uint64_t address = function.Address;
        const auto data = gResolveFunctionData({identity.mKey, 0, "", "", {}, address, 0, address, address}, mControl);
        EXPECT_EQ(data->DisassemblyResult, Profiler::EDisassemblyResult::Success) << data->ErrorMessage;
        known[function.Name] = function.Size;
        sizes[function.Name] = data->Instructions.size();
    }
    // Those that are the last of their section have got their size from it.
    using Sizes = std::map<std::string, std::size_t>;
    EXPECT_EQ(sizes, (Sizes{{"First", 401}, {"Second", 2}, {"Third", 1}, {"Huge", 16384}}));
    EXPECT_EQ(known, (Sizes{{"First", 0}, {"Second", 2}, {"Third", 1}, {"Huge", 20000}}));
}

}

}
