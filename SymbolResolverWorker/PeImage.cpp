#include "SymbolResolverWorker/PeImage.h"

#include <algorithm>
#include <cinttypes>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint16_t cDosMagic = 0x5A4D;          // "MZ"
constexpr uint32_t cPeMagic = 0x00004550;       // "PE", 0, 0
constexpr uint32_t cCodeViewMagic = 0x53445352; // "RSDS"
constexpr uint32_t cCodeViewEntry = 2;
constexpr uint64_t cDebugEntrySize = 28;
constexpr uint64_t cMostDebugEntries = 64;
constexpr uint64_t cLongestPdbName = 4096;

EArchitecture GetArchitectureOf(uint16_t machine)
{
    switch (machine)
    {
    case 0x014C:
        return EArchitecture::X86;
    case 0x8664:
        return EArchitecture::X64;
    case 0x01C4:
        return EArchitecture::Arm;
    case 0xAA64:
        return EArchitecture::Arm64;
    default:
        return EArchitecture::Unknown;
    }
}

}

bool PeSection::Read(const ByteRange& bytes, uint64_t offset)
{
    return bytes.Read(offset + 8, mSize) && bytes.Read(offset + 12, mAddress) && bytes.Read(offset + 16, mFileSize) &&
           bytes.Read(offset + 20, mFileOffset);
}

bool PeImage::sHasMagic(const ByteRange& start)
{
    uint16_t magic = 0;
    return start.Read(0, magic) && magic == cDosMagic;
}

bool PeImage::Open(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    uint16_t dosMagic = 0;
    uint32_t start = 0;
    uint32_t magic = 0;
    if (!mFile.Open(path, result) || !mFile.Read(0, dosMagic, result) || !mFile.Read(0x3C, start, result) ||
        !mFile.Read(start, magic, result) ||
        !result.Check(dosMagic == cDosMagic && magic == cPeMagic, Serialization::InvalidBuffer, "This is no PE image"))
        return false;

    // The file header of 20 bytes follows the magic, and the optional header follows that.
    uint16_t machine = 0;
    uint16_t numSections = 0;
    uint16_t optionalSize = 0;
    uint16_t form = 0;
    const uint64_t header = uint64_t{start} + 4;
    const uint64_t optional = header + 20;
    if (!mFile.Read(header, machine, result) || !mFile.Read(header + 2, numSections, result) ||
        !mFile.Read(header + 4, mTimeStamp, result) || !mFile.Read(header + 16, optionalSize, result) ||
        !mFile.Read(optional, form, result) || !mFile.Read(optional + 56, mImageSize, result))
        return false;
    mArchitecture = GetArchitectureOf(machine);
    const bool is64 = form == 0x20B;
    uint32_t narrowBase = 0;
    if (!(is64 ? mFile.Read(optional + 24, mBase, result) : mFile.Read(optional + 28, narrowBase, result)))
        return false;
    mBase += narrowBase;
    if (!ReadSections(optional + optionalSize, numSections, result))
        return false;

    const uint64_t directories = optional + (is64 ? 112 : 96);
    uint32_t numDirectories = 0;
    uint32_t debugAddress = 0;
    uint32_t debugSize = 0;
    if (!mFile.Read(directories - 4, numDirectories, result))
        return false;
    constexpr uint32_t cDebugDirectory = 6;
    if (numDirectories <= cDebugDirectory)
        return true;
    return mFile.Read(directories + 8 * cDebugDirectory, debugAddress, result) &&
           mFile.Read(directories + 8 * cDebugDirectory + 4, debugSize, result) &&
           ReadDebugDirectory(debugAddress, debugSize, result);
}

bool PeImage::ReadSections(uint64_t offset, uint16_t count, Utility::Result& result)
{
    std::vector<std::byte> bytes;
    if (!mFile.Read(offset, PeSection::cStoredSize * count, bytes, result))
        return false;
    const ByteRange range{bytes};
    mSections.resize(count);
    for (std::size_t i = 0; i < mSections.size(); ++i)
    {
        if (!mSections[i].Read(range, i * PeSection::cStoredSize))
            return result.Fail(Serialization::CorruptData, "Section header %zu is cut short", i);
    }
    return true;
}

bool PeImage::ReadDebugDirectory(uint32_t address, uint32_t size, Utility::Result& result)
{
    if (size == 0)
        return true;
    const auto offset = FindInFile(address, size);
    if (!offset || size / cDebugEntrySize > cMostDebugEntries)
        return result.Fail(Serialization::CorruptData,
            "The debug directory of %" PRIu32 " bytes at 0x%" PRIX32 " is not in the file", size, address);
    for (uint64_t i = 0; i < size / cDebugEntrySize && !mPdb; ++i)
    {
        const uint64_t entry = *offset + i * cDebugEntrySize;
        uint32_t type = 0;
        uint32_t dataSize = 0;
        uint32_t dataOffset = 0;
        if (!mFile.Read(entry + 12, type, result) || !mFile.Read(entry + 16, dataSize, result) ||
            !mFile.Read(entry + 24, dataOffset, result))
            return false;
        if (type == cCodeViewEntry && !ReadPdbReference(dataOffset, dataSize, result))
            return false;
    }
    return true;
}

/// "RSDS", the GUID, the age, and the name with a zero byte. Other forms are older than the databases that are read.
bool PeImage::ReadPdbReference(uint64_t offset, uint64_t size, Utility::Result& result)
{
    constexpr uint64_t cNameOffset = 24;
    std::vector<std::byte> bytes;
    if (!mFile.Read(offset, std::min(size, cNameOffset + cLongestPdbName), bytes, result))
        return false;
    const ByteRange range{bytes};
    uint32_t magic = 0;
    PdbReference pdb;
    if (!range.Read(0, magic) || magic != cCodeViewMagic)
        return true;
    const auto name = range.ReadText(cNameOffset);
    if (!range.Read(4, pdb.mGUID.Data1) || !range.Read(12, pdb.mGUID.Data2) || !range.Read(20, pdb.mAge) || !name)
        return result.Fail(Serialization::CorruptData,
            "The record of the program database at offset %" PRIu64 " is cut short", offset);
    pdb.mName = *name;
    mPdb = std::move(pdb);
    return true;
}

std::optional<uint64_t> PeImage::FindInFile(uint64_t address, uint64_t size) const
{
    for (const PeSection& section : mSections)
    {
        if (address >= section.mAddress && address - section.mAddress < section.mFileSize &&
            size <= section.mFileSize - (address - section.mAddress))
            return section.mFileOffset + (address - section.mAddress);
    }
    return std::nullopt;
}

uint64_t PeImage::GetCodeSize(uint64_t offset) const
{
    for (const PeSection& section : mSections)
    {
        // In the file a section is filled up.
        const uint64_t size = std::min(section.mSize, section.mFileSize);
        if (offset >= section.mAddress && offset - section.mAddress < size)
            return size - (offset - section.mAddress);
    }
    return 0;
}

bool PeImage::ReadCode(uint64_t offset, uint64_t size, std::vector<std::byte>& code, Utility::Result& result) const
{
    const auto place = FindInFile(offset, size);
    if (!place)
        return result.Fail(Serialization::CorruptData,
            "The image has no section with the %" PRIu64 " bytes at 0x%" PRIX64, size, offset);
    return mFile.Read(*place, size, code, result);
}

}
