#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ProfilerLib/symbols/FunctionData.h"
#include "SymbolResolverWorker/Architecture.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// Code as instructions; `address` is that of the first byte in the recorded process. Bytes that are no instruction
/// come as ".byte", so that nothing is left out. False with the reason when the processor is not known.
[[nodiscard]] bool gDisassemble(EArchitecture architecture, std::span<const std::byte> code, uint64_t address,
    std::vector<Profiler::AsmInstruction>& instructions, const JobControl& control, Utility::Result& result);

}
