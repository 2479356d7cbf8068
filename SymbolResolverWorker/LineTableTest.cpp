#include "SymbolResolverWorker/LineTable.h"

#include <gtest/gtest.h>

namespace Symbols::Testing
{

namespace
{

/// Code from 10 to 30 with a function at 12, whose start and middle are inlined from a header; then nothing, then code
/// from 40 to 50.
LineTable MakeTable()
{
    LineTable table;
    const uint32_t source = table.AddFile("source");
    const uint32_t header = table.AddFile("header");
    table.AddRow(40, source, 9);
    table.AddEnd(50);
    table.AddRow(10, source, 1);
    table.AddRow(12, source, 2);
    table.AddRow(12, header, 100);
    table.AddRow(20, header, 101);
    table.AddRow(25, source, 0);
    table.AddRow(28, source, 3);
    table.AddEnd(30);
    table.AddEnd(40);
    table.Sort();
    return table;
}

TEST(LineTableTest, TheLastRowInFrontOfAnAddressCounts)
{
    const LineTable table = MakeTable();
    const std::pair<uint64_t, std::optional<SourceLine>> cRows[] = {{9, {}}, {10, SourceLine{"source", 1}},
        {12, SourceLine{"header", 100}}, {24, SourceLine{"header", 101}}, {25, {}}, {29, SourceLine{"source", 3}},
        {30, {}}, {39, {}}, {40, SourceLine{"source", 9}}, {50, {}}};
    for (const auto& [address, line] : cRows)
        EXPECT_EQ(table.Find(address), line) << address;
    EXPECT_EQ(LineTable{}.Find(1), std::nullopt);
}

TEST(LineTableTest, ALineInAFileMayStandInFrontButInTheFunction)
{
    const LineTable table = MakeTable();
    EXPECT_EQ(table.FindInFile(12, 12, "source"), 2) << "another row at the function's start";
    EXPECT_EQ(table.FindInFile(27, 12, "source"), 2);
    EXPECT_EQ(table.FindInFile(28, 12, "source"), 3);
    EXPECT_EQ(table.FindInFile(24, 13, "source"), std::nullopt) << "only in front of the function";
    EXPECT_EQ(table.FindInFile(11, 11, "source"), 1) << "the row of the address begins in front of the function";
    EXPECT_EQ(table.FindInFile(30, 12, "source"), std::nullopt);
    EXPECT_EQ(table.FindInFile(12, 12, "other"), std::nullopt);
}

}

}
