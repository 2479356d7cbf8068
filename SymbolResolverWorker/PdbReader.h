#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "SymbolResolverWorker/LineTable.h"
#include "SymbolResolverWorker/PdbFile.h"
#include "SymbolResolverWorker/SymbolReader.h"

namespace Symbols
{

/// The functions and lines of a program database. Functions are the procedures of its modules and, where there is none,
/// its public functions, whose size nobody knows.
class PdbReader final : public SymbolReader
{
public:
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result) { return mFile.Open(path, result); }

    const PdbFile& GetFile() const { return mFile; }

    [[nodiscard]] bool ReadFunctions(
        std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result) override;
    std::optional<SourceLine> FindLine(uint64_t address) override;
    SourceChecksum FindChecksum(uint64_t address) override;
    std::optional<int32_t> FindLineInFile(uint64_t address, uint64_t functionAddress, const std::string& path) override;

private:
    const LineTable* FindTable(uint64_t address);
    LineTable ReadTable(const PdbFile::Module& module);

    PdbFile mFile;
    /// Read with the first line that is asked for.
    std::optional<std::vector<std::byte>> mNames;
    std::unordered_map<uint32_t, LineTable> mTables;
};

}
