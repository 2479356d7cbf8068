#pragma once

#include <string_view>

#include <rapidjson/document.h>

namespace Utility
{
class Result;
}

namespace Serialization
{

/// Parses text that comes from outside: nesting and memory are bounded, and a number with a fraction becomes the
/// nearest double. Fails with the parser's reason and the line of the fault.
[[nodiscard]] bool gParseJson(std::string_view text, rapidjson::Document& document, Utility::Result& result);

}
