#include "Renderer/Utf8Decoder.h"

namespace Renderer
{
namespace
{
bool IsContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

/// 0 for a byte that begins no sequence. The two that only begin overlong forms of two bytes count as beginnings, and
/// so do those of values behind the last code point.
std::size_t GetLength(unsigned char first)
{
    if (first < 0xC0 || first >= 0xF8)
    {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

bool IsValid(std::uint32_t codePoint, std::size_t length)
{
    constexpr std::uint32_t cSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    return codePoint >= cSmallest[length] && codePoint <= 0x10FFFF && !isSurrogate;
}
}

bool Utf8Decoder::NextSequence(std::uint32_t& codePoint)
{
    const auto byteAt = [this](std::size_t offset) {
        return static_cast<unsigned char>(mText[offset]);
    };

    const unsigned char first = byteAt(mOffset);
    const std::size_t length = GetLength(first);
    if (length == 0)
    {
        codePoint = cReplacement;
        ++mOffset;
        return true;
    }

    std::uint32_t value = first & (0x7Fu >> length);
    std::size_t count = 1;
    for (; count < length && mOffset + count < mText.size() && IsContinuation(byteAt(mOffset + count)); ++count)
    {
        value = value << 6 | (byteAt(mOffset + count) & 0x3Fu);
    }
    if (count < length && mOffset + count == mText.size())
    {
        mOffset = mText.size();
        return false;
    }
    mOffset += count;
    if (count == length && IsValid(value, length))
    {
        codePoint = value;
        return true;
    }
    while (mOffset < mText.size() && IsContinuation(byteAt(mOffset)))
    {
        ++mOffset;
    }
    codePoint = cReplacement;
    return true;
}
}
