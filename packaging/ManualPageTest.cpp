#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RunProgram.h"

namespace
{

/// "chart" for a command, "chart --event" for an option of it, "--help" for one of the program itself.
using Usage = std::set<std::string>;

void AddOptions(Usage& usage, const std::string& command, const std::string& line)
{
    static const std::regex cOption{"--[a-z][a-z-]*"};
    for (std::sregex_iterator i{line.begin(), line.end(), cOption}; i != std::sregex_iterator{}; ++i)
        usage.insert(command.empty() ? i->str() : command + " " + i->str());
}

/// The page without its marks of fonts and escapes of dashes.
std::string GetPlainLine(const std::string& line)
{
    return std::regex_replace(std::regex_replace(line, std::regex{R"(\\f[A-Z])"}, ""), std::regex{R"(\\-)"}, "-");
}

/// What the page's source describes: commands are subsections, options stand first in a paragraph.
Usage GetDescribedUsage(const std::string& path)
{
    Usage usage;
    std::ifstream page{path};
    std::string section;
    std::string command;
    bool isFirstInParagraph = false;
    for (std::string line; std::getline(page, line);)
    {
        if (isFirstInParagraph)
            AddOptions(usage, command, GetPlainLine(line));
        isFirstInParagraph = line == ".TP";
        if (line.starts_with(".SH "))
        {
            section = line.substr(4);
            command.clear();
        }
        if (line.starts_with(".SS ") && section == "COMMANDS")
        {
            command = line.substr(4);
            usage.insert(command);
        }
    }
    return usage;
}

/// The lines of a help text that list something: what stands first in each.
std::vector<std::string> GetListed(const std::string& help)
{
    static const std::regex cListed{R"(^  ([a-z-][^ ]*))"};
    std::vector<std::string> listed;
    std::istringstream lines{help};
    for (std::string line; std::getline(lines, line);)
    {
        if (std::smatch match; std::regex_search(line, match, cListed))
            listed.push_back(match[1]);
    }
    return listed;
}

/// What the program says of itself. Every command has the program's own options, which are described once.
Usage GetUsage()
{
    Usage usage;
    for (const std::string& listed : GetListed(Tests::gRunQuarkspindle({"--help"}).Output))
    {
        if (listed.starts_with('-'))
            AddOptions(usage, "", listed);
        else
            usage.insert(listed);
    }
    const Usage outermost = usage;
    for (const std::string& command : outermost)
    {
        if (command.starts_with('-'))
            continue;
        for (const std::string& listed : GetListed(Tests::gRunQuarkspindle({command, "--help"}).Output))
            AddOptions(usage, command, listed);
        usage.erase(command + " --help");
        usage.erase(command + " --version");
    }
    return usage;
}

Usage GetDifference(const Usage& left, const Usage& right)
{
    Usage difference;
    std::ranges::set_difference(left, right, std::inserter(difference, difference.end()));
    return difference;
}

TEST(ManualPageTest, DescribesAllCommandsAndOptionsAndNoOthers)
{
    const Usage usage = GetUsage();
    const Usage described = GetDescribedUsage(QUARKSPINDLE_MANUAL_PAGE);
    ASSERT_TRUE(usage.contains("chart --event")) << testing::PrintToString(usage);
    EXPECT_THAT(GetDifference(usage, described), testing::IsEmpty()) << "packaging/quarkspindle.1.in lacks these";
    EXPECT_THAT(GetDifference(described, usage), testing::IsEmpty())
        << "packaging/quarkspindle.1.in describes these, which the program does not have";
}

}
