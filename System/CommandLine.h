#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace System
{
/// Splits the arguments of a command line at its blanks. Double quotes keep blanks together; a backslash in front of a
/// quote makes it a character like any other, two of them stand for one, and any other backslash stands for itself.
[[nodiscard]] std::vector<std::string> gSplitArguments(std::string_view text);

/// The spelling of one argument, in quotes, that `gSplitArguments` gives back.
[[nodiscard]] std::string gQuoteArgument(std::string_view argument);
}
