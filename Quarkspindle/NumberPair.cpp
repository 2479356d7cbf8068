#include "Quarkspindle/NumberPair.h"

#include <charconv>

namespace Quarkspindle
{

namespace
{

std::optional<int32_t> ParseNumber(std::string_view text)
{
    int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end && text.front() != '-' ? std::optional{number} : std::nullopt;
}

}

std::optional<std::pair<int32_t, int32_t>> gParseNumberPair(std::string_view text, char separator)
{
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos)
        return std::nullopt;
    const auto first = ParseNumber(text.substr(0, at));
    const auto second = ParseNumber(text.substr(at + 1));
    return first && second ? std::optional{std::pair{*first, *second}} : std::nullopt;
}

}
