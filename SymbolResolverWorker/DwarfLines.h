#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <elfutils/libdw.h>

#include "SymbolResolverWorker/LineTable.h"

namespace Symbols
{

class ElfFile;
class JobControl;

/// The lines that DWARF tells of, under libdw. Which compilation unit covers an address is looked up in a list of our
/// own, since not every compiler writes the library's table of addresses. One thread.
class DwarfLines
{
public:
    /// Reads the ranges of all units; the lines of one when they are asked for. `code` is the image, whose code the
    /// ranges must lie in: what the linker left out stays behind as ranges at low addresses. `file` must outlive this.
    DwarfLines(const ElfFile& file, const ElfFile& code, const JobControl& control);
    ~DwarfLines();
    DwarfLines(const DwarfLines&) = delete;
    DwarfLines& operator=(const DwarfLines&) = delete;

    /// The lines of the unit that covers a link-time address; null when none does. Lives until the next call.
    const LineTable* FindTable(uint64_t address);

private:
    struct Range
    {
        uint64_t mBegin;
        uint64_t mEnd;
        uint64_t mFurthestEnd; ///< of this and all before it
        Dwarf_Off mUnit;
    };

    struct CachedTable
    {
        Dwarf_Off mUnit;
        LineTable mTable;
    };

    void AddUnit(Dwarf_Die& unit, const ElfFile& code);
    std::optional<Dwarf_Off> FindUnit(uint64_t address) const;
    LineTable ReadTable(Dwarf_Off unit) const;
    std::vector<SourceChecksum> ReadChecksums(Dwarf_Die& unit) const;

    const ElfFile& mFile;
    Dwarf* mDwarf = nullptr;
    std::vector<Range> mRanges;
    /// The latest first.
    std::list<CachedTable> mTables;
};

}
