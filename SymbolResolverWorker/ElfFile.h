#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <gelf.h>

#include "SymbolResolverWorker/ByteRange.h"
#include "SymbolResolverWorker/CodeImage.h"
#include "SymbolResolverWorker/CodeSections.h"
#include "SymbolResolverWorker/MappedFile.h"

namespace Symbols
{

class JobControl;

/// An ELF file under libelf: an image, or the debug file that was split off from one. What it hands out lives as long
/// as it does. One thread.
class ElfFile final : public CodeImage
{
public:
    /// The name of a debug file and the checksum of its content.
    struct DebugLink
    {
        std::string mName;
        uint32_t mChecksum = 0;
    };

    struct AddressRange
    {
        uint64_t mBegin = 0;
        uint64_t mEnd = 0;
    };

    ElfFile() = default;
    ~ElfFile() override;

    /// False with the reason when the file cannot be read or is no ELF file of a kind that can be read: 32 or 64 bits,
    /// little-endian, an executable, a library, or one's debug file.
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    Elf* GetHandle() const { return mElf; }
    const std::string& GetPath() const { return mPath; }
    std::span<const std::byte> GetBytes() const { return mFile.GetBytes(); }

    std::vector<std::byte> GetBuildID() const;
    std::optional<DebugLink> GetDebugLink() const;

    /// The page of the lowest segment that is loaded: the address that the image's base had at link time.
    uint64_t GetBase() const { return mBase; }
    /// The segments with instructions, as link-time addresses.
    const std::vector<AddressRange>& GetCodeRanges() const { return mCodeRanges; }
    bool IsCode(uint64_t address) const;
    /// The sections with instructions, by link-time addresses.
    const CodeSections& GetCodeSections() const { return mCodeSections; }

    /// The first section of that type, or of that name; null when there is none.
    Elf_Scn* FindSection(uint32_t type) const;
    Elf_Scn* FindSection(const char* name) const;

    /// Unpacks the sections that are packed with zstd, which the library does not know; those with zlib it unpacks
    /// itself. What is damaged stays as it is.
    void UnpackSections(const JobControl& control);

    /// What the file has at a link-time address, up to the end of the segment; empty for nothing.
    ByteRange GetBytesAt(uint64_t address) const;

    EArchitecture GetArchitecture() const override;
    uint64_t GetCodeSize(uint64_t offset) const override;
    [[nodiscard]] bool ReadCode(
        uint64_t offset, uint64_t size, std::vector<std::byte>& code, Utility::Result& result) const override;

private:
    struct Segment
    {
        uint64_t mAddress;
        uint64_t mOffset;
        uint64_t mFileSize;
    };

    [[nodiscard]] bool ReadSegments(Utility::Result& result);
    void ReadCodeSections();
    void UnpackSection(Elf_Scn* section, const JobControl& control);

    std::string mPath;
    MappedFile mFile;
    Elf* mElf = nullptr;
    uint16_t mMachine = 0;
    uint64_t mBase = 0;
    std::vector<Segment> mSegments;
    std::vector<AddressRange> mCodeRanges;
    CodeSections mCodeSections;
    std::vector<std::vector<std::byte>> mUnpacked;
};

}
