#include "ProfilerLib/session/InstrumentationDatabase.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "ProfilerLib/session/FakeSymbolSource.h"

namespace Profiler
{
namespace
{

using Results = std::vector<InstrumentationSearchResult>;

Results Sorted(Results results)
{
    std::ranges::sort(results, {}, &InstrumentationSearchResult::mID);
    return results;
}

TEST(InstrumentationDatabaseTest, TheFirstTextOfAnIdentifierStays)
{
    InstrumentationDatabase database;
    EXPECT_EQ(database.AddEvent(1, "Load", ""), InstrumentationDatabase::cNoContext);
    EXPECT_EQ(database.AddEvent(1, "Save", "abc"), 0x44BC2CF5AD770999u) << "XXH64 of \"abc\" with seed 0";
    EXPECT_EQ(database.AddEvent(2, "Save", "abc"), 0x44BC2CF5AD770999u);
    const std::string& name = database.GetEventName(1);
    for (uint64_t id = 100; id < 2000; ++id)
        database.AddEvent(id, "many", std::to_string(id));

    EXPECT_EQ(name, "Load") << "a reference outlives later additions";
    EXPECT_EQ(database.GetEventName(2), "Save");
    EXPECT_EQ(database.GetContext(0x44BC2CF5AD770999u), "abc");
    EXPECT_EQ(database.GetNumEvents(), 1902u);
    EXPECT_EQ(database.GetNumContexts(), 1901u);
    EXPECT_EQ(database.GetEventName(3), "");
    EXPECT_EQ(database.GetContext(InstrumentationDatabase::cNoContext), "");
}

TEST(InstrumentationDatabaseTest, AnyNumberIsAnIdentifier)
{
    // Identifiers that a file brought are known as well.
    InstrumentationDatabase database;
    GetStored<TextMap>(database, "InstrumentationIDs")[5 << 20] = "stored";
    std::vector<uint64_t> ids{0, ~uint64_t{0}};
    for (uint64_t i = 1; i < 500; ++i)
        ids.insert(ids.end(), {i, i << 20, i << 54, ~i});
    for (const char* suffix : {" first", " again"})
        for (const uint64_t id : ids)
            database.AddEvent(id, std::to_string(id) + suffix, {});
    for (const uint64_t id : ids)
        EXPECT_EQ(database.GetEventName(id), id == 5 << 20 ? "stored" : std::to_string(id) + " first");
}

/// Texts that are gone as soon as the next one is taken.
class PassingTexts final : public LentTexts
{
public:
    std::size_t GetNumLeft() const override { return mTexts.size(); }
    Text Take() override
    {
        mTaken = mTexts.back();
        mTexts.pop_back();
        return {mTaken.first, mTaken.second};
    }

private:
    std::vector<std::pair<uint64_t, std::string>> mTexts{{8, "second"}, {7, "first"}};
    std::pair<uint64_t, std::string> mTaken;
};

TEST(InstrumentationDatabaseTest, LentContextsAreStored)
{
    InstrumentationDatabase database;
    PassingTexts texts;
    database.LendContexts(texts);
    EXPECT_EQ(database.GetNumContexts(), 2u);

    std::vector<std::pair<uint64_t, std::string>> stored;
    const auto entries = GetStored<TextMap>(database, "ContextIDs").CreateIterator();
    while (!entries->IsAtEnd())
    {
        const RTTI::MapIterator::Entry entry = entries->Next();
        stored.emplace_back(*static_cast<uint64_t*>(entry.Key.Object), *static_cast<std::string*>(entry.Value.Object));
    }
    EXPECT_EQ(stored, (std::vector<std::pair<uint64_t, std::string>>{{7, "first"}, {8, "second"}}));
    EXPECT_EQ(database.GetNumContexts(), 0u);
    database.ForgetLentContexts();
    EXPECT_EQ(database.GetContext(7), "");
}

TEST(InstrumentationDatabaseTest, LentContextsAreCopiedWhenOneIsAskedFor)
{
    InstrumentationDatabase database;
    {
        PassingTexts texts;
        database.LendContexts(texts);
        EXPECT_EQ(database.GetContext(7), "first");
        database.ForgetLentContexts();
    }
    EXPECT_EQ(database.GetContext(8), "second");
    EXPECT_EQ(database.GetNumContexts(), 2u);
}

TEST(InstrumentationDatabaseTest, SearchesIgnoreCaseAndAppend)
{
    InstrumentationDatabase database;
    database.AddEvent(1, "LoadFile", {});
    database.AddEvent(2, "loadfile", {});
    database.AddEvent(3, "Load", {});
    database.AddEvent(4, "Reload", {});

    const InstrumentationSearchResult before{"before", 0, false};
    Results results{before};
    database.FindEventsByName("LOADFILE", results);
    EXPECT_EQ(Sorted(results), (Results{before, {"LoadFile", 1, true}, {"loadfile", 2, true}}));

    results.clear();
    database.FindEventsContaining("lOAD", results);
    EXPECT_EQ(results.size(), 4u);
    results.clear();
    database.FindEventsContaining("loadF", results);
    EXPECT_EQ(Sorted(results), (Results{{"LoadFile", 1, true}, {"loadfile", 2, true}}));
    results.clear();
    database.FindEventsByName("loadf", results);
    EXPECT_TRUE(results.empty());
}

}
}
