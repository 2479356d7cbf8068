#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace Quarkspindle
{

/// "640x480", "3:9": two decimal numbers from 0 with a separator between them and nothing else. None for any other
/// text, and for numbers above 2147483647.
std::optional<std::pair<int32_t, int32_t>> gParseNumberPair(std::string_view text, char separator);

}
