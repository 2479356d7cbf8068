#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "SymbolResolverWorker/SourceChecksum.h"
#include "SymbolResolverWorker/SymbolReader.h"

namespace Symbols
{

/// The lines of one compilation unit, by address. Rows and files are added, then it is sorted, then it is asked.
class LineTable
{
public:
    /// The number by which rows name the file.
    uint32_t AddFile(std::string path, SourceChecksum checksum = {});
    void AddRow(uint64_t address, uint32_t file, uint32_t line);
    /// From there on no line is known, until a row at that address or behind.
    void AddEnd(uint64_t address);
    void Sort();

    std::optional<SourceLine> Find(uint64_t address) const;
    /// Of the file that the line of an address is in.
    SourceChecksum FindChecksum(uint64_t address) const;
    std::optional<int32_t> FindInFile(uint64_t address, uint64_t functionAddress, const std::string& path) const;

private:
    struct File
    {
        std::string mPath;
        SourceChecksum mChecksum;
    };

    struct Row
    {
        uint64_t mAddress;
        uint32_t mFile;
        uint32_t mLine; ///< 0 where none is known
        bool mIsEnd;
    };

    /// The last row at or in front of the address, behind the last one when there is none.
    std::vector<Row>::const_iterator FindRow(uint64_t address) const;
    /// The row of an address whose line is known; null for none.
    const Row* FindLine(uint64_t address) const;

    std::vector<File> mFiles;
    std::vector<Row> mRows;
};

}
