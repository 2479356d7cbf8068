#include "SymbolResolverWorker/ElfFile.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <limits>

#include <elfutils/libdwelf.h>

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint64_t cPageSize = 4096;

const char* GetLibraryError()
{
    const char* message = elf_errmsg(-1);
    return message == nullptr ? "unknown reason" : message;
}

}

ElfFile::~ElfFile()
{
    elf_end(mElf);
}

bool ElfFile::Open(const std::string& path, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    mPath = path;
    elf_version(EV_CURRENT);
    if (!mFile.Open(path, result))
        return false;
    // The library writes to section headers there when it unpacks a section.
    mElf = elf_memory(reinterpret_cast<char*>(mFile.GetBytes().data()), mFile.GetBytes().size());
    GElf_Ehdr header;
    if (mElf == nullptr || elf_kind(mElf) != ELF_K_ELF || gelf_getehdr(mElf, &header) == nullptr)
        return result.Fail(Serialization::InvalidBuffer, "The ELF file cannot be read: %s", GetLibraryError());
    if (header.e_ident[EI_DATA] != ELFDATA2LSB || (header.e_type != ET_EXEC && header.e_type != ET_DYN))
        return result.Fail(Serialization::InvalidBuffer,
            "The ELF file is no little-endian executable or library: byte order %d, type %d", header.e_ident[EI_DATA],
            header.e_type);
    mMachine = header.e_machine;
    return ReadSegments(result);
}

bool ElfFile::ReadSegments(Utility::Result& result)
{
    std::size_t count = 0;
    if (elf_getphdrnum(mElf, &count) != 0)
        return result.Fail(Serialization::CorruptData, "The segments cannot be read: %s", GetLibraryError());
    mBase = std::numeric_limits<uint64_t>::max();
    for (std::size_t i = 0; i < count; ++i)
    {
        GElf_Phdr segment;
        if (gelf_getphdr(mElf, static_cast<int>(i), &segment) == nullptr)
            return result.Fail(Serialization::CorruptData, "Segment %zu cannot be read: %s", i, GetLibraryError());
        if (segment.p_type != PT_LOAD)
            continue;
        mBase = std::min(mBase, segment.p_vaddr & ~(cPageSize - 1));
        mSegments.push_back({segment.p_vaddr, segment.p_offset, segment.p_filesz});
        if ((segment.p_flags & PF_X) != 0 && segment.p_memsz <= std::numeric_limits<uint64_t>::max() - segment.p_vaddr)
            mCodeRanges.push_back({segment.p_vaddr, segment.p_vaddr + segment.p_memsz});
    }
    return result.Check(!mSegments.empty(), Serialization::CorruptData, "The ELF file has no segment to load");
}

std::vector<std::byte> ElfFile::GetBuildID() const
{
    const void* bytes = nullptr;
    const ssize_t size = dwelf_elf_gnu_build_id(mElf, &bytes);
    if (size <= 0)
        return {};
    const auto* begin = static_cast<const std::byte*>(bytes);
    return {begin, begin + size};
}

std::optional<ElfFile::DebugLink> ElfFile::GetDebugLink() const
{
    GElf_Word checksum = 0;
    const char* name = dwelf_elf_gnu_debuglink(mElf, &checksum);
    if (name == nullptr)
        return std::nullopt;
    return DebugLink{name, checksum};
}

bool ElfFile::IsCode(uint64_t address) const
{
    return std::ranges::any_of(
        mCodeRanges, [=](const AddressRange& range) { return address >= range.mBegin && address < range.mEnd; });
}

Elf_Scn* ElfFile::FindSection(uint32_t type) const
{
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(mElf, section)) != nullptr;)
    {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr && header.sh_type == type)
            return section;
    }
    return nullptr;
}

Elf_Scn* ElfFile::FindSection(const char* name) const
{
    std::size_t names = 0;
    if (elf_getshdrstrndx(mElf, &names) != 0)
        return nullptr;
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(mElf, section)) != nullptr;)
    {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) == nullptr)
            continue;
        const char* found = elf_strptr(mElf, names, header.sh_name);
        if (found != nullptr && std::strcmp(found, name) == 0)
            return section;
    }
    return nullptr;
}

ByteRange ElfFile::GetBytesAt(uint64_t address) const
{
    const ByteRange whole{GetBytes()};
    const uint64_t fileSize = whole.GetSize();
    for (const Segment& segment : mSegments)
    {
        if (address < segment.mAddress || address - segment.mAddress >= segment.mFileSize)
            continue;
        const uint64_t inside = address - segment.mAddress;
        if (inside > std::numeric_limits<uint64_t>::max() - segment.mOffset || segment.mOffset + inside > fileSize)
            continue;
        const uint64_t offset = segment.mOffset + inside;
        return *whole.Slice(offset, std::min(segment.mFileSize - inside, fileSize - offset));
    }
    return {};
}

EArchitecture ElfFile::GetArchitecture() const
{
    switch (mMachine)
    {
    case EM_386:
        return EArchitecture::X86;
    case EM_X86_64:
        return EArchitecture::X64;
    case EM_ARM:
        return EArchitecture::Arm;
    case EM_AARCH64:
        return EArchitecture::Arm64;
    default:
        return EArchitecture::Unknown;
    }
}

bool ElfFile::ReadCode(uint64_t offset, uint64_t size, std::vector<std::byte>& code, Utility::Result& result) const
{
    const auto found = GetBytesAt(mBase + offset).Slice(0, size);
    if (!found)
        return result.Fail(Serialization::CorruptData,
            "The file has no segment with the %" PRIu64 " bytes at 0x%" PRIX64, size, offset);
    code.assign(found->GetBytes().begin(), found->GetBytes().end());
    return true;
}

}
