#pragma once

#include <vector>

#include "ProfilerLib/symbols/SymbolModule.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;
class PdbFile;

/// The functions of a program database, sorted, one at each address: procedures rather than public symbols, global ones
/// rather than local ones, the first name by alphabet.
[[nodiscard]] bool gReadPdbFunctions(
    const PdbFile& file, std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result);

}
