#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/SerializableGUID.h"
#include "SymbolResolverWorker/MsfFile.h"
#include "SymbolResolverWorker/PeImage.h"

namespace Symbols
{

/// What a program database says of itself and of the modules (compiled files) that it was linked from: its info stream
/// and its DBI stream. Everything else is read by those who need it. One thread.
class PdbFile
{
public:
    /// One compiled file: in its stream stand `mSymbolSize` bytes of symbols, older line numbers, and then line
    /// numbers.
    struct Module
    {
        uint32_t mStream = MsfFile::cNoStream;
        uint32_t mSymbolSize = 0;
        uint32_t mOldLineSize = 0;
        uint32_t mLineSize = 0;
    };

    /// Which module code comes from.
    struct Contribution
    {
        uint64_t mBegin = 0; ///< from the image's base
        uint64_t mEnd = 0;
        uint32_t mModule = 0;
    };

    /// False with the reason when the file cannot be read.
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    const Profiler::SerializableGUID& GetGUID() const { return mGUID; }
    /// The age that images are linked with; that of the info stream counts other changes as well.
    int32_t GetAge() const { return mAge; }

    const MsfFile& GetContainer() const { return mContainer; }
    const std::vector<Module>& GetModules() const { return mModules; }
    /// Sorted by address.
    const std::vector<Contribution>& GetContributions() const { return mContributions; }
    /// `cNoStream` when there is none.
    uint32_t GetPublicsStream() const { return mPublicsStream; }

    const std::vector<PeSection>& GetSections() const { return mSections; }
    /// Where a place in the image lies, from the image's base; none when there is no such section. Sections count
    /// from 1.
    std::optional<uint64_t> FindAddress(uint16_t section, uint32_t offset) const;

    /// The texts that line numbers refer to, empty when there are none.
    [[nodiscard]] bool ReadNames(std::vector<std::byte>& names, Utility::Result& result) const;

private:
    [[nodiscard]] bool ReadInfo(Utility::Result& result);
    [[nodiscard]] bool ReadStreamNames(const ByteRange& info, Utility::Result& result);
    [[nodiscard]] bool ReadDebugInfo(Utility::Result& result);
    [[nodiscard]] bool ReadModules(const ByteRange& bytes, Utility::Result& result);
    [[nodiscard]] bool ReadSections(const ByteRange& streams, Utility::Result& result);
    void ReadContributions(const ByteRange& bytes);

    MsfFile mContainer;
    Profiler::SerializableGUID mGUID;
    int32_t mAge = -1;
    uint32_t mNamesStream = MsfFile::cNoStream;
    uint32_t mPublicsStream = MsfFile::cNoStream;
    std::vector<PeSection> mSections;
    std::vector<Module> mModules;
    std::vector<Contribution> mContributions;
};

}
