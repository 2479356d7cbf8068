#include "Importers/PlainEventReader.h"

#include "Importers/ContextBuilder.h"
#include "Importers/JsonScanner.h"
#include "Importers/PlainText.h"
#include "Importers/Utf8.h"

#include <cstdint>

namespace Importers
{
PlainEventReader::PlainEventReader(const char* end, char* room, ChromeEvent& event) : mEvent(event), mValues(end, room)
{}

const char* PlainEventReader::sRead(const char* cursor, const char* end, char* room, ChromeEvent& event)
{
    PlainEventReader reader(end, room, event);
    cursor = gSkipSpace(cursor + 1);
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
        cursor = gSkipSpace(cursor);
        if (*cursor == '}')
        {
            return cursor + 1;
        }
        if (*cursor != ',') [[unlikely]]
        {
            return nullptr;
        }
        cursor = gSkipSpace(cursor + 1);
    }
}

/// From behind the quote of its key on.
const char* PlainEventReader::ReadMember(const char* cursor)
{
    // Nearly all keys are told by their first characters, quote and colon included.
    EEventKey key = EEventKey::Other;
    std::size_t length = 0;
    switch (gLoad<std::uint32_t>(cursor))
    {
    case gPack("ph\":"):
        return ReadPhase(gSkipSpace(cursor + 4));
    case gPack("ts\":"):
        return ReadTime(gSkipSpace(cursor + 4), mEvent.mTime);
    case gPack("pid\""):
        key = EEventKey::Process;
        length = 4;
        break;
    case gPack("tid\""):
        key = EEventKey::Thread;
        length = 4;
        break;
    case gPack("dur\""):
        key = EEventKey::Duration;
        length = 4;
        break;
    case gPack("cat\""):
        key = EEventKey::Category;
        length = 4;
        break;
    case gPack("name"):
        key = EEventKey::Name;
        length = 5;
        break;
    case gPack("args"):
        key = EEventKey::Arguments;
        length = 5;
        break;
    default:
        break;
    }
    if (length != 0 && cursor[length - 1] == '"' && cursor[length] == ':')
    {
        cursor = gSkipSpace(cursor + length + 1);
    }
    else
    {
        bool ignored = false;
        const char* const end = gFindStringEnd(cursor, ignored);
        if (*end != '"') [[unlikely]]
        {
            // An escape might spell a key that counts.
            return nullptr;
        }
        key = gFindEventKey(std::string_view(cursor, end));
        cursor = gPassColon(end + 1);
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
        return gNeedsArguments(mEvent.mPhase) ? ReadArguments(cursor) : mValues.PassValue<false>(cursor);
    case EEventKey::Other:
        break;
    }
    return mValues.PassValue<false>(cursor);
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
    const char* next = gParseDigits(cursor, value);
    if (next == nullptr || value >= largestWhole) [[unlikely]]
    {
        return ReadAnyTime(cursor, time);
    }
    int missing = 3;
    if (*next == '.')
    {
        ++next;
        for (; gIsDigit(*next) && missing > 0; --missing)
        {
            value = value * 10 + static_cast<unsigned>(*next - '0');
            ++next;
        }
        if (missing == 3) [[unlikely]]
        {
            return nullptr;
        }
    }
    if (gIsDigit(*next) || *next == 'e' || *next == 'E') [[unlikely]]
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
    const char* const next = gParseDigits(cursor, value);
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
        cursor = mValues.PassNumber(cursor);
        text = cursor != nullptr ? std::string_view(start, cursor) : std::string_view();
        return cursor;
    }
    bool ignored = false;
    const char* const end = gFindStringEnd(cursor + 1, ignored);
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
    const char* const end = gFindStringEnd(cursor + 1, isNonAscii);
    text = {std::string_view(cursor + 1, end), isNonAscii};
    if (*end == '"') [[likely]]
    {
        return text.mText.size() <= JsonScanner::sLongestToken ? end + 1 : nullptr;
    }
    const char* const output = mValues.GetOutput();
    const char* const next = mValues.DecodeString(cursor + 1);
    text = {std::string_view(output, mValues.GetOutput()), true};
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
    mOthers = mValues.GetOutput();
    mDetail = nullptr;
    mHasOthers = false;
    mValues.mIsNonAscii = false;
    cursor = gSkipSpace(cursor + 1);
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
        cursor = gSkipSpace(cursor);
        if (*cursor == '}')
        {
            return FinishContext() ? cursor + 1 : nullptr;
        }
        if (*cursor != ',') [[unlikely]]
        {
            return nullptr;
        }
        cursor = gSkipSpace(cursor + 1);
    }
}

/// From behind the quote of its key on.
const char* PlainEventReader::ReadArgument(const char* cursor)
{
    const char* const keyEnd = gFindStringEnd(cursor, mValues.mIsNonAscii);
    const std::string_view key(cursor, keyEnd);
    cursor = *keyEnd == '"' ? gPassColon(keyEnd + 1) : nullptr;
    if (cursor == nullptr) [[unlikely]]
    {
        return nullptr;
    }
    mEvent.mHasAverage = mEvent.mHasAverage || key == "avg ms";
    if (key == "detail")
    {
        mDetail = cursor;
        return mValues.PassValue<false>(cursor);
    }
    if (mHasOthers)
    {
        mValues.AppendLiteral(", ");
    }
    mHasOthers = true;
    mValues.Append(key);
    mValues.AppendLiteral(": ");
    if (*cursor != '"')
    {
        return mValues.PassValue<true>(cursor);
    }
    const char* const value = mValues.GetOutput();
    cursor = mValues.DecodeString(cursor + 1);
    if (key == "name")
    {
        mEvent.mHasRareMembers = true;
        mEvent.mMetadataName = {std::string_view(value, mValues.GetOutput()), true};
    }
    return cursor;
}

/// False when it is too long or not valid.
bool PlainEventReader::FinishContext()
{
    std::string_view text(mOthers, mValues.GetOutput());
    if (mDetail != nullptr)
    {
        const std::string_view others = text;
        if (others.size() > ContextBuilder::sLongestContext)
        {
            return false;
        }
        const char* const start = mValues.GetOutput();
        if (mHasOthers)
        {
            mValues.AppendLiteral("detail: ");
        }
        // It has been passed over before, so there is nothing to fail.
        if (*mDetail == '"')
        {
            if (mValues.DecodeString(mDetail + 1) == nullptr)
            {
                return false;
            }
        }
        else
        {
            mValues.PassValue<true>(mDetail);
        }
        if (mHasOthers)
        {
            mValues.AppendLiteral(", ");
            mValues.Append(others);
        }
        text = {start, mValues.GetOutput()};
    }
    mEvent.mContext = text;
    return text.size() <= ContextBuilder::sLongestContext &&
           (!mValues.mIsNonAscii || gCountValidUtf8(text) == text.size());
}
}
