#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "SymbolResolverWorker/SourceChecksum.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// A place in the source.
struct SourceLine
{
    std::string mPath;
    int32_t mLine = 0;

    bool operator==(const SourceLine&) const = default;
};

/// The functions and lines of one image, from whatever holds them. Addresses are offsets from the image's base. One
/// thread.
class SymbolReader
{
public:
    SymbolReader() = default;
    SymbolReader(const SymbolReader&) = delete;
    SymbolReader& operator=(const SymbolReader&) = delete;
    virtual ~SymbolReader() = default;

    /// Sorted by address, one at each.
    [[nodiscard]] virtual bool ReadFunctions(
        std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result) = 0;

    /// None where no line is known.
    virtual std::optional<SourceLine> FindLine(uint64_t address) = 0;

    /// What the compiler noted of the file of that line.
    virtual SourceChecksum FindChecksum(uint64_t address) = 0;

    /// The line of `address` in the file `path`: where code of another file was inlined, the last line of this one in
    /// front of it, but none before `functionAddress`.
    virtual std::optional<int32_t> FindLineInFile(
        uint64_t address, uint64_t functionAddress, const std::string& path) = 0;
};

}
