#include "Importers/PlainValueReader.h"

#include "Importers/PlainText.h"
#include "Importers/TraceWindow.h"
#include "Importers/Utf8.h"

namespace Importers
{
const char* PlainValueReader::DecodeString(const char* cursor)
{
    while (true)
    {
        const char* const end = gFindStringEnd(cursor, mIsNonAscii);
        Append(std::string_view(cursor, end));
        if (*end == '"')
        {
            return end + 1;
        }
        cursor = DecodeEscape(end + 1);
        if (cursor == nullptr)
        {
            return nullptr;
        }
    }
}

/// Behind the backslash.
const char* PlainValueReader::DecodeEscape(const char* cursor)
{
    switch (*cursor)
    {
    case '"':
    case '\\':
    case '/':
        *mOutput++ = *cursor;
        return cursor + 1;
    case 'b':
        *mOutput++ = '\b';
        return cursor + 1;
    case 'f':
        *mOutput++ = '\f';
        return cursor + 1;
    case 'n':
        *mOutput++ = '\n';
        return cursor + 1;
    case 'r':
        *mOutput++ = '\r';
        return cursor + 1;
    case 't':
        *mOutput++ = '\t';
        return cursor + 1;
    case 'u':
        break;
    default:
        return nullptr;
    }
    const std::int32_t unit = gParseHex(cursor + 1);
    if (unit < 0 || (unit >= 0xD800 && unit < 0xE000))
    {
        return nullptr;
    }
    mOutput = gWriteUtf8(mOutput, static_cast<char32_t>(unit));
    return cursor + 5;
}

template <bool copies>
const char* PlainValueReader::PassValue(const char* cursor)
{
    constexpr unsigned deepest = 64;

    // What has been passed over and not been copied yet.
    const char* start = cursor;
    const auto skipSpace = [&] {
        if (static_cast<unsigned char>(*cursor) > ' ') [[likely]]
        {
            return;
        }
        if constexpr (copies)
        {
            Append(std::string_view(start, cursor));
        }
        cursor = gSkipSpace(cursor);
        start = cursor;
    };
    const auto passKey = [&] {
        cursor = *cursor == '"' ? PassString(cursor + 1) : nullptr;
        if (cursor == nullptr)
        {
            return false;
        }
        skipSpace();
        if (*cursor != ':')
        {
            return false;
        }
        ++cursor;
        skipSpace();
        return true;
    };

    // A bit for each open level: set for an object.
    std::uint64_t levels = 0;
    unsigned depth = 0;
    while (true)
    {
        const char first = *cursor;
        if (first == '{' || first == '[')
        {
            if (depth == deepest)
            {
                return nullptr;
            }
            ++cursor;
            skipSpace();
            if (*cursor != (first == '{' ? '}' : ']'))
            {
                levels = levels << 1 | (first == '{' ? 1 : 0);
                ++depth;
                if (first == '{' && !passKey())
                {
                    return nullptr;
                }
                continue;
            }
            ++cursor;
        }
        else if (first == '"')
        {
            cursor = PassString(cursor + 1);
        }
        else if (first == '-' || gIsDigit(first))
        {
            cursor = PassNumber(cursor);
        }
        else if (const std::uint32_t literal = gLoad<std::uint32_t>(cursor);
                 literal == gPack("true") || literal == gPack("null"))
        {
            cursor += 4;
        }
        else
        {
            cursor = literal == gPack("fals") && cursor[4] == 'e' ? cursor + 5 : nullptr;
        }
        if (cursor == nullptr)
        {
            return nullptr;
        }
        // A value has ended, and with it perhaps those around it.
        while (depth != 0)
        {
            skipSpace();
            const bool isObject = (levels & 1) != 0;
            const char next = *cursor;
            ++cursor;
            if (next == ',')
            {
                skipSpace();
                if (isObject && !passKey())
                {
                    return nullptr;
                }
                break;
            }
            if (next != (isObject ? '}' : ']'))
            {
                return nullptr;
            }
            levels >>= 1;
            --depth;
            if (depth == 0)
            {
                break;
            }
        }
        if (depth == 0)
        {
            if constexpr (copies)
            {
                Append(std::string_view(start, cursor));
            }
            return cursor;
        }
    }
}

const char* PlainValueReader::PassString(const char* cursor)
{
    while (true)
    {
        cursor = gFindStringEnd(cursor, mIsNonAscii);
        if (*cursor == '"') [[likely]]
        {
            return cursor + 1;
        }
        const char escape = cursor[1];
        if (escape == 'u')
        {
            if (gParseHex(cursor + 2) < 0)
            {
                return nullptr;
            }
            cursor += 6;
        }
        else if (std::string_view("\"\\/bfnrt").find(escape) != std::string_view::npos)
        {
            cursor += 2;
        }
        else
        {
            return nullptr;
        }
    }
}

const char* PlainValueReader::PassNumber(const char* cursor)
{
    const char* const end = JsonScanner::sFindNumberEnd(cursor, mEnd);
    return end != nullptr && end - cursor <= JsonScanner::sLongestPlainNumber ? end : nullptr;
}

/// In blocks: what is written too much is overwritten by what follows, and there is room behind the last. Texts lie in
/// the window or in the room, so behind them there is something to read.
void PlainValueReader::Append(std::string_view text)
{
    struct Block
    {
        std::uint64_t mParts[2];
    };
    static_assert(sizeof(Block) <= TraceWindow::sPadding);

    for (std::size_t i = 0; i < text.size(); i += sizeof(Block))
    {
        const auto block = gLoad<Block>(text.data() + i);
        std::memcpy(mOutput + i, &block, sizeof(block));
    }
    mOutput += text.size();
}

template const char* PlainValueReader::PassValue<false>(const char*);
template const char* PlainValueReader::PassValue<true>(const char*);
}
