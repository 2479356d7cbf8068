#include "System/CommandLine.h"

#include <cstddef>

namespace System
{
namespace
{
/// How many backslashes begin at `position`.
size_t gCountBackslashes(std::string_view text, size_t position)
{
    const size_t end = text.find_first_not_of('\\', position);
    return (end == std::string_view::npos ? text.size() : end) - position;
}
}

std::vector<std::string> gSplitArguments(std::string_view text)
{
    std::vector<std::string> arguments;
    bool isInArgument = false;
    bool isInQuotes = false;
    for (size_t i = 0; i < text.size();)
    {
        const char character = text[i];
        if (!isInQuotes && (character == ' ' || character == '\t'))
        {
            isInArgument = false;
            ++i;
            continue;
        }
        if (!isInArgument)
        {
            arguments.emplace_back();
            isInArgument = true;
        }
        if (character == '\\')
        {
            // Only in front of a quote do backslashes mean anything but themselves.
            const size_t count = gCountBackslashes(text, i);
            const bool isBeforeQuote = i + count < text.size() && text[i + count] == '"';
            arguments.back().append(isBeforeQuote ? count / 2 : count, '\\');
            i += count;
            if (isBeforeQuote && count % 2 != 0)
            {
                arguments.back() += '"';
                ++i;
            }
            continue;
        }
        if (character == '"')
        {
            isInQuotes = !isInQuotes;
        }
        else
        {
            arguments.back() += character;
        }
        ++i;
    }
    return arguments;
}

std::string gQuoteArgument(std::string_view argument)
{
    std::string quoted = "\"";
    for (size_t i = 0; i < argument.size(); ++i)
    {
        const size_t count = gCountBackslashes(argument, i);
        i += count;
        const bool isBeforeQuote = i == argument.size() || argument[i] == '"';
        quoted.append(isBeforeQuote ? 2 * count : count, '\\');
        if (i == argument.size())
        {
            break;
        }
        if (argument[i] == '"')
        {
            quoted += '\\';
        }
        quoted += argument[i];
    }
    return quoted + '"';
}
}
