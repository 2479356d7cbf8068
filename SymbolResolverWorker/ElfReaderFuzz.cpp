#include "SymbolResolverWorker/ElfReader.h"

#include <algorithm>
#include <string_view>

#include "SymbolResolverWorker/Disassembler.h"
#include "SymbolResolverWorker/ImageIdentity.h"
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

Fuzz::Input FindSecondFile(Fuzz::Input input)
{
    constexpr std::string_view cMagic = "\x7F"
                                        "ELF";
    const std::string_view bytes{reinterpret_cast<const char*>(input.data()), input.size()};
    const std::size_t second = bytes.find(cMagic, 1);
    return input.subspan(std::min(second, input.size()));
}

/// Null for one that is refused: then the image is all there is. What finds such a file wants the same build-id.
std::unique_ptr<ElfFile> OpenDebugFile(const std::string& path)
{
    Utility::Result result;
    auto file = std::make_unique<ElfFile>();
    return file->Open(path, result) ? std::move(file) : nullptr;
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

/// A second start of an ELF file is that of the image's debug file.
void Fuzz::gRunInput(Input input)
{
    static const ScratchFolder sFolder;
    const Input debugPart = FindSecondFile(input);
    const std::string path = sFolder.Write("image", input.first(input.size() - debugPart.size()));
    Utility::Result result;
    ImageIdentity identity;
    gCheck(identity.Read(path, result) != result.HasErrors(), "an image is refused without a reason");
    result.Clear();
    const JobControl control;
    auto image = std::make_unique<ElfFile>();
    if (!image->Open(path, result))
        return gCheck(result.HasErrors(), "a file is refused without a reason");
    (void)image->GetBuildID();
    (void)image->GetDebugLink();
    ElfReader reader{std::move(image), OpenDebugFile(sFolder.Write("debug", debugPart)), control};
    std::vector<Profiler::Symbol> functions;
    gCheck(reader.ReadFunctions(functions, control, result), "functions are refused");
    CheckFunctions(functions);
    // The first ones tell as much as all.
    for (std::size_t i = 0; i < std::min<std::size_t>(functions.size(), 4); ++i)
        ReadSource(reader, functions[i], control);
}
