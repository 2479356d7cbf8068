#pragma once

#include <cstdint>
#include <vector>

#include "SymbolResolverWorker/ByteRange.h"
#include "SymbolResolverWorker/SourceChecksum.h"

namespace Symbols
{

/// The checksums that DWARF 5 may have for the source files of a unit, by the number of the file. `lines` is the
/// section of lines, in which the unit's begin at `offset`. Our own reading: the library passes them over. Empty where
/// there are none; what is damaged ends the list.
std::vector<SourceChecksum> gReadDwarfChecksums(const ByteRange& lines, uint64_t offset);

}
