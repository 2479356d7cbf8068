#include "Importers/PlainEventReader.h"

#include "Importers/ContextBuilder.h"
#include "Importers/JsonScanner.h"
#include "Importers/TextBlock.h"
#include "Importers/TraceWindow.h"
#include "Importers/Utf8.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace Importers
{
namespace
{
static_assert(std::endian::native == std::endian::little, "characters are taken from the lowest byte on");

template <typename T>
T Load(const char* cursor)
{
    T value;
    std::memcpy(&value, cursor, sizeof(value));
    return value;
}

/// The first characters of a text as a number to compare with.
constexpr std::uint32_t Pack(const char (&text)[5])
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
    {
        value = value << 8 | static_cast<unsigned char>(text[i]);
    }
    return value;
}

bool IsDigit(char character)
{
    return static_cast<unsigned char>(character - '0') < 10;
}

const char* SkipSpace(const char* cursor)
{
    while (
        static_cast<unsigned char>(*cursor) <= ' ' && JsonScanner::sIsWhitespace(static_cast<unsigned char>(*cursor)))
        [[unlikely]]
        {
            ++cursor;
        }
    return cursor;
}

/// Behind a colon and the space around it, or null.
const char* PassColon(const char* cursor)
{
    cursor = SkipSpace(cursor);
    return *cursor == ':' ? SkipSpace(cursor + 1) : nullptr;
}

/// The first quote or backslash, which the padding has at the latest.
const char* FindStringEnd(const char* cursor, bool& isNonAscii)
{
    std::uint32_t high = 0;
    while (true)
    {
        const TextBlock block(cursor);
        const std::uint32_t hits = block.Find('"') | block.Find('\\');
        if (hits != 0) [[likely]]
        {
            // Only what stands in front of the first hit.
            high |= block.FindNonAscii() & (hits - 1) & ~hits;
            isNonAscii |= high != 0;
            return cursor + std::countr_zero(hits);
        }
        high |= block.FindNonAscii();
        cursor += TextBlock::sSize;
    }
}

/// How many of eight characters are digits before one is not.
unsigned CountDigits(std::uint64_t text)
{
    constexpr std::uint64_t highHalves = 0xF0F0F0F0F0F0F0F0;
    const std::uint64_t others =
        ((text & highHalves) | (((text + 0x0606060606060606) & highHalves) >> 4)) ^ 0x3333333333333333;
    return static_cast<unsigned>(std::countr_zero(others)) / 8;
}

/// Two digits to a byte, then four to two, then all.
std::uint32_t ParseEightDigits(std::uint64_t text)
{
    text -= 0x3030303030303030;
    text = text * 10 + (text >> 8);
    const std::uint64_t low = (text & 0x000000FF000000FF) * (100 + (std::uint64_t{1'000'000} << 32));
    const std::uint64_t high = ((text >> 16) & 0x000000FF000000FF) * (1 + (std::uint64_t{10'000} << 32));
    return static_cast<std::uint32_t>((low + high) >> 32);
}

/// All digits that follow, at least one, as a number without needless zeros. Null when there are more than 18.
const char* ParseDigits(const char* cursor, std::uint64_t& value)
{
    constexpr std::ptrdiff_t mostDigits = 18;
    constexpr std::uint64_t zeros = 0x3030303030303030;
    static constexpr std::uint64_t powersOfTen[] = {1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000};

    const char* const start = cursor;
    value = 0;
    std::uint64_t text = Load<std::uint64_t>(cursor);
    unsigned count = CountDigits(text);
    while (count == sizeof(text) && cursor - start < mostDigits)
    {
        value = value * 100'000'000 + ParseEightDigits(text);
        cursor += sizeof(text);
        text = Load<std::uint64_t>(cursor);
        count = CountDigits(text);
    }
    const std::ptrdiff_t total = cursor - start + static_cast<std::ptrdiff_t>(count);
    if (total == 0 || total > mostDigits || (*start == '0' && total > 1)) [[unlikely]]
    {
        return nullptr;
    }
    if (count != 0)
    {
        // The digits as the last of eight, behind zeros.
        const std::uint64_t padded = text << (64 - 8 * count) | zeros >> (8 * count);
        value = value * powersOfTen[count] + ParseEightDigits(padded);
    }
    return cursor + count;
}

int GetHexValue(char character)
{
    const int lower = character | 0x20;
    return IsDigit(character) ? character - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Four hexadecimal digits, or -1.
std::int32_t ParseHex(const char* cursor)
{
    std::int32_t value = 0;
    for (int i = 0; i < 4; ++i)
    {
        const int digit = GetHexValue(cursor[i]);
        if (digit < 0)
        {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}
}

PlainEventReader::PlainEventReader(const char* end, char* room, ChromeEvent& event)
    : mEvent(event),
      mEnd(end),
      mOutput(room)
{}

const char* PlainEventReader::sRead(const char* cursor, const char* end, char* room, ChromeEvent& event)
{
    PlainEventReader reader(end, room, event);
    cursor = SkipSpace(cursor + 1);
    if (*cursor == '}')
    {
        return cursor + 1;
    }
    while (true)
    {
        cursor = *cursor == '"' ? reader.ReadMember(cursor + 1) : nullptr;
        if (cursor == nullptr) [[unlikely]]
        {
            return nullptr;
        }
        cursor = SkipSpace(cursor);
        if (*cursor == '}')
        {
            return cursor + 1;
        }
        if (*cursor != ',') [[unlikely]]
        {
            return nullptr;
        }
        cursor = SkipSpace(cursor + 1);
    }
}

/// From behind the quote of its key on.
const char* PlainEventReader::ReadMember(const char* cursor)
{
    // Nearly all keys are told by their first characters, quote and colon included.
    EEventKey key = EEventKey::Other;
    std::size_t length = 0;
    switch (Load<std::uint32_t>(cursor))
    {
    case Pack("ph\":"):
        return ReadPhase(SkipSpace(cursor + 4));
    case Pack("ts\":"):
        return ReadTime(SkipSpace(cursor + 4), mEvent.mTime);
    case Pack("pid\""):
        key = EEventKey::Process;
        length = 4;
        break;
    case Pack("tid\""):
        key = EEventKey::Thread;
        length = 4;
        break;
    case Pack("dur\""):
        key = EEventKey::Duration;
        length = 4;
        break;
    case Pack("cat\""):
        key = EEventKey::Category;
        length = 4;
        break;
    case Pack("name"):
        key = EEventKey::Name;
        length = 5;
        break;
    case Pack("args"):
        key = EEventKey::Arguments;
        length = 5;
        break;
    default:
        break;
    }
    if (length != 0 && cursor[length - 1] == '"' && cursor[length] == ':')
    {
        cursor = SkipSpace(cursor + length + 1);
    }
    else
    {
        bool ignored = false;
        const char* const end = FindStringEnd(cursor, ignored);
        if (*end != '"') [[unlikely]]
        {
            // An escape might spell a key that counts.
            return nullptr;
        }
        key = gFindEventKey(std::string_view(cursor, end));
        cursor = PassColon(end + 1);
        if (cursor == nullptr) [[unlikely]]
        {
            return nullptr;
        }
    }
    return ReadValue(key, cursor);
}

const char* PlainEventReader::ReadValue(EEventKey key, const char* cursor)
{
    switch (key)
    {
    case EEventKey::Phase:
        return ReadPhase(cursor);
    case EEventKey::Name:
        return ReadText(cursor, mEvent.mName);
    case EEventKey::Category:
        return ReadText(cursor, mEvent.mCategory);
    case EEventKey::Time:
        return ReadTime(cursor, mEvent.mTime);
    case EEventKey::Duration:
        return ReadTime(cursor, mEvent.mDuration);
    case EEventKey::Process:
        return ReadID(cursor, mEvent.mProcess);
    case EEventKey::Thread:
        return ReadID(cursor, mEvent.mThread);
    case EEventKey::ID:
        mEvent.mHasRareMembers = true;
        return ReadID(cursor, mEvent.mID);
    case EEventKey::SplitID:
        return nullptr;
    case EEventKey::Arguments:
        return gNeedsArguments(mEvent.mPhase) ? ReadArguments(cursor) : PassValue<false>(cursor);
    case EEventKey::Other:
        break;
    }
    return PassValue<false>(cursor);
}

const char* PlainEventReader::ReadPhase(const char* cursor)
{
    if (cursor[0] != '"' || cursor[1] == '"' || cursor[1] == '\\' || cursor[2] != '"') [[unlikely]]
    {
        return nullptr;
    }
    mEvent.mPhase = cursor[1];
    return cursor + 3;
}

const char* PlainEventReader::ReadTime(const char* cursor, EventTime& time)
{
    constexpr std::uint64_t largestWhole = 9'000'000'000'000'000;
    static constexpr std::int64_t powersOfTen[] = {1, 10, 100, 1'000};

    std::uint64_t value = 0;
    const char* next = ParseDigits(cursor, value);
    if (next == nullptr || value >= largestWhole) [[unlikely]]
    {
        return ReadAnyTime(cursor, time);
    }
    int missing = 3;
    if (*next == '.')
    {
        ++next;
        for (; IsDigit(*next) && missing > 0; --missing)
        {
            value = value * 10 + static_cast<unsigned>(*next - '0');
            ++next;
        }
        if (missing == 3) [[unlikely]]
        {
            return nullptr;
        }
    }
    if (IsDigit(*next) || *next == 'e' || *next == 'E') [[unlikely]]
    {
        return ReadAnyTime(cursor, time);
    }
    time = {false, EDecimal::Valid, {static_cast<std::int64_t>(value) * powersOfTen[missing], 0}};
    return next;
}

const char* PlainEventReader::ReadAnyTime(const char* cursor, EventTime& time)
{
    std::string_view text;
    cursor = ReadStringOrNumber(cursor, text);
    if (cursor != nullptr)
    {
        time.mIsMissing = false;
        time.mState = gParseDecimalMicroseconds(text, time.mTime);
    }
    return cursor;
}

const char* PlainEventReader::ReadID(const char* cursor, TraceIDView& id)
{
    std::uint64_t value = 0;
    const char* const next = ParseDigits(cursor, value);
    if (next != nullptr && *next != '.' && *next != 'e' && *next != 'E') [[likely]]
    {
        id = {TraceID::EKind::Number, static_cast<std::int64_t>(value), {}};
        return next;
    }
    std::string_view text;
    cursor = ReadStringOrNumber(cursor, text);
    if (cursor != nullptr)
    {
        id.Assign(text);
    }
    return cursor;
}

/// Only what is spelled without an escape.
const char* PlainEventReader::ReadStringOrNumber(const char* cursor, std::string_view& text)
{
    if (*cursor != '"')
    {
        const char* const start = cursor;
        cursor = PassNumber(cursor);
        text = cursor != nullptr ? std::string_view(start, cursor) : std::string_view();
        return cursor;
    }
    bool ignored = false;
    const char* const end = FindStringEnd(cursor + 1, ignored);
    text = std::string_view(cursor + 1, end);
    return *end == '"' && text.size() <= JsonScanner::sLongestToken ? end + 1 : nullptr;
}

const char* PlainEventReader::ReadText(const char* cursor, EventText& text)
{
    if (*cursor != '"') [[unlikely]]
    {
        return nullptr;
    }
    bool isNonAscii = false;
    const char* const end = FindStringEnd(cursor + 1, isNonAscii);
    text = {std::string_view(cursor + 1, end), isNonAscii};
    if (*end == '"') [[likely]]
    {
        return text.mText.size() <= JsonScanner::sLongestToken ? end + 1 : nullptr;
    }
    const char* const output = mOutput;
    const char* const next = DecodeString(cursor + 1);
    text = {std::string_view(output, mOutput), true};
    return text.mText.size() <= JsonScanner::sLongestToken ? next : nullptr;
}

/// See ContextBuilder for the rules.
const char* PlainEventReader::ReadArguments(const char* cursor)
{
    if (*cursor != '{') [[unlikely]]
    {
        return nullptr;
    }
    mEvent.mContext = {};
    if (mEvent.mHasRareMembers)
    {
        mEvent.mMetadataName = {};
    }
    mEvent.mHasAverage = false;
    mOthers = mOutput;
    mDetail = nullptr;
    mHasOthers = false;
    mIsNonAscii = false;
    cursor = SkipSpace(cursor + 1);
    if (*cursor == '}')
    {
        return cursor + 1;
    }
    while (true)
    {
        cursor = *cursor == '"' ? ReadArgument(cursor + 1) : nullptr;
        if (cursor == nullptr) [[unlikely]]
        {
            return nullptr;
        }
        cursor = SkipSpace(cursor);
        if (*cursor == '}')
        {
            return FinishContext() ? cursor + 1 : nullptr;
        }
        if (*cursor != ',') [[unlikely]]
        {
            return nullptr;
        }
        cursor = SkipSpace(cursor + 1);
    }
}

/// From behind the quote of its key on.
const char* PlainEventReader::ReadArgument(const char* cursor)
{
    const char* const keyEnd = FindStringEnd(cursor, mIsNonAscii);
    const std::string_view key(cursor, keyEnd);
    cursor = *keyEnd == '"' ? PassColon(keyEnd + 1) : nullptr;
    if (cursor == nullptr) [[unlikely]]
    {
        return nullptr;
    }
    mEvent.mHasAverage = mEvent.mHasAverage || key == "avg ms";
    if (key == "detail")
    {
        mDetail = cursor;
        return PassValue<false>(cursor);
    }
    if (mHasOthers)
    {
        AppendLiteral(", ");
    }
    mHasOthers = true;
    Append(key);
    AppendLiteral(": ");
    if (*cursor != '"')
    {
        return PassValue<true>(cursor);
    }
    const char* const value = mOutput;
    cursor = DecodeString(cursor + 1);
    if (key == "name")
    {
        mEvent.mHasRareMembers = true;
        mEvent.mMetadataName = {std::string_view(value, mOutput), true};
    }
    return cursor;
}

/// False when it is too long or not valid.
bool PlainEventReader::FinishContext()
{
    std::string_view text(mOthers, mOutput);
    if (mDetail != nullptr)
    {
        const std::string_view others = text;
        if (others.size() > ContextBuilder::sLongestContext)
        {
            return false;
        }
        const char* const start = mOutput;
        if (mHasOthers)
        {
            AppendLiteral("detail: ");
        }
        // It has been passed over before, so there is nothing to fail.
        if (*mDetail == '"')
        {
            if (DecodeString(mDetail + 1) == nullptr)
            {
                return false;
            }
        }
        else
        {
            PassValue<true>(mDetail);
        }
        if (mHasOthers)
        {
            AppendLiteral(", ");
            Append(others);
        }
        text = {start, mOutput};
    }
    mEvent.mContext = text;
    return text.size() <= ContextBuilder::sLongestContext && (!mIsNonAscii || gCountValidUtf8(text) == text.size());
}

const char* PlainEventReader::DecodeString(const char* cursor)
{
    while (true)
    {
        const char* const end = FindStringEnd(cursor, mIsNonAscii);
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
const char* PlainEventReader::DecodeEscape(const char* cursor)
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
    const std::int32_t unit = ParseHex(cursor + 1);
    if (unit < 0 || (unit >= 0xD800 && unit < 0xE000))
    {
        return nullptr;
    }
    mOutput = gWriteUtf8(mOutput, static_cast<char32_t>(unit));
    return cursor + 5;
}

template <bool copies>
const char* PlainEventReader::PassValue(const char* cursor)
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
        cursor = SkipSpace(cursor);
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
        else if (first == '-' || IsDigit(first))
        {
            cursor = PassNumber(cursor);
        }
        else if (const std::uint32_t literal = Load<std::uint32_t>(cursor);
                 literal == Pack("true") || literal == Pack("null"))
        {
            cursor += 4;
        }
        else
        {
            cursor = literal == Pack("fals") && cursor[4] == 'e' ? cursor + 5 : nullptr;
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

const char* PlainEventReader::PassString(const char* cursor)
{
    while (true)
    {
        cursor = FindStringEnd(cursor, mIsNonAscii);
        if (*cursor == '"') [[likely]]
        {
            return cursor + 1;
        }
        const char escape = cursor[1];
        if (escape == 'u')
        {
            if (ParseHex(cursor + 2) < 0)
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

const char* PlainEventReader::PassNumber(const char* cursor)
{
    const char* const end = JsonScanner::sFindNumberEnd(cursor, mEnd);
    return end != nullptr && end - cursor <= JsonScanner::sLongestPlainNumber ? end : nullptr;
}

/// In blocks: what is written too much is overwritten by what follows, and there is room behind the last. Texts lie in
/// the window or in the room, so behind them there is something to read.
void PlainEventReader::Append(std::string_view text)
{
    struct Block
    {
        std::uint64_t mParts[2];
    };
    static_assert(sizeof(Block) <= TraceWindow::sPadding);

    for (std::size_t i = 0; i < text.size(); i += sizeof(Block))
    {
        const auto block = Load<Block>(text.data() + i);
        std::memcpy(mOutput + i, &block, sizeof(block));
    }
    mOutput += text.size();
}

template <std::size_t size>
void PlainEventReader::AppendLiteral(const char (&text)[size])
{
    std::memcpy(mOutput, text, size - 1);
    mOutput += size - 1;
}
}
