#include "Utility/Result.h"

#include <gtest/gtest.h>

#include <utility>

namespace
{
using Utility::Result;

TEST(ResultTest, OnlyFailuresAreFormattedAndKept)
{
    Result result;
    // A format that reads an argument that is not there would be found by the sanitizers.
    int written = 0;
    EXPECT_TRUE(result.Check(true, 5, "%s%n", "never looked at", &written));
    EXPECT_FALSE(result.HasErrors());
    EXPECT_EQ(result.ToString(), "");

    EXPECT_FALSE(result.Check(false, 4, "The type %s was not registered (%d)", "Foo", 12));
    EXPECT_FALSE(result.Fail(-3, "100%%"));
    EXPECT_FALSE(result.FailText(0, "50%s"));
    const std::vector<Result::Entry> expected{
        {4, "", "The type Foo was not registered (12)"}, {-3, "", "100%"}, {0, "", "50%s"}};
    EXPECT_EQ(result.GetEntries(), expected);

    const std::string longText(5000, 'x');
    result.Fail(1, "<%s>", longText.c_str());
    EXPECT_EQ(result.GetEntries().back().mMessage, '<' + longText + '>');
}

TEST(ResultTest, EntriesCarryTheInnermostContextAndPrintNewestFirst)
{
    Result result;
    {
        const auto outer = result.PushContext("/data/outer.session");
        {
            const auto inner = result.PushContext("/data/inner.dat");
            result.Fail(1, "first");
        }
        result.Fail(2, "second");
    }
    result.Fail(3, "third");
    EXPECT_EQ(result.ToString(), "Context: [no context], internal error: third\n"
                                 "Context: /data/outer.session, internal error: second\n"
                                 "Context: /data/inner.dat, internal error: first");
}

TEST(ResultTest, ClearingInsideAContextIsHarmless)
{
    Result result;
    {
        const auto outer = result.PushContext("outer");
        const auto inner = result.PushContext("inner");
        result.Fail(1, "gone");
        result.Clear();
        EXPECT_FALSE(result.HasErrors());
        EXPECT_TRUE(result.GetContexts().empty());
        result.Fail(2, "kept");
    }
    EXPECT_EQ(result.ToString(), "Context: [no context], internal error: kept");
    EXPECT_TRUE(result.GetContexts().empty());
}
}
