#include "SymbolResolverWorker/EhFrame.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <unordered_map>

#include "SymbolResolverWorker/JobControl.h"

namespace Symbols
{

namespace
{

// How a number is written: the low four bits say its form, the next three what it counts from.
constexpr uint8_t cOmitted = 0xFF;
constexpr uint8_t cFormMask = 0x0F;
constexpr uint8_t cBaseMask = 0x70;
constexpr uint8_t cFromHere = 0x10;
constexpr uint8_t cFromTable = 0x30;
constexpr uint8_t cIndirect = 0x80;

/// Reads along bytes whose first one has a known address. Once something is missing, everything after it is.
class UnwindCursor
{
public:
    UnwindCursor(const ByteRange& bytes, uint64_t address, bool is64) : mBytes{bytes}, mAddress{address}, mIs64{is64} {}

    bool HasFailed() const { return mFailed; }
    uint64_t GetAddress() const { return mAddress + mOffset; }
    void Skip(uint64_t count) { mOffset += std::min<uint64_t>(count, std::numeric_limits<uint32_t>::max()); }

    template <class T>
    T Read()
    {
        T value{};
        mFailed = mFailed || !mBytes.Read(mOffset, value);
        mOffset += sizeof(T);
        return value;
    }

    uint64_t ReadLEB(bool isSigned)
    {
        uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !mFailed; shift += 7)
        {
            const auto byte = Read<uint8_t>();
            value |= uint64_t{byte & 0x7FU} << shift;
            if ((byte & 0x80) != 0)
                continue;
            if (isSigned && (byte & 0x40) != 0 && shift + 7 < 64)
                value |= ~uint64_t{0} << (shift + 7);
            return value;
        }
        mFailed = true;
        return 0;
    }

    uint64_t ReadForm(uint8_t form)
    {
        switch (form & cFormMask)
        {
        case 0x0:
            return mIs64 ? Read<uint64_t>() : Read<uint32_t>();
        case 0x1:
            return ReadLEB(false);
        case 0x2:
            return Read<uint16_t>();
        case 0x3:
            return Read<uint32_t>();
        case 0x4:
        case 0xC:
            return Read<uint64_t>();
        case 0x9:
            return ReadLEB(true);
        case 0xA:
            return static_cast<uint64_t>(int64_t{Read<int16_t>()});
        case 0xB:
            return static_cast<uint64_t>(int64_t{Read<int32_t>()});
        default:
            mFailed = true;
            return 0;
        }
    }

    /// `table` is the address that numbers of the table count from.
    uint64_t ReadPointer(uint8_t encoding, uint64_t table)
    {
        const uint64_t here = GetAddress();
        const uint64_t value = ReadForm(encoding);
        const uint8_t base = encoding & cBaseMask;
        // What has to be looked up in memory is not known before the image is loaded.
        mFailed = mFailed || (encoding & cIndirect) != 0 || (base != 0 && base != cFromHere && base != cFromTable);
        const uint64_t address = value + (base == cFromHere ? here : base == cFromTable ? table : 0);
        return mIs64 ? address : address & 0xFFFFFFFF;
    }

    /// The text up to its zero byte.
    std::string_view ReadText()
    {
        const auto text = mBytes.ReadText(mOffset);
        mFailed = mFailed || !text;
        mOffset += text ? text->size() + 1 : 0;
        return text.value_or(std::string_view{});
    }

private:
    const ByteRange mBytes;
    const uint64_t mAddress;
    const bool mIs64;
    uint64_t mOffset = 0;
    bool mFailed = false;
};

class UnwindTable
{
public:
    explicit UnwindTable(const ElfFile& elf) : mElf{elf}, mIs64{gelf_getclass(elf.GetHandle()) == ELFCLASS64} {}

    std::vector<ElfFile::AddressRange> Read(const JobControl& control);

private:
    std::optional<uint64_t> FindHeader() const;
    std::optional<ElfFile::AddressRange> ReadDescription(uint64_t address);
    std::optional<uint8_t> GetPointerEncoding(uint64_t commonAddress);
    std::optional<uint8_t> ReadPointerEncoding(uint64_t commonAddress) const;
    UnwindCursor At(uint64_t address) const { return {mElf.GetBytesAt(address), address, mIs64}; }

    const ElfFile& mElf;
    const bool mIs64;
    /// Many descriptions share one common part.
    std::unordered_map<uint64_t, std::optional<uint8_t>> mEncodings;
};

std::optional<uint64_t> UnwindTable::FindHeader() const
{
    std::size_t count = 0;
    elf_getphdrnum(mElf.GetHandle(), &count);
    for (std::size_t i = 0; i < count; ++i)
    {
        GElf_Phdr segment;
        if (gelf_getphdr(mElf.GetHandle(), static_cast<int>(i), &segment) != nullptr &&
            segment.p_type == PT_GNU_EH_FRAME)
            return segment.p_vaddr;
    }
    return std::nullopt;
}

std::vector<ElfFile::AddressRange> UnwindTable::Read(const JobControl& control)
{
    const auto header = FindHeader();
    if (!header)
        return {};
    UnwindCursor cursor = At(*header);
    const auto version = cursor.Read<uint8_t>();
    const auto frameEncoding = cursor.Read<uint8_t>();
    const auto countEncoding = cursor.Read<uint8_t>();
    const auto tableEncoding = cursor.Read<uint8_t>();
    if (cursor.HasFailed() || version != 1 || countEncoding == cOmitted || tableEncoding == cOmitted)
        return {};
    if (frameEncoding != cOmitted)
        cursor.ReadPointer(frameEncoding, *header);
    const uint64_t count = cursor.ReadPointer(countEncoding, *header);

    std::vector<ElfFile::AddressRange> ranges;
    for (uint64_t i = 0; i < count && !control.ShouldStop(); ++i)
    {
        cursor.ReadPointer(tableEncoding, *header);
        const uint64_t description = cursor.ReadPointer(tableEncoding, *header);
        if (cursor.HasFailed())
            break;
        const auto range = ReadDescription(description);
        if (range && mElf.IsCode(range->mBegin))
            ranges.push_back(*range);
    }
    std::ranges::sort(ranges, {}, &ElfFile::AddressRange::mBegin);
    return ranges;
}

/// length (4 bytes, or all ones and 8 bytes), distance back to the common part, begin, size, ...
std::optional<ElfFile::AddressRange> UnwindTable::ReadDescription(uint64_t address)
{
    UnwindCursor cursor = At(address);
    if (cursor.Read<uint32_t>() == std::numeric_limits<uint32_t>::max())
        cursor.Read<uint64_t>();
    const uint64_t here = cursor.GetAddress();
    const auto distance = cursor.Read<uint32_t>();
    const auto encoding = GetPointerEncoding(here - distance);
    if (cursor.HasFailed() || distance == 0 || !encoding)
        return std::nullopt;
    const uint64_t begin = cursor.ReadPointer(*encoding, 0);
    const uint64_t size = cursor.ReadForm(*encoding);
    if (cursor.HasFailed() || size == 0 || size > std::numeric_limits<uint64_t>::max() - begin)
        return std::nullopt;
    return ElfFile::AddressRange{begin, begin + size};
}

std::optional<uint8_t> UnwindTable::GetPointerEncoding(uint64_t commonAddress)
{
    const auto [entry, isNew] = mEncodings.try_emplace(commonAddress);
    if (isNew)
        entry->second = ReadPointerEncoding(commonAddress);
    return entry->second;
}

/// length, 0, version, letters, code and data alignment, return register; then, when the first letter is "z", a size
/// and what each further letter stands for.
std::optional<uint8_t> UnwindTable::ReadPointerEncoding(uint64_t commonAddress) const
{
    UnwindCursor cursor = At(commonAddress);
    if (cursor.Read<uint32_t>() == std::numeric_limits<uint32_t>::max())
        cursor.Read<uint64_t>();
    const auto isCommon = cursor.Read<uint32_t>() == 0;
    const auto version = cursor.Read<uint8_t>();
    const std::string_view letters = cursor.ReadText();
    cursor.ReadLEB(false);
    cursor.ReadLEB(true);
    if (version == 1)
        cursor.Read<uint8_t>();
    else
        cursor.ReadLEB(false);
    if (cursor.HasFailed() || !isCommon || (version != 1 && version != 3))
        return std::nullopt;
    if (letters.empty())
        return 0;
    if (letters.front() != 'z')
        return std::nullopt;
    cursor.ReadLEB(false);
    uint8_t encoding = 0;
    for (const char letter : letters.substr(1))
    {
        if (letter == 'R')
            encoding = cursor.Read<uint8_t>();
        else if (letter == 'L')
            cursor.Read<uint8_t>();
        else if (letter == 'P')
            cursor.ReadForm(cursor.Read<uint8_t>());
        else if (letter != 'S' && letter != 'B')
            return std::nullopt;
    }
    return cursor.HasFailed() ? std::nullopt : std::optional{encoding};
}

}

std::vector<ElfFile::AddressRange> gReadUnwindRanges(const ElfFile& elf, const JobControl& control)
{
    return UnwindTable{elf}.Read(control);
}

}
