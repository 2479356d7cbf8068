#include "ProfilerLib/symbols/SourceLines.h"

#include <gtest/gtest.h>

#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/Testing/Payload.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

namespace Profiler
{

namespace
{

using Addresses = std::vector<uint64_t>;

constexpr uint64_t cSettings = 17;

class SourceLinesTest : public testing::Test
{
protected:
    SourceLinesTest() { gReadySymbolRegistry(mRegistry); }

    static PDBKey MakeKey(int32_t age = 0) { return PDBKey::sMake("/lib/a.so", 1, 2, age, {3, 4}, "a.so"); }

    static SourceLineData MakeAnswer(std::vector<int32_t> lines, std::vector<uint32_t> indices)
    {
        SourceLineData data;
        data.Result = EResolveLineDataResult::Success;
        data.Lines = std::move(lines);
        data.Paths = {"a.cpp", "b.cpp"};
        data.PathIndices = std::move(indices);
        return data;
    }

    std::unique_ptr<SourceLines> Load(uint64_t settings = cSettings, int32_t age = 0)
    {
        mResult.Clear();
        return SourceLines::Load(mPath, mRegistry, MakeKey(age), settings, mResult);
    }

    const TemporaryFolder mFolder;
    const std::string mPath = mFolder / "a.so/1/a.symlines";
    RTTI::TypeRegistry mRegistry;
    Utility::Result mResult;
};

TEST_F(SourceLinesTest, KeepsWhatWasAsked)
{
    SourceLines lines{MakeKey(), cSettings};
    EXPECT_EQ(lines.ListUnknown({7, 5, 7}), (Addresses{7, 5}));
    ASSERT_TRUE(lines.Add({7, 5}, MakeAnswer({70, -1}, {1, 99})));
    ASSERT_TRUE(lines.Add({8, 9}, MakeAnswer({80, 90}, {0, 1})));
    ASSERT_TRUE(lines.Save(mPath, mResult)) << mResult.ToString();

    const auto loaded = Load();
    ASSERT_NE(loaded, nullptr) << mResult.ToString();
    EXPECT_EQ(loaded->ListUnknown({5, 6, 7, 8}), Addresses{6});
    const SourceLineData found = loaded->Find({9, 5, 7, 6});
    EXPECT_EQ(found.Lines, (std::vector<int32_t>{90, -1, 70, -1}));
    EXPECT_EQ(found.Paths, (std::vector<std::string>{"b.cpp", "a.cpp"})) << "each once";
    EXPECT_EQ(found.Paths.at(found.PathIndices[0]), "b.cpp");

    const auto elsewhere = Load(cSettings + 1);
    ASSERT_NE(elsewhere, nullptr) << mResult.ToString();
    EXPECT_EQ(elsewhere->ListUnknown({5, 7}), Addresses{5}) << "there may be a line now";
}

TEST_F(SourceLinesTest, HasTheBytesOfTheFormat)
{
    using Testing::Payload;

    const auto guid = Payload{}.Number(uint64_t{0}).Number(uint64_t{0});
    const auto key =
        Payload{}.Text("").Number(int32_t{-1}).Number(int32_t{-1}).Number(int32_t{-1}).Sized(guid).Text("");
    const auto paths = Payload{}.Number(uint64_t{1}).Text("a.cpp");
    const auto line = [](uint64_t address, int32_t number) {
        return Payload{}.Number(address).Number(uint32_t{0}).Number(number);
    };
    const auto lines = Payload{}.Number(uint64_t{2}).Sized(line(0x10, 7)).Sized(line(0x20, -1));
    const auto file = Payload{}.Sized(key).Number(cSettings).Sized(paths).Sized(lines);
    const auto payload = Payload{}.Number(uint64_t{1}).Text("Profiler::SourceLines").Sized(file);

    SourceLines saved{PDBKey{}, cSettings};
    ASSERT_TRUE(saved.Add({0x10, 0x20}, MakeAnswer({7, -1}, {0, 0})) && saved.Save(mPath, mResult));
    const std::string bytes = mFolder.Read("a.so/1/a.symlines");
    ASSERT_GT(bytes.size(), payload.GetBytes().size() + sizeof(uint64_t));
    EXPECT_EQ(bytes.substr(bytes.size() - sizeof(uint64_t) - payload.GetBytes().size(), payload.GetBytes().size()),
        payload.GetBytes());
}

TEST_F(SourceLinesTest, WhatDoesNotFitIsRefused)
{
    SourceLines lines{MakeKey(), cSettings};
    EXPECT_FALSE(lines.Add({1, 2}, MakeAnswer({10}, {0}))) << "one line is missing";
    EXPECT_FALSE(lines.Add({1}, MakeAnswer({10}, {}))) << "its path is missing";
    EXPECT_FALSE(lines.Add({1}, MakeAnswer({10}, {2}))) << "there is no such path";
    EXPECT_EQ(lines.ListUnknown({1, 2}), (Addresses{1, 2}));

    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(mResult.GetEntries().at(0).mCode, Serialization::FileNotFound);
    ASSERT_TRUE(lines.Add({1}, MakeAnswer({10}, {1})) && lines.Save(mPath, mResult));
    EXPECT_EQ(Load(cSettings, 1), nullptr);
    EXPECT_EQ(mResult.GetEntries().at(0).mMessage, "The lines are those of another build");
    const std::string whole = mFolder.Read("a.so/1/a.symlines");
    for (std::size_t size = 0; size < whole.size(); size += 97)
    {
        mFolder.Write("a.so/1/a.symlines", whole.substr(0, size));
        EXPECT_EQ(Load(), nullptr) << size;
    }
}

TEST_F(SourceLinesTest, StartsAnewWhenThereAreTooMany)
{
    SourceLines lines{MakeKey(), cSettings};
    Addresses addresses(SourceLines::cMostLines);
    for (std::size_t i = 0; i < addresses.size(); ++i)
        addresses[i] = i;
    ASSERT_TRUE(lines.Add(
        addresses, MakeAnswer(std::vector<int32_t>(addresses.size(), 1), std::vector<uint32_t>(addresses.size(), 0))));
    EXPECT_TRUE(lines.ListUnknown(addresses).empty());
    ASSERT_TRUE(lines.Add({cSettings << 32}, MakeAnswer({2}, {0})));
    EXPECT_EQ(lines.ListUnknown({0, cSettings << 32}), Addresses{0});
}

}

}
