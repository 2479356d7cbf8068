#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Utility/Result.h"

namespace Quarkspindle
{

/// Standard output in large blocks. A failed write (a full disk, a closed pipe) is kept and told by `Finish`.
class Output
{
public:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void Write(std::string_view text);

    [[gnu::format(printf, 2, 3)]] void Print(const char* format, ...);

    /// Hands everything over; false when any of it could not be written.
    [[nodiscard]] bool Finish(Utility::Result& result);

private:
    void Drain();

    std::string mBuffer;
    bool mFailed = false;
};

/// One error line: "quarkspindle: " and every entry of the result with its context, the oldest first.
void gPrintError(const Utility::Result& result);

/// A field of a CSV line, quoted where it must be.
void gAppendCsvField(std::string& line, std::string_view field);

/// 17 significant digits: the text reads back as the same number.
void gAppendNumber(std::string& line, double value);

/// A duration for people, from milliseconds, in the unit that fits: "912 ns", "3.25 µs", "41.7 ms", "2.003 s", "1 min 5
/// s".
std::string gFormatMilliseconds(double ms);

/// Text of a capture made safe for a terminal: control characters are shown as "\x1b", and what is longer than `width`
/// code points ends in "…".
std::string gMakePrintable(std::string_view text, std::size_t width = ~std::size_t{0});

/// Text padded with blanks to `width` code points; to the right of the text, or in front of it.
std::string gPadRight(std::string_view text, std::size_t width);
std::string gPadLeft(std::string_view text, std::size_t width);

/// 1234567 as "1 234 567"; with words for one and for several, "1 chunk" or "21 chunks".
std::string gFormatCount(uint64_t count);
std::string gFormatCount(uint64_t count, const char* one, const char* several);

}
