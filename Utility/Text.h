#pragma once

#include <string>
#include <string_view>
#include <vector>

/// String helpers. Case and white space are those of ASCII, by bytes, whatever the locale.
namespace Utility
{
/// Any character of `delimiters` splits, and empty pieces are dropped. `pieces` is replaced.
void gSplit(std::string_view text, std::vector<std::string>& pieces, std::string_view delimiters);

[[nodiscard]] std::string gToLower(std::string_view text);
[[nodiscard]] bool gContainsIgnoreCase(std::string_view text, std::string_view part);
/// False when the text is shorter.
[[nodiscard]] bool gStartsWith(std::string_view prefix, std::string_view text, bool caseSensitive);
/// False when the text is shorter.
[[nodiscard]] bool gEndsWith(std::string_view suffix, std::string_view text, bool caseSensitive);
[[nodiscard]] std::string gTrimLeft(std::string_view text);
[[nodiscard]] std::string gTrimRight(std::string_view text);

/// Conversions between UTF-8 and wide text, which is UTF-16 in char16_t here: wchar_t has 32 bits on Linux, and wide
/// text only comes from files. An invalid sequence (an unpaired surrogate, an overlong form, a value above U+10FFFF)
/// raises std::range_error with the text "bad conversion". A byte order mark is converted like any other character.
/// They keep no state, so any number of threads may convert at once.
[[nodiscard]] std::u16string gToWide(std::string_view text);
[[nodiscard]] std::string gFromWide(std::u16string_view text);
[[nodiscard]] std::string gToUTF8(std::u16string_view text);
[[nodiscard]] std::string gToUTF8(std::u32string_view text);
}
