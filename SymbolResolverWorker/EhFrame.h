#pragma once

#include <cstdint>
#include <vector>

#include "SymbolResolverWorker/ElfFile.h"

namespace Symbols
{

class JobControl;

/// Where functions begin and end by what the image tells of unwinding, which no strip takes away. Link-time addresses,
/// sorted; only what lies in code. What is damaged is left out.
///
///     .eh_frame_hdr   version 1, three bytes that say how numbers are written, address of .eh_frame, count,
///                     then pairs: address of a function, address of its description in .eh_frame
std::vector<ElfFile::AddressRange> gReadUnwindRanges(const ElfFile& elf, const JobControl& control);

}
