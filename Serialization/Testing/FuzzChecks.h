#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

namespace Serialization::Testing
{

/// A reader succeeds without an entry or fails with one.
inline void gCheckOutcome(bool isRead, const Utility::Result& result)
{
    Fuzz::gCheck(result.GetEntries().size() == (isRead ? 0U : 1U), "a failure has no entry, or a success has one");
}

/// The lines of a JSON text in order: maps come out in any.
inline std::vector<std::string_view> gSortLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty())
    {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        lines.push_back(line.ends_with(',') ? line.substr(0, line.size() - 1) : line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

}
