#include "SymbolResolverWorker/DwarfLines.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <unordered_map>

#include <dwarf.h>

#include "SymbolResolverWorker/DwarfChecksums.h"
#include "SymbolResolverWorker/ElfFile.h"
#include "SymbolResolverWorker/JobControl.h"

namespace Symbols
{

namespace
{

/// Addresses that are asked for together lie together.
constexpr std::size_t cMostTables = 16;

const char* GetCompilationDirectory(Dwarf_Die& unit)
{
    Dwarf_Attribute attribute;
    return dwarf_formstring(dwarf_attr(&unit, DW_AT_comp_dir, &attribute));
}

std::string MakePath(const char* source, const char* directory)
{
    if (*source == '/' || directory == nullptr || *directory == 0)
        return source;
    return std::string{directory} + "/" + source;
}

SourceChecksum GetChecksum(Dwarf_Line* line, const std::vector<SourceChecksum>& checksums)
{
    Dwarf_Files* files = nullptr;
    std::size_t index = 0;
    if (checksums.empty() || dwarf_line_file(line, &files, &index) != 0 || index >= checksums.size())
        return {};
    return checksums[index];
}

/// The library cannot go on without memory, and neither can this process: it ends as it does where `new` finds none.
[[gnu::noreturn]] void EndForMemory()
{
    if (const std::new_handler handler = std::get_new_handler())
        handler();
    std::abort();
}

}

DwarfLines::DwarfLines(const ElfFile& file, const ElfFile& code, const JobControl& control)
    : mFile{file},
      mDwarf{dwarf_begin_elf(file.GetHandle(), DWARF_C_READ, nullptr)}
{
    if (mDwarf == nullptr)
        return;
    dwarf_new_oom_handler(mDwarf, &EndForMemory);
    Dwarf_CU* unit = nullptr;
    Dwarf_Die die;
    Dwarf_Die skeleton;
    uint8_t kind = 0;
    while (!control.ShouldStop() && dwarf_get_units(mDwarf, unit, &unit, nullptr, &kind, &die, &skeleton) == 0)
    {
        if (kind == DW_UT_compile || kind == DW_UT_skeleton)
            AddUnit(die, code);
    }
    std::ranges::stable_sort(mRanges, {}, &Range::mBegin);
    uint64_t furthest = 0;
    for (Range& range : mRanges)
        range.mFurthestEnd = furthest = std::max(furthest, range.mEnd);
}

DwarfLines::~DwarfLines()
{
    dwarf_end(mDwarf);
}

void DwarfLines::AddUnit(Dwarf_Die& unit, const ElfFile& code)
{
    Dwarf_Addr base = 0;
    Dwarf_Addr begin = 0;
    Dwarf_Addr end = 0;
    for (ptrdiff_t offset = 0; (offset = dwarf_ranges(&unit, offset, &base, &begin, &end)) > 0;)
    {
        if (begin < end && code.IsCode(begin))
            mRanges.push_back({begin, end, 0, dwarf_dieoffset(&unit)});
    }
}

std::optional<Dwarf_Off> DwarfLines::FindUnit(uint64_t address) const
{
    auto range = std::ranges::upper_bound(mRanges, address, {}, &Range::mBegin);
    while (range != mRanges.begin())
    {
        --range;
        if (range->mFurthestEnd <= address)
            break;
        if (address < range->mEnd)
            return range->mUnit;
    }
    return std::nullopt;
}

const LineTable* DwarfLines::FindTable(uint64_t address)
{
    const auto unit = FindUnit(address);
    if (!unit)
        return nullptr;
    const auto cached = std::ranges::find(mTables, *unit, &CachedTable::mUnit);
    if (cached != mTables.end())
    {
        mTables.splice(mTables.begin(), mTables, cached);
        return &mTables.front().mTable;
    }
    mTables.push_front({*unit, ReadTable(*unit)});
    if (mTables.size() > cMostTables)
        mTables.pop_back();
    return &mTables.front().mTable;
}

std::vector<SourceChecksum> DwarfLines::ReadChecksums(Dwarf_Die& unit) const
{
    Dwarf_Attribute attribute;
    Dwarf_Word offset = 0;
    // The library has unpacked the section by now, if it was packed.
    Elf_Data* section = elf_getdata(mFile.FindSection(".debug_line"), nullptr);
    if (section == nullptr || dwarf_formudata(dwarf_attr(&unit, DW_AT_stmt_list, &attribute), &offset) != 0)
        return {};
    return gReadDwarfChecksums(
        ByteRange{std::span{static_cast<const std::byte*>(section->d_buf), section->d_size}}, offset);
}

LineTable DwarfLines::ReadTable(Dwarf_Off unit) const
{
    LineTable table;
    Dwarf_Die die;
    Dwarf_Lines* lines = nullptr;
    std::size_t count = 0;
    if (dwarf_offdie(mDwarf, unit, &die) == nullptr || dwarf_getsrclines(&die, &lines, &count) != 0)
        return table;
    const char* directory = GetCompilationDirectory(die);
    const std::vector<SourceChecksum> checksums = ReadChecksums(die);
    // The library gives one pointer for each file of a unit.
    std::unordered_map<const char*, uint32_t> files;
    for (std::size_t i = 0; i < count; ++i)
    {
        Dwarf_Line* line = dwarf_onesrcline(lines, i);
        Dwarf_Addr address = 0;
        int number = 0;
        bool isEnd = false;
        if (line == nullptr || dwarf_lineaddr(line, &address) != 0 || dwarf_lineendsequence(line, &isEnd) != 0)
            continue;
        const char* source = dwarf_linesrc(line, nullptr, nullptr);
        if (isEnd || source == nullptr || dwarf_lineno(line, &number) != 0 || number < 0)
        {
            table.AddEnd(address);
            continue;
        }
        const auto [file, isNew] = files.try_emplace(source);
        if (isNew)
            file->second = table.AddFile(MakePath(source, directory), GetChecksum(line, checksums));
        table.AddRow(address, file->second, static_cast<uint32_t>(number));
    }
    table.Sort();
    return table;
}

}
