#include "Quarkspindle/Output.h"

#include <gtest/gtest.h>

namespace Quarkspindle
{

namespace
{

TEST(OutputTest, CsvFieldsAreQuotedWhereTheyMustBe)
{
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"plain text", "plain text"},
        {"a,b", "\"a,b\""},
        {"say \"no\"", "\"say \"\"no\"\"\""},
        {"two\nlines", "\"two\nlines\""},
        {"cr\r", "\"cr\r\""},
    };
    for (const auto& [field, expected] : rows)
    {
        std::string line;
        gAppendCsvField(line, field);
        EXPECT_EQ(line, expected);
    }
}

TEST(OutputTest, NumbersReadBackAsTheSameDouble)
{
    for (const double value : {0.0, 0.1, 1.0 / 3.0, 1234567.8901234567, 1e-300, 1.7976931348623157e308})
    {
        std::string text;
        gAppendNumber(text, value);
        EXPECT_EQ(std::stod(text), value) << text;
    }
}

TEST(OutputTest, DurationsUseTheUnitThatFits)
{
    const std::pair<double, const char*> rows[] = {
        {0.0, "0 ns"},
        {0.000912, "912 ns"},
        {0.00325, "3.250 µs"},
        {0.999, "999.000 µs"},
        {41.7, "41.700 ms"},
        {2003.0, "2.003 s"},
        {65'000.0, "1 min 5 s"},
    };
    for (const auto& [ms, expected] : rows)
        EXPECT_EQ(gFormatMilliseconds(ms), expected);
}

TEST(OutputTest, TextIsMadeSafeAndCutByCodePoints)
{
    struct Row
    {
        const char* Text;
        std::size_t Width;
        const char* Expected;
    };
    const Row rows[] = {
        {"plain", 100, "plain"},
        {"\x1b[2J\n", 100, "\\x1b[2J\\x0a"},
        {"exact", 5, "exact"},
        {"longer", 5, "long…"},
        {"äöüß", 4, "äöüß"},
        {"äöüßé", 4, "äöü…"},
        {"abc\n", 5, "abc…"},
        {"ab", 0, "…"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(gMakePrintable(row.Text, row.Width), row.Expected);
    EXPECT_EQ(gMakePrintable("no limit"), "no limit");
}

TEST(OutputTest, CountsAreGroupedAndNamed)
{
    EXPECT_EQ(gFormatCount(0), "0");
    EXPECT_EQ(gFormatCount(999), "999");
    EXPECT_EQ(gFormatCount(1000), "1 000");
    EXPECT_EQ(gFormatCount(1234567), "1 234 567");
    EXPECT_EQ(gFormatCount(1, "chunk", "chunks"), "1 chunk");
    EXPECT_EQ(gFormatCount(0, "chunk", "chunks"), "0 chunks");
}

}

}
