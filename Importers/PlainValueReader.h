#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Importers
{
/// Passes over values that stand whole in a window, and writes what of them is asked for into the room of a TextRoom.
/// Each operation takes the place where something begins and gives that behind it, or null when it is not for the
/// PlainEventReader; the room then holds anything.
class PlainValueReader
{
public:
    /// The window ends at `end`.
    PlainValueReader(const char* end, char* room) : mEnd(end), mOutput(room) {}

    /// Appends the text of a string, from behind its quote on.
    const char* DecodeString(const char* cursor);
    /// Any value. What is copied is appended as it is spelled, without white space.
    template <bool copies>
    const char* PassValue(const char* cursor);
    const char* PassNumber(const char* cursor);

    void Append(std::string_view text);
    template <std::size_t size>
    void AppendLiteral(const char (&text)[size])
    {
        std::memcpy(mOutput, text, size - 1);
        mOutput += size - 1;
    }
    /// What has been written is in front of it.
    char* GetOutput() const { return mOutput; }

    /// A string had bytes from 0x80 up since this was last false.
    bool mIsNonAscii = false;

private:
    const char* DecodeEscape(const char* cursor);
    const char* PassString(const char* cursor);

    const char* const mEnd;
    char* mOutput;
};
}
