#pragma once

#include <memory>
#include <optional>

#include "SymbolResolverWorker/DwarfLines.h"
#include "SymbolResolverWorker/ElfFile.h"
#include "SymbolResolverWorker/SymbolReader.h"

namespace Symbols
{

/// The functions and lines of an ELF image and its debug file.
class ElfReader final : public SymbolReader
{
public:
    /// `debugFile` may be null: then the image is all there is.
    ElfReader(std::unique_ptr<ElfFile> image, std::unique_ptr<ElfFile> debugFile, const JobControl& control);

    const ElfFile& GetImage() const { return *mImage; }
    /// Null when there is none.
    const ElfFile* GetDebugFile() const { return mDebugFile.get(); }

    [[nodiscard]] bool ReadFunctions(
        std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result) override;
    std::optional<SourceLine> FindLine(uint64_t address) override;
    SourceChecksum FindChecksum(uint64_t address) override;
    std::optional<int32_t> FindLineInFile(uint64_t address, uint64_t functionAddress, const std::string& path) override;

private:
    const LineTable* FindTable(uint64_t address);

    const JobControl& mControl;
    const std::unique_ptr<ElfFile> mImage;
    const std::unique_ptr<ElfFile> mDebugFile;
    /// Made when the first line is asked for.
    std::optional<DwarfLines> mLines;
};

}
