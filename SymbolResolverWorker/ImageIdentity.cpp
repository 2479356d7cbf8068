#include "SymbolResolverWorker/ImageIdentity.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/ByteRange.h"
#include "SymbolResolverWorker/ImageFile.h"
#include "SymbolResolverWorker/PeImage.h"
#include "Utility/Hash.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint32_t cLoadSegment = 1;
constexpr uint32_t cNoteSegment = 4;
constexpr uint32_t cBuildIDNote = 3;
constexpr uint64_t cLargestNotes = 1 << 20;
constexpr uint64_t cPageSize = 4096;
constexpr uint16_t cObjectFile = 1;
constexpr uint16_t cCoreDump = 4;
constexpr uint64_t cNoBase = std::numeric_limits<uint64_t>::max();
constexpr uint64_t cPiece = 1 << 20;

/// The ages of the keys of ELF files, which tell what the GUID is made of.
constexpr int32_t cBuildIDAge = 0;
constexpr int32_t cContentAge = 1;

bool HasElfMagic(const ByteRange& start)
{
    uint32_t magic = 0;
    return start.Read(0, magic) && magic == 0x464C457F;
}

/// Notes stand in a row, name and content each padded to four bytes:  name size, content size, type, name, content.
std::span<const std::byte> FindBuildID(const ByteRange& notes)
{
    const auto pad = [](uint64_t size) {
        return (size + 3) & ~uint64_t{3};
    };
    uint64_t offset = 0;
    while (true)
    {
        uint32_t nameSize = 0;
        uint32_t size = 0;
        uint32_t type = 0;
        if (!notes.Read(offset, nameSize) || !notes.Read(offset + 4, size) || !notes.Read(offset + 8, type))
            return {};
        const auto name = notes.Slice(offset + 12, nameSize);
        const auto content = notes.Slice(offset + 12 + pad(nameSize), size);
        if (!name || !content)
            return {};
        if (type == cBuildIDNote && nameSize == 4 && std::memcmp(name->GetBytes().data(), "GNU", 4) == 0)
            return content->GetBytes();
        offset += 12 + pad(nameSize) + pad(size);
    }
}

/// Where the two classes of ELF keep what is needed here.
struct ElfLayout
{
    uint64_t mTableOffset;
    uint64_t mEntrySize;
    uint64_t mEntryCount;
    uint64_t mSegmentOffset;
    uint64_t mSegmentAddress;
    uint64_t mSegmentSize;
    bool mIs64;
};
constexpr ElfLayout cElf32{28, 42, 44, 4, 8, 16, false};
constexpr ElfLayout cElf64{32, 54, 56, 8, 16, 32, true};

bool ReadOffset(const ImageFile& file, uint64_t at, bool is64, uint64_t& value, Utility::Result& result)
{
    if (is64)
        return file.Read(at, value, result);
    uint32_t narrow = 0;
    const bool read = file.Read(at, narrow, result);
    value = narrow;
    return read;
}

/// What the table of segments leads to.
struct ElfFacts
{
    uint64_t mBase = cNoBase;
    std::vector<std::byte> mBuildID;
};

bool ReadSegment(
    const ImageFile& file, uint64_t entry, const ElfLayout& layout, ElfFacts& facts, Utility::Result& result)
{
    uint32_t type = 0;
    uint64_t offset = 0;
    uint64_t address = 0;
    uint64_t size = 0;
    if (!file.Read(entry, type, result) ||
        !ReadOffset(file, entry + layout.mSegmentOffset, layout.mIs64, offset, result) ||
        !ReadOffset(file, entry + layout.mSegmentAddress, layout.mIs64, address, result) ||
        !ReadOffset(file, entry + layout.mSegmentSize, layout.mIs64, size, result))
        return false;
    if (type == cLoadSegment)
        facts.mBase = std::min(facts.mBase, address & ~(cPageSize - 1));
    if (type != cNoteSegment || !facts.mBuildID.empty())
        return true;
    std::vector<std::byte> notes;
    if (!file.Read(offset, std::min(size, cLargestNotes), notes, result))
        return false;
    const auto found = FindBuildID(ByteRange{notes});
    facts.mBuildID.assign(found.begin(), found.end());
    return true;
}

bool CheckType(uint16_t type, Utility::Result& result)
{
    return result.Check(type != cObjectFile, Serialization::InvalidBuffer,
               "This is an object file or a kernel module: its functions have no addresses before it is linked") &&
           result.Check(type != cCoreDump, Serialization::InvalidBuffer, "This is a core dump, not a program");
}

bool ReadSegments(const ImageFile& file, ElfFacts& facts, Utility::Result& result)
{
    uint8_t elfClass = 0;
    uint8_t order = 0;
    uint16_t type = 0;
    if (!file.Read(4, elfClass, result) || !file.Read(5, order, result) || !file.Read(16, type, result) ||
        !result.Check((elfClass == 1 || elfClass == 2) && order == 1, Serialization::InvalidBuffer,
            "This kind of ELF file is not known: class %d, byte order %d", elfClass, order) ||
        !CheckType(type, result))
        return false;
    const ElfLayout& layout = elfClass == 2 ? cElf64 : cElf32;
    uint64_t table = 0;
    uint16_t entrySize = 0;
    uint16_t count = 0;
    if (!ReadOffset(file, layout.mTableOffset, layout.mIs64, table, result) ||
        !file.Read(layout.mEntrySize, entrySize, result) || !file.Read(layout.mEntryCount, count, result))
        return false;
    for (uint64_t i = 0; i < count; ++i)
    {
        if (!ReadSegment(file, table + i * entrySize, layout, facts, result))
            return false;
    }
    return result.Check(facts.mBase != cNoBase, Serialization::CorruptData, "The ELF file has no segment to load");
}

/// A shorter build-id is filled with zeros.
Profiler::SerializableGUID MakeGuid(std::span<const std::byte> buildID)
{
    std::array<std::byte, 16> bytes{};
    std::copy_n(buildID.begin(), std::min(buildID.size(), bytes.size()), bytes.begin());
    Profiler::SerializableGUID guid;
    std::memcpy(&guid.Data1, bytes.data(), 8);
    std::memcpy(&guid.Data2, bytes.data() + 8, 8);
    return guid;
}

/// All of the file, since two builds may have the same code and other names.
bool HashContent(const ImageFile& file, Profiler::SerializableGUID& guid, Utility::Result& result)
{
    Utility::XXH64Stream hash;
    std::vector<std::byte> piece;
    for (uint64_t offset = 0; offset < file.GetSize(); offset += piece.size())
    {
        if (!file.Read(offset, std::min(cPiece, file.GetSize() - offset), piece, result))
            return false;
        hash.Update(piece);
    }
    guid.Data1 = hash.GetDigest();
    guid.Data2 = file.GetSize();
    return true;
}

}

bool ImageIdentity::Read(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    ImageFile file;
    std::vector<std::byte> start;
    if (!file.Open(path, result) || !file.Read(0, std::min<uint64_t>(file.GetSize(), 4), start, result))
        return false;
    if (HasElfMagic(ByteRange{start}))
        return ReadElf(path, result);
    if (PeImage::sHasMagic(ByteRange{start}))
        return ReadPe(path, result);
    return result.Fail(Serialization::InvalidBuffer, "This is neither an ELF file nor a PE image");
}

bool ImageIdentity::ReadElf(const std::string& path, Utility::Result& result)
{
    ImageFile file;
    ElfFacts facts;
    if (!file.Open(path, result) || !ReadSegments(file, facts, result))
        return false;
    const bool hasBuildID = !facts.mBuildID.empty();
    Profiler::SerializableGUID guid = MakeGuid(facts.mBuildID);
    if (!hasBuildID && !HashContent(file, guid, result))
        return false;
    mKey = Profiler::PDBKey::sMake(path, 0, 0, hasBuildID ? cBuildIDAge : cContentAge, guid, path);
    mBase = facts.mBase;
    return true;
}

bool ImageIdentity::ReadPe(const std::string& path, Utility::Result& result)
{
    PeImage image;
    if (!image.Open(path, result))
        return false;
    if (!image.GetPdb())
        return result.Fail(Serialization::Unspecified, "The image names no program database");
    const PdbReference& pdb = *image.GetPdb();
    mKey = Profiler::PDBKey::sMake(path, image.GetTimeStamp(), image.GetImageSize(), pdb.mAge, pdb.mGUID, pdb.mName);
    mBase = image.GetBase();
    return true;
}

}
