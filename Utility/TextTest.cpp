#include "Utility/Text.h"

#include "Utility/Format.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace
{
using namespace Utility;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TextTest, SplittingDropsEmptyPieces)
{
    std::vector<std::string> pieces{"left over"};
    gSplit("", pieces, "/");
    EXPECT_THAT(pieces, IsEmpty());
    gSplit("a//b", pieces, "/");
    EXPECT_THAT(pieces, ElementsAre("a", "b"));
    gSplit("/a\\b/", pieces, "/\\");
    EXPECT_THAT(pieces, ElementsAre("a", "b"));
    gSplit("whole", pieces, "");
    EXPECT_THAT(pieces, ElementsAre("whole"));
    gSplit("//", pieces, "/");
    EXPECT_THAT(pieces, IsEmpty());
}

TEST(TextTest, ComparisonsAndTrimming)
{
    EXPECT_EQ(gToLower("ABC-\xC3\x84"), "abc-\xC3\x84") << "bytes beyond ASCII are left alone";
    EXPECT_TRUE(gContainsIgnoreCase("Frame Begin", "ME B"));
    EXPECT_TRUE(gContainsIgnoreCase("", ""));
    EXPECT_FALSE(gContainsIgnoreCase("Fram", "frame"));
    EXPECT_TRUE(gStartsWith("ab", "abc", true));
    EXPECT_FALSE(gStartsWith("AB", "abc", true));
    EXPECT_TRUE(gStartsWith("AB", "abc", false));
    EXPECT_FALSE(gStartsWith("abcd", "abc", false));
    EXPECT_TRUE(gEndsWith("BC", "abc", false));
    EXPECT_FALSE(gEndsWith("BC", "abc", true));
    EXPECT_FALSE(gEndsWith("xabc", "abc", true));
    EXPECT_EQ(gTrimLeft(" \t\r\n\v\fa b "), "a b ");
    EXPECT_EQ(gTrimRight(" a b \n"), " a b");
    EXPECT_EQ(gTrimLeft(" \t") + gTrimRight(" \t"), "");
}

TEST(TextTest, WideTextGoesThereAndBack)
{
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBB\xBF\xF4\x8F\xBF\xBF";
    const std::u16string wide = u"a\u00E9\u20AC\U0001F600\uFEFF\U0010FFFF";
    EXPECT_EQ(gToWide(text), wide);
    EXPECT_EQ(gFromWide(wide), text);
    EXPECT_EQ(gToUTF8(wide), text);
    EXPECT_EQ(gToUTF8(std::u32string_view(U"a\u00E9\u20AC\U0001F600\uFEFF\U0010FFFF")), text);
}

TEST(TextTest, InvalidSequencesAreRefused)
{
    const char* const rows[] = {"\x80", "a\xC3", "\xC3(", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE2\x82",
        "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"};
    for (const char* const row : rows)
    {
        EXPECT_THROW((void)gToWide(row), std::range_error) << row;
    }
    const char16_t high = 0xD83D;
    const char16_t low = 0xDE00;
    for (const std::u16string& row : {std::u16string{high}, std::u16string{low}, std::u16string{low, high},
             std::u16string{high, high, low}, std::u16string{high, u'a'}})
    {
        EXPECT_THROW((void)gToUTF8(row), std::range_error);
    }
    for (const char32_t row : {char32_t{0xD800}, char32_t{0xDFFF}, char32_t{0x110000}, char32_t{0xFFFFFFFF}})
    {
        EXPECT_THROW((void)gToUTF8(std::u32string_view(&row, 1)), std::range_error);
    }
    try
    {
        (void)gToWide("\xFF");
    }
    catch (const std::range_error& error)
    {
        EXPECT_STREQ(error.what(), "bad conversion");
    }
}

TEST(TextTest, FormattingGivesAnyLength)
{
    EXPECT_EQ(gFormat("%s", ""), "");
    for (std::size_t length = 250; length < 260; ++length)
    {
        const std::string text(length, 'x');
        EXPECT_EQ(gFormat("%s|%d", text.c_str(), 5), text + "|5");
    }
}
}
