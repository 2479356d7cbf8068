#include "SymbolResolverWorker/ElfFile.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <limits>

#include <elfutils/libdwelf.h>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/SectionUnpacker.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

constexpr uint64_t cPageSize = 4096;
/// Newer than the header of the oldest library that this is built with.
constexpr uint32_t cPackedWithZstd = 2;

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
    ReadCodeSections();
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

void ElfFile::ReadCodeSections()
{
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(mElf, section)) != nullptr;)
    {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr && (header.sh_flags & SHF_EXECINSTR) != 0)
            mCodeSections.Add(header.sh_addr, header.sh_size);
    }
    mCodeSections.Sort();
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

void ElfFile::UnpackSections(const JobControl& control)
{
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(mElf, section)) != nullptr;)
        UnpackSection(section, control);
}

/// The library is left with a section that never was packed.
void ElfFile::UnpackSection(Elf_Scn* section, const JobControl& control)
{
    GElf_Shdr header;
    GElf_Chdr packing;
    if (gelf_getshdr(section, &header) == nullptr || (header.sh_flags & SHF_COMPRESSED) == 0 ||
        gelf_getchdr(section, &packing) == nullptr || packing.ch_type != cPackedWithZstd)
        return;
    Elf_Data* content = elf_rawdata(section, nullptr);
    const std::size_t start = gelf_getclass(mElf) == ELFCLASS64 ? sizeof(Elf64_Chdr) : sizeof(Elf32_Chdr);
    if (content == nullptr || content->d_buf == nullptr || content->d_size < start)
        return;
    const std::span packed{static_cast<const std::byte*>(content->d_buf), content->d_size};
    auto unpacked = gUnpackZstd(packed.subspan(start), packing.ch_size, control);
    if (!unpacked)
        return Utility::gTrace("Section %zu of %s cannot be unpacked", elf_ndxscn(section), mPath.c_str());
    header.sh_flags &= ~uint64_t{SHF_COMPRESSED};
    header.sh_size = unpacked->size();
    header.sh_addralign = packing.ch_addralign;
    gelf_update_shdr(section, &header);
    for (Elf_Data* data : {content, elf_getdata(section, nullptr)})
    {
        if (data == nullptr)
            continue;
        data->d_buf = unpacked->data();
        data->d_size = unpacked->size();
        data->d_type = ELF_T_BYTE;
    }
    mUnpacked.push_back(std::move(*unpacked));
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

uint64_t ElfFile::GetCodeSize(uint64_t offset) const
{
    const uint64_t address = mBase + offset;
    const uint64_t size = GetBytesAt(address).GetSize();
    const auto end = mCodeSections.FindEnd(address);
    return end ? std::min(size, *end - address) : size;
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
