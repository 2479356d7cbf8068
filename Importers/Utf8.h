#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts of a trace may hold anything; those of a capture are valid UTF-8.
namespace Importers
{
/// The length of the valid part that the text begins with.
std::size_t gCountValidUtf8(std::string_view text);

/// Appends the text with U+FFFD in place of each byte that belongs to no valid sequence.
void gAppendValidUtf8(std::string& target, std::string_view text);

void gAppendUtf8(std::string& target, char32_t codePoint);
/// Writes at most four bytes and gives the end.
char* gWriteUtf8(char* target, char32_t codePoint);

/// The longest beginning of a valid text that has at most `limit` bytes and ends with a whole character.
std::string_view gCutUtf8(std::string_view text, std::size_t limit);
}
