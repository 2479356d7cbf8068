#include "SymbolResolverWorker/PdbReader.h"

#include <algorithm>

#include "SymbolResolverWorker/PdbFunctions.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint32_t cLines = 0xF2;
constexpr uint32_t cFiles = 0xF4;
constexpr uint16_t cHasColumns = 1;
constexpr uint32_t cLineMask = 0xFFFFFF;
/// Lines with these numbers stand for code that has none.
constexpr uint32_t cFirstHiddenLine = 0xF00F00;

constexpr uint64_t PadToFour(uint64_t size)
{
    return (size + 3) & ~uint64_t{3};
}

/// The line numbers of one module, which are parts in a row: kind, size, content, up to a multiple of four. What is
/// damaged ends the reading of its part.
class ModuleLines
{
public:
    ModuleLines(const PdbFile& file, const ByteRange& parts, const ByteRange& names)
        : mFile{file},
          mParts{parts},
          mNames{names}
    {}

    LineTable Read()
    {
        // Lines may stand before the files that they name.
        ForEachPart(cFiles, [this](const ByteRange& part) { mFiles = part; });
        ForEachPart(cLines, [this](const ByteRange& part) { ReadPart(part); });
        mTable.Sort();
        return std::move(mTable);
    }

private:
    template <class Handler>
    void ForEachPart(uint32_t wanted, Handler&& handler)
    {
        uint32_t kind = 0;
        uint32_t size = 0;
        for (uint64_t offset = 0; mParts.Read(offset, kind) && mParts.Read(offset + 4, size);)
        {
            const auto part = mParts.Slice(offset + 8, size);
            if (!part)
                return;
            if (kind == wanted)
                handler(*part);
            offset += 8 + PadToFour(size);
        }
    }

    /// offset (4 bytes), section (2), flags (2), size of the code; then for each file: its place in the part of files,
    /// number of lines, size of all this, and the lines: offset, number in the low 24 bits.
    void ReadPart(const ByteRange& part)
    {
        uint32_t codeOffset = 0;
        uint16_t section = 0;
        uint16_t flags = 0;
        uint32_t codeSize = 0;
        if (!part.Read(0, codeOffset) || !part.Read(4, section) || !part.Read(6, flags) || !part.Read(8, codeSize))
            return;
        const auto begin = mFile.FindAddress(section, codeOffset);
        if (!begin)
            return;
        const uint64_t lineSize = (flags & cHasColumns) != 0 ? 12 : 8;
        uint32_t file = 0;
        uint32_t count = 0;
        uint32_t size = 0;
        for (uint64_t offset = 12;
             part.Read(offset, file) && part.Read(offset + 4, count) && part.Read(offset + 8, size);)
        {
            const auto block = part.Slice(offset, size);
            if (!block || size < 12 || count > (size - 12) / lineSize)
                break;
            ReadLines(*block, count, *begin, file);
            offset += size;
        }
        mTable.AddEnd(*begin + codeSize);
    }

    void ReadLines(const ByteRange& block, uint32_t count, uint64_t begin, uint32_t file)
    {
        const uint32_t index = GetFile(file);
        for (uint64_t i = 0; i < count; ++i)
        {
            uint32_t offset = 0;
            uint32_t line = 0;
            (void)block.Read(12 + 8 * i, offset);
            (void)block.Read(16 + 8 * i, line);
            line &= cLineMask;
            mTable.AddRow(begin + offset, index, line >= cFirstHiddenLine ? 0 : line);
        }
    }

    /// The part of files has at that place: offset of the path in the names, size of a checksum (1 byte), its kind (1),
    /// the checksum.
    uint32_t GetFile(uint32_t place)
    {
        const auto [entry, isNew] = mFileNumbers.try_emplace(place);
        if (isNew)
        {
            uint32_t name = 0;
            const auto path = mFiles.Read(place, name) ? mNames.ReadText(name) : std::nullopt;
            entry->second = mTable.AddFile(std::string{path.value_or("")}, GetChecksum(place));
        }
        return entry->second;
    }

    SourceChecksum GetChecksum(uint32_t place) const
    {
        uint8_t size = 0;
        uint8_t kind = 0;
        const bool isRead = mFiles.Read(place + uint64_t{4}, size) && mFiles.Read(place + uint64_t{5}, kind);
        const auto bytes = isRead ? mFiles.Slice(place + uint64_t{6}, size) : std::nullopt;
        if (!bytes || kind > static_cast<uint8_t>(SourceChecksum::EKind::SHA256))
            return {};
        return {static_cast<SourceChecksum::EKind>(kind), {bytes->GetBytes().begin(), bytes->GetBytes().end()}};
    }

    const PdbFile& mFile;
    const ByteRange mParts;
    const ByteRange mNames;
    ByteRange mFiles;
    std::unordered_map<uint32_t, uint32_t> mFileNumbers;
    LineTable mTable;
};

}

bool PdbReader::ReadFunctions(
    std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result)
{
    return gReadPdbFunctions(mFile, functions, control, result);
}

const LineTable* PdbReader::FindTable(uint64_t address)
{
    const auto& contributions = mFile.GetContributions();
    const auto behind = std::ranges::upper_bound(contributions, address, {}, &PdbFile::Contribution::mBegin);
    if (behind == contributions.begin() || address >= std::prev(behind)->mEnd)
        return nullptr;
    const uint32_t module = std::prev(behind)->mModule;
    const auto [entry, isNew] = mTables.try_emplace(module);
    if (isNew)
        entry->second = ReadTable(mFile.GetModules()[module]);
    return &entry->second;
}

LineTable PdbReader::ReadTable(const PdbFile::Module& module)
{
    Utility::Result result;
    std::vector<std::byte> bytes;
    if (!mNames && !mFile.ReadNames(mNames.emplace(), result))
        mNames->clear();
    if (module.mStream == MsfFile::cNoStream || !mFile.GetContainer().ReadStream(module.mStream, bytes, result))
        return {};
    const auto parts = ByteRange{bytes}.Slice(uint64_t{module.mSymbolSize} + module.mOldLineSize, module.mLineSize);
    return parts ? ModuleLines{mFile, *parts, ByteRange{*mNames}}.Read() : LineTable{};
}

std::optional<SourceLine> PdbReader::FindLine(uint64_t address)
{
    const LineTable* table = FindTable(address);
    return table == nullptr ? std::nullopt : table->Find(address);
}

SourceChecksum PdbReader::FindChecksum(uint64_t address)
{
    const LineTable* table = FindTable(address);
    return table == nullptr ? SourceChecksum{} : table->FindChecksum(address);
}

std::optional<int32_t> PdbReader::FindLineInFile(uint64_t address, uint64_t functionAddress, const std::string& path)
{
    const LineTable* table = FindTable(address);
    return table == nullptr ? std::nullopt : table->FindInFile(address, functionAddress, path);
}

}
