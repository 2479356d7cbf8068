#include "Importers/JsonScanner.h"
#include "Importers/JsonTestSupport.h"

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/reader.h>

namespace Importers
{
namespace
{
bool IsAccepted(std::string_view text, std::size_t windowSize, std::string& copy)
{
    Windows windows(text, windowSize);
    JsonScanner scanner(windows);
    CappedText capped(1 << 20);
    const bool isAccepted = scanner.CopyValue(capped) && scanner.Peek() < 0;
    copy = capped.mText;
    EXPECT_LE(scanner.GetOffset(), text.size());
    EXPECT_TRUE(!scanner.HasFault() || scanner.GetFaultOffset() <= text.size());
    return isAccepted;
}

/// Nothing when it stops at a number that has no double, which is no matter of grammar.
std::optional<bool> IsAcceptedByOther(const std::string& text)
{
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    rapidjson::BaseReaderHandler<> handler;
    const auto result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream, handler);
    return result.Code() == rapidjson::kParseErrorNumberTooBig ? std::nullopt : std::optional(!result.IsError());
}

std::string RemoveWhitespace(std::string_view text)
{
    std::string result;
    bool isInString = false;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '\\')
        {
            result += text[i++];
        }
        isInString = isInString != (text[i] == '"' && (i == 0 || text[i - 1] != '\\' || result.back() != '\\'));
        if (isInString || (text[i] != ' ' && text[i] != '\n'))
        {
            result += text[i];
        }
    }
    return result;
}

TEST(JsonScanner, AcceptsWhatAnotherReaderDoes)
{
    const std::string documents[] = {
        R"({"a" : [1, -2.50, 3e4, 0, 0.1E-7], "b":{"c":true,"d" : false,"e":null}, "":"", "f":[[],{},[{}]]})",
        R"(["plain text with some length", "esc \" \\ \/ \b\f\n\r\t \u00e9 \u20AC", {"k":"v"} , 12345678901234567890])",
        R"( [ [ [ "x" ] , 7 ] , { "a" : { "b" : [ ] } } ] )",
        R"("text")",
        R"(-0.0e+00)",
    };
    // No 'd', so that no change makes a surrogate, and no control character: there the readers differ by intent.
    constexpr std::string_view characters = "{}[]\",:0123456789eE+-.truefalsn\\/u ";

    std::mt19937_64 random(3);
    std::size_t numAccepted = 0;
    for (int i = 0; i < 60'000; ++i)
    {
        std::string text = documents[random() % std::size(documents)];
        gChangeAtRandom(text, random() % 4, characters, random);
        std::string copy;
        const bool isAccepted = IsAccepted(text, 1 + random() % (text.size() + 1), copy);
        const std::optional<bool> other = IsAcceptedByOther(text);
        ASSERT_EQ(isAccepted, other.value_or(isAccepted)) << text;
        if (isAccepted)
        {
            ++numAccepted;
            ASSERT_EQ(copy, RemoveWhitespace(text));
        }
    }
    EXPECT_GT(numAccepted, 10'000u);
}

TEST(JsonScanner, ReadsTokensAcrossAnyWindow)
{
    const std::string text = "{\"first key of some length\" : -12.5e+3 , "
                             "\"es\\\"caped\\u00e9\\uD83D\\uDE00\\n\":\"caf\xC3\xA9\", \"raw\tcontrol\":0}";
    for (std::size_t size = 1; size <= text.size(); ++size)
    {
        Windows windows(text, size);
        JsonScanner scanner(windows);
        JsonToken token;
        ASSERT_EQ(scanner.Peek(), '{');
        scanner.Take();
        ASSERT_TRUE(scanner.ReadString(token));
        EXPECT_EQ(token.mText, "first key of some length");
        EXPECT_FALSE(token.mIsNonAscii);
        ASSERT_TRUE(scanner.TakeColon());
        ASSERT_TRUE(scanner.ReadNumber(token));
        EXPECT_EQ(token.mText, "-12.5e+3");
        ASSERT_EQ(scanner.Peek(), ',');
        scanner.Take();
        ASSERT_TRUE(scanner.ReadString(token));
        EXPECT_EQ(token.mText, "es\"caped\xC3\xA9\xF0\x9F\x98\x80\n");
        EXPECT_FALSE(token.mIsInWindow);
        ASSERT_TRUE(scanner.TakeColon());
        ASSERT_TRUE(scanner.ReadString(token));
        EXPECT_EQ(token.mText, "caf\xC3\xA9");
        EXPECT_TRUE(token.mIsNonAscii);
        ASSERT_EQ(scanner.Peek(), ',');
        scanner.Take();
        ASSERT_TRUE(scanner.ReadString(token));
        EXPECT_EQ(token.mText, "raw\tcontrol");
        ASSERT_TRUE(scanner.TakeColon());
        ASSERT_TRUE(scanner.SkipValue());
        EXPECT_EQ(scanner.GetOffset(), text.size() - 1);
    }
}

TEST(JsonScanner, FirstFaultStays)
{
    Windows windows("[1, x, 2]", 4);
    JsonScanner scanner(windows);
    EXPECT_FALSE(scanner.SkipValue());
    EXPECT_STREQ(scanner.GetFault(), "a value is expected");
    EXPECT_EQ(scanner.GetFaultOffset(), 4u);
    EXPECT_FALSE(scanner.IsAtEnd());

    JsonToken token;
    EXPECT_EQ(scanner.Peek(), -1);
    EXPECT_FALSE(scanner.ReadString(token));
    EXPECT_FALSE(scanner.ReadNumber(token));
    EXPECT_FALSE(scanner.SkipValue());
    EXPECT_STREQ(scanner.GetFault(), "a value is expected");
    EXPECT_EQ(scanner.GetFaultOffset(), 4u);
}
}
}
