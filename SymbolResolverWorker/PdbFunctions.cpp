#include "SymbolResolverWorker/PdbFunctions.h"

#include <algorithm>
#include <cinttypes>
#include <optional>
#include <string_view>
#include <tuple>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/CodeSections.h"
#include "SymbolResolverWorker/FunctionName.h"
#include "SymbolResolverWorker/JobControl.h"
#include "SymbolResolverWorker/PdbFile.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

enum ERecord : uint16_t
{
    PublicSymbol = 0x110E,
    LocalProcedure = 0x110F,
    GlobalProcedure = 0x1110,
    LocalProcedureWithID = 0x1146,
    GlobalProcedureWithID = 0x1147,
};

constexpr uint32_t cPublicFunction = 2;

/// A function with what decides between several at one address.
struct Candidate
{
    Profiler::Symbol mSymbol;
    int mRank; ///< the lower the better

    auto GetOrder() const { return std::tie(mSymbol.Address, mRank, mSymbol.Name); }
};

class FunctionCollector
{
public:
    FunctionCollector(const PdbFile& file, const JobControl& control) : mFile{file}, mControl{control} {}

    [[nodiscard]] bool ReadModules(Utility::Result& result)
    {
        for (std::size_t i = 0; i < mFile.GetModules().size(); ++i)
        {
            const PdbFile::Module& module = mFile.GetModules()[i];
            if (module.mStream == MsfFile::cNoStream)
                continue;
            // A signature comes first.
            if (!mControl.MayGoOn(result) || !mFile.GetContainer().ReadStream(module.mStream, mBytes, result) ||
                !ReadRecords(4, module.mSymbolSize, result))
                return result.Fail(Serialization::CorruptData, "Module %zu cannot be read", i);
        }
        return true;
    }

    [[nodiscard]] bool ReadPublics(Utility::Result& result)
    {
        return mFile.GetPublicsStream() == MsfFile::cNoStream ||
               (mFile.GetContainer().ReadStream(mFile.GetPublicsStream(), mBytes, result) &&
                   ReadRecords(0, mBytes.size(), result));
    }

    void MoveBestTo(std::vector<Profiler::Symbol>& functions)
    {
        std::ranges::sort(mCandidates, {}, &Candidate::GetOrder);
        functions.reserve(mCandidates.size());
        for (Candidate& candidate : mCandidates)
        {
            if (functions.empty() || functions.back().Address != candidate.mSymbol.Address)
                functions.push_back(std::move(candidate.mSymbol));
        }
    }

private:
    /// Each record: size of what follows (2 bytes), kind (2 bytes), content.
    [[nodiscard]] bool ReadRecords(uint64_t offset, uint64_t end, Utility::Result& result)
    {
        const ByteRange all{mBytes};
        while (offset < end)
        {
            uint16_t size = 0;
            uint16_t kind = 0;
            const auto record = all.Read(offset, size) ? all.Slice(offset + 2, size) : std::nullopt;
            if (!record || !record->Read(0, kind))
                return result.Fail(
                    Serialization::CorruptData, "The symbol at offset %" PRIu64 " of its stream is cut short", offset);
            if (!ReadRecord(kind, *record))
                return result.Fail(Serialization::CorruptData,
                    "The symbol of kind 0x%X at offset %" PRIu64 " of its stream is damaged", kind, offset);
            offset += 2 + uint64_t{size};
        }
        return true;
    }

    bool ReadRecord(uint16_t kind, const ByteRange& record)
    {
        switch (kind)
        {
        case GlobalProcedure:
        case GlobalProcedureWithID:
            return ReadProcedure(record, 0);
        case LocalProcedure:
        case LocalProcedureWithID:
            return ReadProcedure(record, 1);
        case PublicSymbol:
            return ReadPublic(record);
        default:
            return true;
        }
    }

    /// kind, six numbers of four bytes with the size as the fourth, type, offset, section (2 bytes), flags (1), name.
    bool ReadProcedure(const ByteRange& record, int rank)
    {
        uint32_t size = 0;
        uint32_t offset = 0;
        uint16_t section = 0;
        const auto name = record.ReadText(37);
        if (!record.Read(14, size) || !record.Read(30, offset) || !record.Read(34, section) || !name)
            return false;
        Add(section, offset, size, *name, rank);
        return true;
    }

    /// kind, flags, offset, section (2 bytes), name.
    bool ReadPublic(const ByteRange& record)
    {
        uint32_t flags = 0;
        uint32_t offset = 0;
        uint16_t section = 0;
        const auto name = record.ReadText(12);
        if (!record.Read(2, flags) || !record.Read(6, offset) || !record.Read(10, section) || !name)
            return false;
        if ((flags & cPublicFunction) != 0)
            Add(section, offset, 0, *name, 2);
        return true;
    }

    void Add(uint16_t section, uint32_t offset, uint32_t size, std::string_view name, int rank)
    {
        // The linker leaves the records of code that it dropped, in no section.
        const auto address = mFile.FindAddress(section, offset);
        if (address && !name.empty())
            mCandidates.push_back({{*address, size, gMakeReadable(name)}, rank});
    }

    const PdbFile& mFile;
    const JobControl& mControl;
    std::vector<std::byte> mBytes;
    std::vector<Candidate> mCandidates;
};

}

bool gReadPdbFunctions(
    const PdbFile& file, std::vector<Profiler::Symbol>& functions, const JobControl& control, Utility::Result& result)
{
    FunctionCollector collector{file, control};
    if (!collector.ReadModules(result) || !collector.ReadPublics(result))
        return false;
    collector.MoveBestTo(functions);
    CodeSections sections;
    for (const PeSection& section : file.GetSections())
        sections.Add(section.mAddress, section.mSize);
    sections.Sort();
    sections.CloseLast(functions, 0);
    return control.MayGoOn(result);
}

}
