#pragma once

#include <vector>

#include "ProfilerLib/symbols/SymbolModule.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

class ElfFile;
class JobControl;

/// The functions of an image. They come from the symbol table of its debug file when there is one, else from its own;
/// without either from the dynamic symbols, and what these leave out from the unwind table, without names. Of several
/// names for an address one remains: with a size rather than without, global rather than weak rather than local, with
/// fewer underscores in front, the first by alphabet. One without a size that is the last of its section ends with
/// that.
[[nodiscard]] bool gReadElfFunctions(const ElfFile& image, const ElfFile* debugFile,
    std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result);

}
