#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Importers
{
/// A text that comes piece by piece.
class WindowSource
{
public:
    virtual ~WindowSource() = default;

    /// The next piece, valid until the next call; empty at the end, and then again each time.
    virtual std::span<const char> NextWindow() = 0;
};

/// A string or number of the text.
struct JsonToken
{
    std::string_view mText;
    /// The text lies in the window: it stays until the scanner asks its source for the next one. Otherwise it is gone
    /// with the next token.
    bool mIsInWindow = false;
    /// It has bytes from 0x80 up, so it may not be valid UTF-8.
    bool mIsNonAscii = false;
    /// Only the beginning: there was more than a token may have.
    bool mIsCut = false;
};

/// Appends the text that it is given up to a limit, and drops the rest.
class CappedText
{
public:
    explicit CappedText(std::size_t limit) : mLimit(limit) {}

    void Append(std::string_view text)
    {
        const std::size_t room = mLimit - mText.size();
        mIsCut = mIsCut || text.size() > room;
        mText.append(text.substr(0, room));
    }
    void Append(char character) { Append(std::string_view(&character, 1)); }
    void Clear()
    {
        mText.clear();
        mIsCut = false;
    }

    std::string mText;
    bool mIsCut = false;

private:
    std::size_t mLimit;
};

/// Reads JSON from a text of any length that is never in memory as a whole, as the caller asks for it: it knows values
/// and leaves the members of objects and arrays to the caller, except for values that are passed over. Grammar is that
/// of RFC 8259, but control characters and invalid UTF-8 within strings are let through, and an escaped surrogate
/// without a partner reads as U+FFFD: one odd byte in a name should not cost the rest of a large file.
///
/// The first fault stays: every later operation fails. Nothing here recurses, so deep nesting only costs a bit a level.
class JsonScanner
{
public:
    /// What more a string or number has is read and dropped.
    static constexpr std::size_t sLongestToken = 64 * 1024;
    static constexpr std::size_t sDeepestNesting = std::size_t{1} << 24;

    explicit JsonScanner(WindowSource& source);

    /// The next character that is not white space, without taking it; -1 at the end of the text.
    int Peek()
    {
        while (true)
        {
            while (mCursor != mEnd)
            {
                const auto character = static_cast<unsigned char>(*mCursor);
                if (character > ' ' || !sIsWhitespace(character))
                {
                    return character;
                }
                ++mCursor;
            }
            if (!Refill())
            {
                return -1;
            }
        }
    }
    /// Takes the character that Peek has just returned.
    void Take() { ++mCursor; }

    /// The value that follows, which must be of that kind.
    [[nodiscard]] bool ReadString(JsonToken& token)
    {
        if (Peek() != '"') [[unlikely]]
        {
            return FailToFind("a string is expected");
        }
        const char* const start = mCursor + 1;
        bool isNonAscii = false;
        mCursor = sFindStringEnd(start, mEnd, isNonAscii);
        if (mCursor == mEnd || *mCursor != '"') [[unlikely]]
        {
            return ReadStringSlowly(start, isNonAscii, token);
        }
        token = {std::string_view(start, mCursor), true, isNonAscii, false};
        ++mCursor;
        if (token.mText.size() > sLongestToken) [[unlikely]]
        {
            // Where it is cut may be within a character.
            token = {token.mText.substr(0, sLongestToken), true, true, true};
        }
        return true;
    }
    [[nodiscard]] bool ReadNumber(JsonToken& token)
    {
        if (Peek() >= 0) [[likely]]
        {
            const char* const end = sFindNumberEnd(mCursor, mEnd);
            if (end != nullptr && end - mCursor <= sLongestPlainNumber) [[likely]]
            {
                token = {std::string_view(mCursor, end), true, false, false};
                mCursor = end;
                return true;
            }
        }
        return ReadNumberSlowly(token);
    }
    /// The colon between a member's name and its value.
    [[nodiscard]] bool TakeColon()
    {
        if (Peek() != ':') [[unlikely]]
        {
            return FailToFind("':' is expected");
        }
        Take();
        return true;
    }
    /// Passes over any value.
    [[nodiscard]] bool SkipValue() { return Skip(nullptr); }
    /// Passes over any value and appends it as JSON without white space.
    [[nodiscard]] bool CopyValue(CappedText& copy) { return Skip(&copy); }

    /// Notes a fault at the cursor, unless there is one already. Always false.
    bool Fail(const char* reason);
    /// The text ends where more was expected. Always false.
    bool FailAtEnd();

    bool HasFault() const { return mFault != nullptr; }
    /// The fault is the end of the text.
    bool IsAtEnd() const { return mIsAtEnd; }
    const char* GetFault() const { return mFault; }
    std::uint64_t GetFaultOffset() const { return mFaultOffset; }
    /// Of the cursor, in the text.
    std::uint64_t GetOffset() const { return mWindowOffset + static_cast<std::uint64_t>(mCursor - mWindow); }

    /// Where the text goes on in the window; Take and Peek leave it there. The caller may move it behind values that it
    /// has read by itself, within the window.
    const char* GetCursor() const { return mCursor; }
    const char* GetWindowEnd() const { return mEnd; }
    void MoveTo(const char* cursor) { mCursor = cursor; }

    static bool sIsWhitespace(unsigned char character)
    {
        return character == ' ' || character == '\n' || character == '\r' || character == '\t';
    }

    static constexpr std::ptrdiff_t sLongestPlainNumber = 64;
    /// The end of the number at `cursor`, or null when it is not one or may go on behind `end`.
    static const char* sFindNumberEnd(const char* cursor, const char* end);

private:
    static constexpr std::uint64_t sEachByte = 0x0101010101010101;
    static constexpr std::uint64_t sHighBits = 0x8080808080808080;

    static bool sIsDigit(int character) { return character >= '0' && character <= '9'; }

    /// The highest bit of each byte that equals `character`. Bytes above the first such one may be set by mistake.
    static std::uint64_t sMarkBytes(std::uint64_t bytes, char character)
    {
        const std::uint64_t difference = bytes ^ (sEachByte * static_cast<unsigned char>(character));
        return (difference - sEachByte) & ~difference & sHighBits;
    }

    /// The first quote or backslash, or the end. Eight bytes at a time, since most of a trace is strings.
    static const char* sFindStringEnd(const char* cursor, const char* end, bool& isNonAscii)
    {
        static_assert(std::endian::native == std::endian::little, "bytes are counted from the lowest");

        std::uint64_t seen = 0;
        while (end - cursor >= 8)
            [[likely]]
            {
                std::uint64_t bytes;
                std::memcpy(&bytes, cursor, sizeof(bytes));
                if (const std::uint64_t hits = sMarkBytes(bytes, '"') | sMarkBytes(bytes, '\\'); hits != 0)
                {
                    // All bits below that of the first hit: the bytes in front of it, and its own but for the highest.
                    seen |= bytes & (hits - 1) & ~hits;
                    isNonAscii = (seen & sHighBits) != 0;
                    return cursor + std::countr_zero(hits) / 8;
                }
                seen |= bytes;
                cursor += 8;
            }
        for (; cursor != end && *cursor != '"' && *cursor != '\\'; ++cursor)
        {
            seen |= static_cast<unsigned char>(*cursor);
        }
        isNonAscii = (seen & sHighBits) != 0;
        return cursor;
    }

    [[gnu::noinline]] bool Refill();
    /// What Peek gives is not what it should be. Always false.
    [[gnu::cold]] bool FailToFind(const char* reason);
    /// The next character as it stands, white space too; -1 at the end.
    int PeekRaw() { return mCursor != mEnd || Refill() ? static_cast<unsigned char>(*mCursor) : -1; }
    [[gnu::noinline]] bool ReadStringSlowly(const char* start, bool isNonAscii, JsonToken& token);
    bool ReadEscape();
    bool ReadUnicodeEscape();
    bool ReadHex(char32_t& value);
    [[gnu::noinline]] bool ReadNumberSlowly(JsonToken& token);
    bool ReadDigits();
    bool Skip(CappedText* copy);
    bool SkipKey(CappedText* copy);
    bool SkipScalar(int first, CappedText* copy);
    bool SkipString(CappedText* copy);
    bool SkipEscape(CappedText* copy);
    bool SkipLiteral(std::string_view literal, CappedText* copy);

    WindowSource& mSource;
    const char* mWindow = nullptr;
    const char* mCursor = nullptr;
    const char* mEnd = nullptr;
    std::uint64_t mWindowOffset = 0;
    /// What does not stand in one piece in the window.
    CappedText mScratch{sLongestToken};
    /// One bit for each open level of a value that is passed over: set for an object.
    std::vector<bool> mLevels;
    const char* mFault = nullptr;
    std::uint64_t mFaultOffset = 0;
    bool mIsAtEnd = false;
    bool mIsStopped = false;
};

inline const char* JsonScanner::sFindNumberEnd(const char* cursor, const char* end)
{
    const auto skipDigits = [&cursor, end] {
        const char* const start = cursor;
        while (cursor != end && sIsDigit(*cursor))
        {
            ++cursor;
        }
        return cursor != start;
    };

    if (cursor != end && *cursor == '-')
    {
        ++cursor;
    }
    const char* const start = cursor;
    if (!skipDigits() || (*start == '0' && cursor - start > 1))
    {
        return nullptr;
    }
    if (cursor != end && *cursor == '.')
    {
        ++cursor;
        if (!skipDigits())
        {
            return nullptr;
        }
    }
    if (cursor != end && (*cursor == 'e' || *cursor == 'E')) [[unlikely]]
    {
        ++cursor;
        if (cursor != end && (*cursor == '+' || *cursor == '-'))
        {
            ++cursor;
        }
        if (!skipDigits())
        {
            return nullptr;
        }
    }
    return cursor == end ? nullptr : cursor;
}
}
