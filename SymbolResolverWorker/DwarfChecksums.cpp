#include "SymbolResolverWorker/DwarfChecksums.h"

#include <dwarf.h>

namespace Symbols
{

namespace
{

/// Reads one value after the other. Past the end, or once something is not known, there are only zeros.
class Cursor
{
public:
    Cursor(const ByteRange& bytes, uint64_t offset) : mBytes{bytes}, mOffset{offset} {}

    bool IsGood() const { return mIsGood; }

    template <class T>
    T Read()
    {
        T value{};
        mIsGood = mIsGood && mBytes.Read(mOffset, value);
        mOffset += sizeof(T);
        return mIsGood ? value : T{};
    }

    uint64_t ReadOffset(bool is64) { return is64 ? Read<uint64_t>() : Read<uint32_t>(); }

    /// LEB128: seven bits a byte, the lowest first, the highest bit in all but the last.
    uint64_t ReadNumber()
    {
        uint64_t value = 0;
        for (unsigned shift = 0; mIsGood; shift += 7)
        {
            const auto byte = Read<uint8_t>();
            if (shift < 64)
                value |= uint64_t{byte & 0x7Fu} << shift;
            if ((byte & 0x80) == 0)
                break;
        }
        return mIsGood ? value : 0;
    }

    std::vector<std::byte> ReadBytes(uint64_t count)
    {
        const auto bytes = mIsGood ? mBytes.Slice(mOffset, count) : std::nullopt;
        mIsGood = bytes.has_value();
        if (!mIsGood)
            return {};
        mOffset += count;
        return {bytes->GetBytes().begin(), bytes->GetBytes().end()};
    }

    void Skip(uint64_t count)
    {
        mIsGood = mIsGood && mBytes.Slice(mOffset, count);
        mOffset += mIsGood ? count : 0;
    }

    void SkipText()
    {
        const auto text = mIsGood ? mBytes.ReadText(mOffset) : std::nullopt;
        mIsGood = text.has_value();
        mOffset += mIsGood ? text->size() + 1 : 0;
    }

    void Fail() { mIsGood = false; }

private:
    const ByteRange mBytes;
    uint64_t mOffset;
    bool mIsGood = true;
};

struct Field
{
    uint64_t mContent;
    uint64_t mForm;
};

std::vector<Field> ReadFormat(Cursor& cursor)
{
    std::vector<Field> fields;
    for (unsigned count = cursor.Read<uint8_t>(); count > 0 && cursor.IsGood(); --count)
    {
        const uint64_t content = cursor.ReadNumber();
        fields.push_back({content, cursor.ReadNumber()});
    }
    return fields;
}

/// Each form takes a byte at least, so a count that is too large ends with the section.
void SkipField(Cursor& cursor, uint64_t form, bool is64)
{
    switch (form)
    {
    case DW_FORM_string:
        return cursor.SkipText();
    case DW_FORM_line_strp:
    case DW_FORM_strp:
    case DW_FORM_strp_sup:
    case DW_FORM_sec_offset:
        return cursor.Skip(is64 ? 8 : 4);
    case DW_FORM_udata:
    case DW_FORM_strx:
        return static_cast<void>(cursor.ReadNumber());
    case DW_FORM_data1:
    case DW_FORM_strx1:
        return cursor.Skip(1);
    case DW_FORM_data2:
    case DW_FORM_strx2:
        return cursor.Skip(2);
    case DW_FORM_strx3:
        return cursor.Skip(3);
    case DW_FORM_data4:
    case DW_FORM_strx4:
        return cursor.Skip(4);
    case DW_FORM_data8:
        return cursor.Skip(8);
    case DW_FORM_data16:
        return cursor.Skip(16);
    case DW_FORM_block:
        return cursor.Skip(cursor.ReadNumber());
    default:
        return cursor.Fail();
    }
}

}

/// length, version (2 bytes), size of an address, size of a segment, length of the rest of this header, sizes and
/// numbers of instructions (6 bytes, the last of them the first special opcode), number of operands of each other
/// opcode; then twice, for folders and for files: the format of an entry, the number of entries, the entries.
std::vector<SourceChecksum> gReadDwarfChecksums(const ByteRange& lines, uint64_t offset)
{
    Cursor cursor{lines, offset};
    const bool is64 = cursor.Read<uint32_t>() == 0xFFFFFFFF;
    if (is64)
        cursor.Skip(8);
    if (cursor.Read<uint16_t>() != 5)
        return {};
    cursor.Skip(2);
    cursor.Skip(is64 ? 8 : 4);
    cursor.Skip(5);
    const auto firstSpecialOpcode = cursor.Read<uint8_t>();
    cursor.Skip(firstSpecialOpcode > 0 ? firstSpecialOpcode - 1u : 0u);

    const std::vector<Field> folderFormat = ReadFormat(cursor);
    for (uint64_t count = cursor.ReadNumber(); count > 0 && !folderFormat.empty() && cursor.IsGood(); --count)
    {
        for (const Field& field : folderFormat)
            SkipField(cursor, field.mForm, is64);
    }
    const std::vector<Field> fileFormat = ReadFormat(cursor);
    std::vector<SourceChecksum> checksums;
    for (uint64_t count = cursor.ReadNumber(); count > 0 && !fileFormat.empty() && cursor.IsGood(); --count)
    {
        SourceChecksum checksum;
        for (const Field& field : fileFormat)
        {
            if (field.mContent == DW_LNCT_MD5 && field.mForm == DW_FORM_data16)
                checksum = {SourceChecksum::EKind::MD5, cursor.ReadBytes(16)};
            else
                SkipField(cursor, field.mForm, is64);
        }
        if (cursor.IsGood())
            checksums.push_back(std::move(checksum));
    }
    return checksums;
}

}
