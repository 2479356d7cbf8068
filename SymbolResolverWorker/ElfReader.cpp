#include "SymbolResolverWorker/ElfReader.h"

#include "SymbolResolverWorker/ElfFunctions.h"

namespace Symbols
{

ElfReader::ElfReader(std::unique_ptr<ElfFile> image, std::unique_ptr<ElfFile> debugFile, const JobControl& control)
    : mControl{control},
      mImage{std::move(image)},
      mDebugFile{std::move(debugFile)}
{}

bool ElfReader::ReadFunctions(
    std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result)
{
    return gReadElfFunctions(*mImage, mDebugFile.get(), functions, control, result);
}

const LineTable* ElfReader::FindTable(uint64_t address)
{
    if (!mLines)
    {
        ElfFile& file = mDebugFile == nullptr ? *mImage : *mDebugFile;
        file.UnpackSections(mControl);
        mLines.emplace(file, *mImage, mControl);
    }
    return mLines->FindTable(address + mImage->GetBase());
}

std::optional<SourceLine> ElfReader::FindLine(uint64_t address)
{
    const LineTable* table = FindTable(address);
    return table == nullptr ? std::nullopt : table->Find(address + mImage->GetBase());
}

SourceChecksum ElfReader::FindChecksum(uint64_t address)
{
    const LineTable* table = FindTable(address);
    return table == nullptr ? SourceChecksum{} : table->FindChecksum(address + mImage->GetBase());
}

std::optional<int32_t> ElfReader::FindLineInFile(uint64_t address, uint64_t functionAddress, const std::string& path)
{
    const LineTable* table = FindTable(address);
    const uint64_t base = mImage->GetBase();
    return table == nullptr ? std::nullopt : table->FindInFile(address + base, functionAddress + base, path);
}

}
