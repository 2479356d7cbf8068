#include "System/CommandLine.h"

#include <gtest/gtest.h>

#include <random>

namespace System
{
using Arguments = std::vector<std::string>;

TEST(CommandLine, SplitsAtBlanksOutsideQuotes)
{
    const struct
    {
        const char* mText;
        Arguments mArguments;
    } rows[] = {
        {"", {}},
        {" \t ", {}},
        {"--port 80  --quiet", {"--port", "80", "--quiet"}},
        {R"(--path "/a folder/file" x)", {"--path", "/a folder/file", "x"}},
        {R"("")", {""}},
        {R"(a"b c"d)", {"ab cd"}},
        {R"("open end)", {"open end"}},
        {R"(C:\dir\file \\server)", {R"(C:\dir\file)", R"(\\server)"}},
        {R"("a\\" b\"c)", {R"(a\)", R"(b"c)"}},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(gSplitArguments(row.mText), row.mArguments) << row.mText;
    }
}

TEST(CommandLine, WhatIsQuotedComesBack)
{
    EXPECT_EQ(gQuoteArgument("/a folder"), R"("/a folder")");
    std::mt19937 random(20261123);
    for (int i = 0; i < 2000; ++i)
    {
        Arguments arguments;
        std::string text;
        for (size_t count = random() % 4; count > 0; --count)
        {
            std::string argument;
            for (size_t length = random() % 8; length > 0; --length)
            {
                argument += "\\\" \ta"[random() % 5];
            }
            text += gQuoteArgument(argument) + ' ';
            arguments.push_back(argument);
        }
        ASSERT_EQ(gSplitArguments(text), arguments) << text;
    }
}
}
