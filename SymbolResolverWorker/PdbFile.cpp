#include "SymbolResolverWorker/PdbFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cinttypes>
#include <limits>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint32_t cInfoStream = 1;
constexpr uint32_t cDebugInfoStream = 3;
constexpr uint32_t cVersion70 = 20000404;
constexpr uint32_t cDebugInfoVersion70 = 19990903;

/// Sizes of the parts of the DBI stream, which stand behind its header in this order.
enum EPart
{
    Modules,
    Contributions,
    SectionMap,
    Sources,
    TypeServers,
    EditAndContinue,
    OptionalStreams,
    NumParts,
};

/// Where the header has the size of each part.
constexpr std::array<uint64_t, NumParts> cPartSizeOffsets{24, 28, 32, 36, 40, 52, 48};
constexpr uint64_t cHeaderSize = 64;

/// Places in the list of optional streams.
constexpr uint64_t cMovedCodeStream = 4;
constexpr uint64_t cSectionStream = 5;

}

bool PdbFile::Open(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    return mContainer.Open(path, result) && ReadInfo(result) && ReadDebugInfo(result);
}

/// version, signature, age, GUID (16 bytes), then the names of streams.
bool PdbFile::ReadInfo(Utility::Result& result)
{
    std::vector<std::byte> bytes;
    if (!mContainer.ReadStream(cInfoStream, bytes, result))
        return false;
    const ByteRange info{bytes};
    uint32_t version = 0;
    if (!info.Read(0, version) || !info.Read(12, mGUID.Data1) || !info.Read(20, mGUID.Data2))
        return result.Fail(Serialization::CorruptData, "The info stream of %zu bytes is cut short", bytes.size());
    if (version < cVersion70)
        return result.Fail(Serialization::Incompatible, "Version %" PRIu32 " of the info stream is not known", version);
    return ReadStreamNames(info, result);
}

/// size of the texts, the texts, number of entries, capacity, words and bits of used places, words and bits of places
/// that were used, then for each entry the offset of its text and the number of its stream.
bool PdbFile::ReadStreamNames(const ByteRange& info, Utility::Result& result)
{
    constexpr uint64_t cStart = 28;
    uint32_t textSize = 0;
    uint32_t count = 0;
    uint32_t words = 0;
    if (!info.Read(cStart, textSize))
        return true;
    const auto texts = info.Slice(cStart + 4, textSize);
    uint64_t offset = cStart + 4 + textSize;
    if (!texts || !info.Read(offset, count))
        return result.Fail(Serialization::CorruptData, "The names of streams at offset %d are cut short", int{cStart});
    offset += 8;
    for (int i = 0; i < 2; ++i)
    {
        if (!info.Read(offset, words))
            return result.Fail(Serialization::CorruptData, "The table of stream names is cut short");
        offset += 4 + 4 * uint64_t{words};
    }
    for (uint32_t i = 0; i < count; ++i, offset += 8)
    {
        uint32_t text = 0;
        uint32_t stream = 0;
        if (!info.Read(offset, text) || !info.Read(offset + 4, stream))
            return result.Fail(Serialization::CorruptData, "Stream name %" PRIu32 " is cut short", i);
        if (texts->ReadText(text) == "/names")
            mNamesStream = stream;
    }
    return true;
}

/// -1, version, age, globals (2 bytes), build, publics (2), dll version, symbols (2), dll build, then the sizes.
bool PdbFile::ReadDebugInfo(Utility::Result& result)
{
    std::vector<std::byte> bytes;
    if (!mContainer.ReadStream(cDebugInfoStream, bytes, result))
        return false;
    const ByteRange range{bytes};
    uint32_t version = 0;
    uint16_t symbols = 0;
    if (bytes.size() < cHeaderSize || !range.Read(4, version) || !range.Read(8, mAge) || !range.Read(20, symbols))
        return result.Fail(Serialization::CorruptData, "The DBI stream of %zu bytes is cut short", bytes.size());
    if (version != cDebugInfoVersion70)
        return result.Fail(Serialization::Incompatible, "Version %" PRIu32 " of the DBI stream is not known", version);
    mPublicsStream = symbols;

    std::array<ByteRange, NumParts> parts;
    uint64_t offset = cHeaderSize;
    for (int part = 0; part < NumParts; ++part)
    {
        uint32_t size = 0;
        (void)range.Read(cPartSizeOffsets[static_cast<std::size_t>(part)], size);
        const auto found = range.Slice(offset, size);
        if (!found)
            return result.Fail(Serialization::CorruptData,
                "Part %d of the DBI stream, %" PRIu32 " bytes at offset %" PRIu64 ", reaches beyond its end", part,
                size, offset);
        parts[static_cast<std::size_t>(part)] = *found;
        offset += size;
    }
    if (!ReadModules(parts[Modules], result) || !ReadSections(parts[OptionalStreams], result))
        return false;
    ReadContributions(parts[Contributions]);
    return true;
}

/// 64 bytes each: at 34 the stream, then the sizes; behind them two texts, then up to a multiple of four.
bool PdbFile::ReadModules(const ByteRange& bytes, Utility::Result& result)
{
    std::vector<bool> isTaken(mContainer.GetNumStreams());
    for (uint64_t offset = 0; offset < bytes.GetSize();)
    {
        Module module;
        uint16_t stream = 0;
        const bool isRead = bytes.Read(offset + 34, stream) && bytes.Read(offset + 36, module.mSymbolSize) &&
                            bytes.Read(offset + 40, module.mOldLineSize) && bytes.Read(offset + 44, module.mLineSize);
        const auto name = bytes.ReadText(offset + 64);
        const auto object = name ? bytes.ReadText(offset + 64 + name->size() + 1) : std::nullopt;
        if (!isRead || !object)
            return result.Fail(Serialization::CorruptData,
                "Module %zu at offset %" PRIu64 " of the DBI stream is cut short", mModules.size(),
                cHeaderSize + offset);
        // Each has its own. A file whose modules all name one would be read again and again.
        if (stream < isTaken.size() && !isTaken[stream])
        {
            isTaken[stream] = true;
            module.mStream = stream;
        }
        mModules.push_back(module);
        offset = (offset + 64 + name->size() + 1 + object->size() + 1 + 3) & ~uint64_t{3};
    }
    return true;
}

bool PdbFile::ReadSections(const ByteRange& streams, Utility::Result& result)
{
    uint16_t moved = MsfFile::cNoStream;
    uint16_t number = MsfFile::cNoStream;
    (void)streams.Read(2 * cMovedCodeStream, moved);
    (void)streams.Read(2 * cSectionStream, number);
    // Such code was rearranged after linking, and all addresses with it.
    if (moved != MsfFile::cNoStream)
        return result.Fail(Serialization::Incompatible, "The code was rearranged after linking (OMAP): not supported");
    if (number == MsfFile::cNoStream)
        return true;
    std::vector<std::byte> bytes;
    if (!mContainer.ReadStream(number, bytes, result))
        return false;
    const ByteRange range{bytes};
    mSections.resize(
        std::min<std::size_t>(bytes.size() / PeSection::cStoredSize, std::numeric_limits<uint16_t>::max()));
    for (std::size_t i = 0; i < mSections.size(); ++i)
        (void)mSections[i].Read(range, i * PeSection::cStoredSize);
    return true;
}

/// A version, then 28 or 32 bytes each: section (2 bytes, 2 of padding), offset, size, flags, module (2 bytes), ...
void PdbFile::ReadContributions(const ByteRange& bytes)
{
    constexpr uint32_t cVersion60 = 0xEFFE0000 + 19970605;
    constexpr uint32_t cVersion2 = 0xEFFE0000 + 20140516;
    uint32_t version = 0;
    if (!bytes.Read(0, version) || (version != cVersion60 && version != cVersion2))
        return;
    const uint64_t entrySize = version == cVersion2 ? 32 : 28;
    const uint64_t count = (bytes.GetSize() - 4) / entrySize;
    mContributions.reserve(count);
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t entry = 4 + i * entrySize;
        uint16_t section = 0;
        uint16_t module = 0;
        uint32_t offset = 0;
        uint32_t size = 0;
        (void)bytes.Read(entry, section);
        (void)bytes.Read(entry + 4, offset);
        (void)bytes.Read(entry + 8, size);
        (void)bytes.Read(entry + 16, module);
        const auto address = FindAddress(section, offset);
        if (address && module < mModules.size())
            mContributions.push_back({*address, *address + size, module});
    }
    std::ranges::stable_sort(mContributions, {}, &Contribution::mBegin);
}

std::optional<uint64_t> PdbFile::FindAddress(uint16_t section, uint32_t offset) const
{
    if (section == 0 || section > mSections.size())
        return std::nullopt;
    return uint64_t{mSections[section - 1U].mAddress} + offset;
}

/// magic, version, size, then the texts.
bool PdbFile::ReadNames(std::vector<std::byte>& names, Utility::Result& result) const
{
    names.clear();
    if (mNamesStream == MsfFile::cNoStream)
        return true;
    std::vector<std::byte> bytes;
    if (!mContainer.ReadStream(mNamesStream, bytes, result))
        return false;
    const ByteRange range{bytes};
    uint32_t magic = 0;
    uint32_t size = 0;
    const auto texts = range.Read(0, magic) && range.Read(8, size) ? range.Slice(12, size) : std::nullopt;
    if (!texts || magic != 0xEFFEEFFE)
        return result.Fail(Serialization::CorruptData, "The texts in stream %" PRIu32 " are damaged", mNamesStream);
    names.assign(texts->GetBytes().begin(), texts->GetBytes().end());
    return true;
}

}
