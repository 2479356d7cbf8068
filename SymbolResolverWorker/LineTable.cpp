#include "SymbolResolverWorker/LineTable.h"

#include <algorithm>

namespace Symbols
{

uint32_t LineTable::AddFile(std::string path, SourceChecksum checksum)
{
    mFiles.push_back({std::move(path), std::move(checksum)});
    return static_cast<uint32_t>(mFiles.size() - 1);
}

void LineTable::AddRow(uint64_t address, uint32_t file, uint32_t line)
{
    mRows.push_back({address, file, line, false});
}

void LineTable::AddEnd(uint64_t address)
{
    mRows.push_back({address, 0, 0, true});
}

void LineTable::Sort()
{
    // Where one sequence ends and the next begins at the same address, the beginning counts. Of several rows at one
    // address the last one written counts, which a stable sort keeps last.
    std::ranges::stable_sort(mRows, [](const Row& a, const Row& b) {
        return a.mAddress != b.mAddress ? a.mAddress < b.mAddress : a.mIsEnd && !b.mIsEnd;
    });
}

std::vector<LineTable::Row>::const_iterator LineTable::FindRow(uint64_t address) const
{
    const auto behind = std::ranges::upper_bound(mRows, address, {}, &Row::mAddress);
    return behind == mRows.begin() ? mRows.end() : std::prev(behind);
}

const LineTable::Row* LineTable::FindLine(uint64_t address) const
{
    const auto row = FindRow(address);
    const bool isKnown = row != mRows.end() && !row->mIsEnd && row->mLine != 0 && row->mFile < mFiles.size();
    return isKnown ? &*row : nullptr;
}

std::optional<SourceLine> LineTable::Find(uint64_t address) const
{
    const Row* row = FindLine(address);
    if (row == nullptr)
        return std::nullopt;
    return SourceLine{mFiles[row->mFile].mPath, static_cast<int32_t>(row->mLine)};
}

SourceChecksum LineTable::FindChecksum(uint64_t address) const
{
    const Row* row = FindLine(address);
    return row == nullptr ? SourceChecksum{} : mFiles[row->mFile].mChecksum;
}

std::optional<int32_t> LineTable::FindInFile(uint64_t address, uint64_t functionAddress, const std::string& path) const
{
    auto row = FindRow(address);
    if (row == mRows.end())
        return std::nullopt;
    // The row of the address itself counts even where it begins in front of the function.
    while (!row->mIsEnd)
    {
        if (row->mLine != 0 && row->mFile < mFiles.size() && mFiles[row->mFile].mPath == path)
            return static_cast<int32_t>(row->mLine);
        if (row == mRows.begin() || std::prev(row)->mAddress < functionAddress)
            break;
        --row;
    }
    return std::nullopt;
}

}
