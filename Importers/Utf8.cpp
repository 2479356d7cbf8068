#include "Importers/Utf8.h"

#include <cstdint>
#include <cstring>

namespace Importers
{
namespace
{
/// Whole groups of eight bytes at the front that are ASCII.
std::size_t CountAscii(std::string_view text)
{
    std::size_t count = 0;
    for (std::uint64_t bytes = 0; text.size() - count >= sizeof(bytes); count += sizeof(bytes))
    {
        std::memcpy(&bytes, text.data() + count, sizeof(bytes));
        if ((bytes & 0x8080808080808080) != 0)
        {
            break;
        }
    }
    return count;
}

bool IsContinuation(char character)
{
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
}

/// Bytes of the valid sequence at the front of a text that is not empty, 0 when there is none.
std::size_t GetSequenceLength(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
    {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
    {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i)
    {
        if (!IsContinuation(text[i]))
        {
            return 0;
        }
    }
    // Overlong forms, surrogates and what lies above U+10FFFF differ from valid sequences in the second byte.
    const auto second = static_cast<unsigned char>(text[1]);
    const bool isInvalid = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
                           (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90);
    return isInvalid ? 0 : length;
}
}

std::size_t gCountValidUtf8(std::string_view text)
{
    std::size_t count = CountAscii(text);
    while (count < text.size())
    {
        const std::size_t length = GetSequenceLength(text.substr(count));
        if (length == 0)
        {
            break;
        }
        count += length;
    }
    return count;
}

void gAppendValidUtf8(std::string& target, std::string_view text)
{
    while (true)
    {
        const std::size_t valid = gCountValidUtf8(text);
        target.append(text.substr(0, valid));
        if (valid == text.size())
        {
            return;
        }
        gAppendUtf8(target, U'\uFFFD');
        text.remove_prefix(valid + 1);
    }
}

void gAppendUtf8(std::string& target, char32_t codePoint)
{
    char bytes[4];
    target.append(bytes, gWriteUtf8(bytes, codePoint));
}

char* gWriteUtf8(char* target, char32_t codePoint)
{
    const auto write = [&target](char32_t byte) {
        *target++ = static_cast<char>(byte);
    };
    if (codePoint < 0x80)
    {
        write(codePoint);
    }
    else if (codePoint < 0x800)
    {
        write(0xC0 | (codePoint >> 6));
        write(0x80 | (codePoint & 0x3F));
    }
    else if (codePoint < 0x10000)
    {
        write(0xE0 | (codePoint >> 12));
        write(0x80 | ((codePoint >> 6) & 0x3F));
        write(0x80 | (codePoint & 0x3F));
    }
    else
    {
        write(0xF0 | (codePoint >> 18));
        write(0x80 | ((codePoint >> 12) & 0x3F));
        write(0x80 | ((codePoint >> 6) & 0x3F));
        write(0x80 | (codePoint & 0x3F));
    }
    return target;
}

std::string_view gCutUtf8(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit)
    {
        return text;
    }
    while (limit > 0 && IsContinuation(text[limit]))
    {
        --limit;
    }
    return text.substr(0, limit);
}
}
