#include "Importers/JsonScanner.h"

#include "Importers/Utf8.h"

namespace Importers
{
namespace
{
constexpr char32_t sReplacement = U'\uFFFD';

bool IsHighSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLowSurrogate(char32_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

int GetHexValue(int character)
{
    if (character >= '0' && character <= '9')
    {
        return character - '0';
    }
    const int lower = character | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}
}

JsonScanner::JsonScanner(WindowSource& source) : mSource(source) {}

bool JsonScanner::Fail(const char* reason)
{
    if (mFault == nullptr)
    {
        mFault = reason;
        mFaultOffset = GetOffset();
        mEnd = mCursor;
        mIsStopped = true;
    }
    return false;
}

bool JsonScanner::FailAtEnd()
{
    mIsAtEnd = mIsAtEnd || mFault == nullptr;
    return Fail("the text ends too early");
}

bool JsonScanner::Refill()
{
    if (mIsStopped)
    {
        return false;
    }
    mWindowOffset += static_cast<std::uint64_t>(mEnd - mWindow);
    const std::span<const char> window = mSource.NextWindow();
    mWindow = window.data();
    mCursor = mWindow;
    mEnd = mWindow + window.size();
    return !window.empty();
}

bool JsonScanner::FailToFind(const char* reason)
{
    return Peek() < 0 ? FailAtEnd() : Fail(reason);
}

/// The cursor is at a backslash or at the end of the window, and what lies before it from `start` on is in the string.
bool JsonScanner::ReadStringSlowly(const char* start, bool isNonAscii, JsonToken& token)
{
    mScratch.Clear();
    mScratch.Append(std::string_view(start, mCursor));
    while (true)
    {
        const int character = PeekRaw();
        if (character < 0)
        {
            return FailAtEnd();
        }
        if (character == '"')
        {
            ++mCursor;
            break;
        }
        if (character == '\\')
        {
            ++mCursor;
            isNonAscii = true;
            if (!ReadEscape())
            {
                return false;
            }
            continue;
        }
        start = mCursor;
        bool isRunNonAscii = false;
        mCursor = sFindStringEnd(mCursor, mEnd, isRunNonAscii);
        isNonAscii = isNonAscii || isRunNonAscii;
        mScratch.Append(std::string_view(start, mCursor));
    }
    // Where it is cut may be within a character.
    token = {mScratch.mText, false, isNonAscii || mScratch.mIsCut, mScratch.mIsCut};
    return true;
}

/// Behind the backslash.
bool JsonScanner::ReadEscape()
{
    const int character = PeekRaw();
    switch (character)
    {
    case '"':
    case '\\':
    case '/':
        mScratch.Append(static_cast<char>(character));
        break;
    case 'b':
        mScratch.Append('\b');
        break;
    case 'f':
        mScratch.Append('\f');
        break;
    case 'n':
        mScratch.Append('\n');
        break;
    case 'r':
        mScratch.Append('\r');
        break;
    case 't':
        mScratch.Append('\t');
        break;
    case 'u':
        ++mCursor;
        return ReadUnicodeEscape();
    default:
        return character < 0 ? FailAtEnd() : Fail("there is no such escape in a string");
    }
    ++mCursor;
    return true;
}

/// Behind the "\u". A character above U+FFFF is two escapes in a row.
bool JsonScanner::ReadUnicodeEscape()
{
    const auto append = [this](char32_t codePoint) {
        std::string text;
        gAppendUtf8(text, codePoint);
        mScratch.Append(text);
    };

    char32_t unit = 0;
    if (!ReadHex(unit))
    {
        return false;
    }
    while (IsHighSurrogate(unit))
    {
        if (PeekRaw() != '\\')
        {
            append(sReplacement);
            return true;
        }
        ++mCursor;
        if (PeekRaw() != 'u')
        {
            append(sReplacement);
            return ReadEscape();
        }
        ++mCursor;
        char32_t second = 0;
        if (!ReadHex(second))
        {
            return false;
        }
        if (IsLowSurrogate(second))
        {
            append(0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00));
            return true;
        }
        append(sReplacement);
        unit = second;
    }
    append(IsLowSurrogate(unit) ? sReplacement : unit);
    return true;
}

bool JsonScanner::ReadHex(char32_t& value)
{
    value = 0;
    for (int i = 0; i < 4; ++i)
    {
        const int character = PeekRaw();
        const int digit = GetHexValue(character);
        if (digit < 0)
        {
            return character < 0 ? FailAtEnd() : Fail("four hexadecimal digits are expected");
        }
        value = value * 16 + static_cast<char32_t>(digit);
        ++mCursor;
    }
    return true;
}

/// Character by character: a number that reaches the end of the window, that is very long, or that is none.
bool JsonScanner::ReadNumberSlowly(JsonToken& token)
{
    const auto take = [this](int character) {
        if (PeekRaw() != character)
        {
            return false;
        }
        mScratch.Append(static_cast<char>(character));
        ++mCursor;
        return true;
    };

    mScratch.Clear();
    take('-');
    if (take('0'))
    {
        if (sIsDigit(PeekRaw()))
        {
            return Fail("a number starts with a needless 0");
        }
    }
    else if (!ReadDigits())
    {
        return false;
    }
    if (take('.') && !ReadDigits())
    {
        return false;
    }
    if (take('e') || take('E'))
    {
        if (!take('+'))
        {
            take('-');
        }
        if (!ReadDigits())
        {
            return false;
        }
    }
    token = {mScratch.mText, false, false, mScratch.mIsCut};
    return true;
}

/// One digit at least.
bool JsonScanner::ReadDigits()
{
    int character = PeekRaw();
    if (!sIsDigit(character))
    {
        return character < 0 ? FailAtEnd() : Fail("a digit is expected");
    }
    for (; sIsDigit(character); character = PeekRaw())
    {
        mScratch.Append(static_cast<char>(character));
        ++mCursor;
    }
    return true;
}

bool JsonScanner::Skip(CappedText* copy)
{
    const auto take = [this, copy](int character) {
        Take();
        if (copy != nullptr)
        {
            copy->Append(static_cast<char>(character));
        }
    };

    mLevels.clear();
    while (true)
    {
        const int first = Peek();
        if (first == '{' || first == '[')
        {
            if (mLevels.size() == sDeepestNesting)
            {
                return Fail("values are nested too deeply");
            }
            take(first);
            mLevels.push_back(first == '{');
            const bool isEmpty = Peek() == (first == '{' ? '}' : ']');
            if (!isEmpty)
            {
                if (first == '{' && !SkipKey(copy))
                {
                    return false;
                }
                continue;
            }
        }
        else if (!SkipScalar(first, copy))
        {
            return false;
        }
        // A value has ended, and with it perhaps those around it.
        while (true)
        {
            if (mLevels.empty())
            {
                return true;
            }
            const int next = Peek();
            if (next == ',')
            {
                take(next);
                break;
            }
            if (next != (mLevels.back() ? '}' : ']'))
            {
                return next < 0 ? FailAtEnd()
                                : Fail(mLevels.back() ? "',' or '}' is expected" : "',' or ']' is expected");
            }
            take(next);
            mLevels.pop_back();
        }
        if (mLevels.back() && !SkipKey(copy))
        {
            return false;
        }
    }
}

bool JsonScanner::SkipKey(CappedText* copy)
{
    const int first = Peek();
    if (first != '"')
    {
        return first < 0 ? FailAtEnd() : Fail("a member's name is expected");
    }
    if (!SkipString(copy) || !TakeColon())
    {
        return false;
    }
    if (copy != nullptr)
    {
        copy->Append(':');
    }
    return true;
}

bool JsonScanner::SkipScalar(int first, CappedText* copy)
{
    switch (first)
    {
    case -1:
        return FailAtEnd();
    case '"':
        return SkipString(copy);
    case 't':
        return SkipLiteral("true", copy);
    case 'f':
        return SkipLiteral("false", copy);
    case 'n':
        return SkipLiteral("null", copy);
    default:
        break;
    }
    if (first != '-' && !sIsDigit(first))
    {
        return Fail("a value is expected");
    }
    JsonToken number;
    if (!ReadNumber(number))
    {
        return false;
    }
    if (copy != nullptr)
    {
        copy->Append(number.mText);
    }
    return true;
}

/// As it is spelled, quotes included.
bool JsonScanner::SkipString(CappedText* copy)
{
    const char* start = mCursor;
    ++mCursor;
    while (true)
    {
        bool isNonAscii = false;
        mCursor = sFindStringEnd(mCursor, mEnd, isNonAscii);
        const bool isEnd = mCursor != mEnd && *mCursor == '"';
        mCursor += isEnd ? 1 : 0;
        if (copy != nullptr)
        {
            copy->Append(std::string_view(start, mCursor));
        }
        if (isEnd)
        {
            return true;
        }
        const int character = PeekRaw();
        if (character < 0)
        {
            return FailAtEnd();
        }
        if (character == '\\' && !SkipEscape(copy))
        {
            return false;
        }
        start = mCursor;
    }
}

/// From the backslash on.
bool JsonScanner::SkipEscape(CappedText* copy)
{
    const auto take = [this, copy] {
        if (copy != nullptr)
        {
            copy->Append(*mCursor);
        }
        ++mCursor;
    };

    take();
    const int character = PeekRaw();
    if (character < 0)
    {
        return FailAtEnd();
    }
    if (std::string_view("\"\\/bfnrtu").find(static_cast<char>(character)) == std::string_view::npos)
    {
        return Fail("there is no such escape in a string");
    }
    take();
    for (int i = 0; i < 4 && character == 'u'; ++i)
    {
        const int digit = PeekRaw();
        if (GetHexValue(digit) < 0)
        {
            return digit < 0 ? FailAtEnd() : Fail("four hexadecimal digits are expected");
        }
        take();
    }
    return true;
}

bool JsonScanner::SkipLiteral(std::string_view literal, CappedText* copy)
{
    for (const char expected : literal)
    {
        const int character = PeekRaw();
        if (character != static_cast<unsigned char>(expected))
        {
            return character < 0 ? FailAtEnd() : Fail("a value is expected");
        }
        ++mCursor;
    }
    if (copy != nullptr)
    {
        copy->Append(literal);
    }
    return true;
}
}
