#include "Utility/Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace Utility
{
namespace
{
constexpr std::string_view gBlanks = " \t\n\v\f\r";

constexpr char ToLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool Equals(std::string_view a, std::string_view b, bool caseSensitive)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
        [=](char left, char right) { return left == right || (!caseSensitive && ToLower(left) == ToLower(right)); });
}

[[noreturn]] void FailConversion()
{
    throw std::range_error("bad conversion");
}

constexpr bool IsHighSurrogate(std::uint32_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool IsLowSurrogate(std::uint32_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

void AppendUTF8(std::string& text, std::uint32_t code)
{
    const auto tail = [&text](std::uint32_t bits) {
        text += static_cast<char>(0x80 | (bits & 0x3F));
    };
    if (code < 0x80)
    {
        text += static_cast<char>(code);
    }
    else if (code < 0x800)
    {
        text += static_cast<char>(0xC0 | (code >> 6));
        tail(code);
    }
    else if (code < 0x10000)
    {
        text += static_cast<char>(0xE0 | (code >> 12));
        tail(code >> 6);
        tail(code);
    }
    else
    {
        text += static_cast<char>(0xF0 | (code >> 18));
        tail(code >> 12);
        tail(code >> 6);
        tail(code);
    }
}

/// Takes one character off the front of `text`, which is not empty.
std::uint32_t TakeUTF8(std::string_view& text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
    {
        text.remove_prefix(1);
        return first;
    }
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (length == 0 || text.size() < length)
    {
        FailConversion();
    }
    std::uint32_t code = first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
    {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80)
        {
            FailConversion();
        }
        code = (code << 6) | (byte & 0x3F);
    }
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < smallest[length] || code > 0x10FFFF || IsHighSurrogate(code) || IsLowSurrogate(code))
    {
        FailConversion();
    }
    text.remove_prefix(length);
    return code;
}
}

void gSplit(std::string_view text, std::vector<std::string>& pieces, std::string_view delimiters)
{
    pieces.clear();
    std::size_t start = text.find_first_not_of(delimiters);
    while (start != std::string_view::npos)
    {
        const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
        pieces.emplace_back(text.substr(start, end - start));
        start = text.find_first_not_of(delimiters, end);
    }
}

std::string gToLower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), ToLower);
    return result;
}

bool gContainsIgnoreCase(std::string_view text, std::string_view part)
{
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
               [](char left, char right) { return ToLower(left) == ToLower(right); }) != text.end() ||
           part.empty();
}

bool gStartsWith(std::string_view prefix, std::string_view text, bool caseSensitive)
{
    return text.size() >= prefix.size() && Equals(prefix, text.substr(0, prefix.size()), caseSensitive);
}

bool gEndsWith(std::string_view suffix, std::string_view text, bool caseSensitive)
{
    return text.size() >= suffix.size() && Equals(suffix, text.substr(text.size() - suffix.size()), caseSensitive);
}

std::string gTrimLeft(std::string_view text)
{
    return std::string(text.substr(std::min(text.find_first_not_of(gBlanks), text.size())));
}

std::string gTrimRight(std::string_view text)
{
    return std::string(text.substr(0, text.find_last_not_of(gBlanks) + 1));
}

std::u16string gToWide(std::string_view text)
{
    std::u16string wide;
    wide.reserve(text.size());
    while (!text.empty())
    {
        const std::uint32_t code = TakeUTF8(text);
        if (code < 0x10000)
        {
            wide += static_cast<char16_t>(code);
        }
        else
        {
            wide += static_cast<char16_t>(0xD7C0 + (code >> 10));
            wide += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return wide;
}

std::string gFromWide(std::u16string_view text)
{
    return gToUTF8(text);
}

std::string gToUTF8(std::u16string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        std::uint32_t code = text[i];
        if (IsHighSurrogate(code) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]))
        {
            ++i;
            code = 0x10000 + ((code - 0xD800) << 10) + (text[i] - 0xDC00U);
        }
        else if (IsHighSurrogate(code) || IsLowSurrogate(code))
        {
            FailConversion();
        }
        AppendUTF8(result, code);
    }
    return result;
}

std::string gToUTF8(std::u32string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (const char32_t code : text)
    {
        if (code > 0x10FFFF || IsHighSurrogate(code) || IsLowSurrogate(code))
        {
            FailConversion();
        }
        AppendUTF8(result, code);
    }
    return result;
}
}
