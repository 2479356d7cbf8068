#include "SymbolResolverWorker/ElfReader.h"

#include <algorithm>

#include "SymbolResolverWorker/Disassembler.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

namespace
{

using namespace Symbols;

void CheckFunctions(const std::vector<Profiler::Symbol>& functions)
{
    const Fuzz::Aside aside;
    Fuzz::gCheck(std::ranges::is_sorted(functions, std::ranges::less_equal{}, &Profiler::Symbol::Address) ||
                     functions.size() < 2,
        "the functions are not sorted, or two are at one address");
    for (const Profiler::Symbol& function : functions)
        Fuzz::gCheck(!function.Name.empty(), "a function has no name");
}

/// What a job about one function asks for.
void ReadSource(ElfReader& reader, const Profiler::Symbol& function, const JobControl& control)
{
    const auto line = reader.FindLine(function.Address);
    if (line)
        (void)reader.FindLineInFile(function.Address + function.Size / 2, function.Address, line->mPath);
    Utility::Result result;
    std::vector<std::byte> code;
    std::vector<Profiler::AsmInstruction> instructions;
    const ElfFile& image = reader.GetImage();
    if (!image.ReadCode(function.Address, std::clamp<uint64_t>(function.Size, 1, 64), code, result) ||
        !gDisassemble(image.GetArchitecture(), code, function.Address, instructions, control, result))
        return;
    std::size_t size = 0;
    for (const Profiler::AsmInstruction& instruction : instructions)
        size += instruction.Size;
    Fuzz::gCheck(size <= code.size(), "instructions are longer than the code");
}

}

void Fuzz::gRunInput(Input input)
{
    static const ScratchFolder sFolder;
    const std::string path = sFolder.Write("image", input);
    Utility::Result result;
    const JobControl control;
    auto image = std::make_unique<ElfFile>();
    if (!image->Open(path, result))
        return gCheck(result.HasErrors(), "a file is refused without a reason");
    (void)image->GetBuildID();
    (void)image->GetDebugLink();
    ElfReader reader{std::move(image), nullptr, control};
    std::vector<Profiler::Symbol> functions;
    gCheck(reader.ReadFunctions(functions, control, result), "functions are refused");
    CheckFunctions(functions);
    // The first ones tell as much as all.
    for (std::size_t i = 0; i < std::min<std::size_t>(functions.size(), 4); ++i)
        ReadSource(reader, functions[i], control);
}
