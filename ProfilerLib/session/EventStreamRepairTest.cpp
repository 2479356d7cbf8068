#include "ProfilerLib/session/EventStreamRepair.h"

#include "ProfilerLib/session/EventStreamFixture.h"
#include "ProfilerLib/session/EventStreamVerifier.h"
#include "Serialization/Error.h"
#include "Utility/Damage.h"
#include "Utility/FailureSweep.h"
#include "Utility/Hash.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <functional>
#include <optional>

namespace Profiler
{
namespace
{
using FileSystem::Internal::FastFileCalls;
using FileSystem::Internal::gTryOnFailingDisks;
using FileSystem::Internal::ScopedFileCalls;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class EventStreamRepairTest : public EventStreamFixture
{
protected:
    /// The three chunks of `RecordSmall`.
    void RecordChunks()
    {
        const std::unique_ptr<TraceEventStream> stream = RecordSmall();
        mChunks = stream->GetChunks();
        mData = mFolder.Read("events.dat");
        mIndex = mFolder.Read("events.index");
    }

    /// One chunk of that many events, whose index is gone.
    void RecordWithoutIndex(int numEvents)
    {
        ASSERT_TRUE(AddChunk(*Create(), 0, numEvents)) << mResult.ToString();
        mData = mFolder.Read("events.dat");
        LoseIndex();
    }

    void LoseIndex() const { FileSystem::gDeleteFile(mFolder / "events.index"); }

    std::string GetBytes(std::size_t chunk) const
    {
        return mData.substr(
            static_cast<std::size_t>(mChunks[chunk].FileOffset), static_cast<std::size_t>(mChunks[chunk].Size));
    }

    static std::string Encode(int number)
    {
        Utility::OutputMemoryStream stream;
        gEncodeTraceEvent(MakeNumbered(number), stream);
        return {reinterpret_cast<const char*>(stream.GetBuffer()), stream.GetSize()};
    }

    std::size_t Find(int number) const { return mData.find(Encode(number)); }

    /// Gives the event another time.
    void SetTime(int number, double time)
    {
        std::memcpy(mData.data() + Find(number) + TraceEventLayout::cTime, &time, sizeof(time));
        Replace("events.dat", mData);
    }

    /// What was damaged. Whatever it was, what is there afterwards is sound, and needs no repair.
    std::vector<std::string> Repair()
    {
        mResult.Clear();
        EventStreamRepair repair{mSession, mRegistry, nullptr};
        EXPECT_TRUE(repair.Examine(mResult) && repair.Repair(mResult)) << mResult.ToString();

        const std::unique_ptr<TraceEventStream> stream = Load();
        EXPECT_NE(stream, nullptr) << mResult.ToString();
        EXPECT_TRUE(stream == nullptr || EventStreamVerifier{*stream}.Verify(mResult)) << mResult.ToString();
        EXPECT_TRUE(stream == nullptr || stream->GetNumEvents() == repair.GetNumEvents());
        EXPECT_TRUE(stream == nullptr || stream->GetChunks().size() == repair.GetNumChunks());
        EventStreamRepair again{mSession, mRegistry, nullptr};
        EXPECT_TRUE(again.Examine(mResult));
        EXPECT_FALSE(again.IsRepairDue());
        EXPECT_EQ(again.GetNumTornBytes(), repair.GetDamages().empty() ? repair.GetNumTornBytes() : 0);
        return repair.GetDamages();
    }

    Numbers ReadAll()
    {
        const std::unique_ptr<TraceEventStream> stream = Load();
        return stream == nullptr ? Numbers{} : EventStreamFixture::ReadAll(*stream);
    }

    FastFileCalls mCalls;
    ScopedFileCalls mScope{mCalls};
    std::vector<TraceEventStream::Chunk> mChunks;
    std::string mData;
    std::string mIndex;
};

TEST_F(EventStreamRepairTest, LostIndexIsMadeAsItWas)
{
    const std::unique_ptr<TraceEventStream> stream = Create();
    for (int i = 0; i < 250007; ++i)
    {
        ASSERT_TRUE(stream->AddEvent(MakeEvent(ETraceEventType::InstrumentationEnd, i), mResult));
    }
    ASSERT_TRUE(stream->Flush(mResult));
    ASSERT_EQ(stream->GetChunks().size(), 3u);
    const std::string index = mFolder.Read("events.index");
    LoseIndex();
    EXPECT_THAT(Repair(), IsEmpty());
    EXPECT_EQ(mFolder.Read("events.index"), index);
}

TEST_F(EventStreamRepairTest, IndexDamagedInAnyWayIsMadeFromTheSameEvents)
{
    RecordChunks();
    const auto check = [&](const std::string& damaged) {
        Replace("events.index", damaged);
        EXPECT_THAT(Repair(), IsEmpty());
        EXPECT_EQ(ReadAll(), MakeRange(0, 9));
        EXPECT_EQ(mFolder.Read("events.dat"), mData);
    };
    for (std::size_t i = 0; i < mIndex.size(); i += 13)
    {
        SCOPED_TRACE(i);
        std::string damaged = mIndex;
        damaged[i] ^= static_cast<char>(1 << i % 8);
        check(damaged);
        check(mIndex.substr(0, i));
    }
}

TEST_F(EventStreamRepairTest, EveryFlippedBitCostsTheChunkThatItIsInAndNoOther)
{
    RecordChunks();
    int numFound = 0;
    Damage::gVisitFlippedBits(mData, [&](const std::string& damaged, std::size_t bit) {
        SCOPED_TRACE(bit);
        Replace("events.dat", damaged);
        Replace("events.index", mIndex);
        const std::vector<std::string> damages = Repair();
        if (damages.empty())
        {
            EXPECT_EQ(mFolder.Read("events.dat"), damaged) << "what nobody can see is left as it is";
            return;
        }
        ++numFound;
        std::string expected;
        for (std::size_t i = 0; i < mChunks.size(); ++i)
        {
            const bool isHit = bit / 8 - mChunks[i].FileOffset < mChunks[i].Size;
            expected += isHit ? "" : GetBytes(i);
            EXPECT_TRUE(!isHit || damages[0].starts_with("Chunk " + std::to_string(i + 1) + " of 3, at byte " +
                                                         std::to_string(mChunks[i].FileOffset) + ": "));
        }
        EXPECT_EQ(damages.size(), 1u);
        EXPECT_EQ(mFolder.Read("events.dat"), expected);
    });
    EXPECT_GT(numFound, 1000);
}

TEST_F(EventStreamRepairTest, EveryDamagedChunkIsTold)
{
    RecordChunks();
    mData[Find(1)] = '\x55';
    mData[Find(8)] = '\x55';
    Replace("events.dat", mData);
    const std::unique_ptr<TraceEventStream> stream = Load();
    ASSERT_NE(stream, nullptr);
    EXPECT_FALSE(EventStreamVerifier{*stream}.Verify(mResult));
    EXPECT_EQ(mResult.GetEntries().size(), 2u);
    EXPECT_THAT(Repair(), ElementsAre(StartsWith("Chunk 1 of 3"), StartsWith("Chunk 3 of 3")));
    EXPECT_EQ(ReadAll(), MakeRange(3, 7));
}

TEST_F(EventStreamRepairTest, EveryFlippedBitWithoutAnIndexCostsFewEvents)
{
    RecordChunks();
    int numFound = 0;
    Damage::gVisitFlippedBits(mData, [&](const std::string& damaged, std::size_t bit) {
        SCOPED_TRACE(bit);
        Replace("events.dat", damaged);
        LoseIndex();
        numFound += Repair().empty() ? 0 : 1;
        const std::string repaired = mFolder.Read("events.dat");
        int numKept = 0;
        for (const int number : MakeRange(0, 9))
        {
            numKept += repaired.find(Encode(number)) != std::string::npos ? 1 : 0;
        }
        EXPECT_GE(numKept, 5) << "a wrong length may lead through a few others";
    });
    EXPECT_GT(numFound, 1000);
}

TEST_F(EventStreamRepairTest, TruncatedFileKeepsEveryWholeEvent)
{
    RecordChunks();
    for (const bool hasIndex : {true, false})
    {
        Damage::gVisitTruncations(mData, [&](const std::string& cut, std::size_t length) {
            SCOPED_TRACE(::testing::Message() << length << (hasIndex ? " with index" : " without index"));
            Replace("events.dat", cut);
            Replace("events.index", mIndex);
            if (!hasIndex)
            {
                LoseIndex();
            }
            int numWhole = 0;
            while (numWhole < 9 && Find(numWhole) + Encode(numWhole).size() <= length)
            {
                ++numWhole;
            }
            std::size_t numLost = 0;
            for (const TraceEventStream::Chunk& chunk : mChunks)
            {
                numLost += hasIndex && chunk.FileOffset + chunk.Size > length ? 1 : 0;
            }
            EXPECT_EQ(Repair().size(), numLost);
            EXPECT_EQ(ReadAll(), MakeRange(0, numWhole));

            const std::unique_ptr<TraceEventStream> stream = Load();
            ASSERT_NE(stream, nullptr);
            ASSERT_TRUE(AddChunk(*stream, 20, 22)) << mResult.ToString();
            Numbers expected = MakeRange(0, numWhole);
            expected.insert(expected.end(), {20, 21});
            EXPECT_EQ(ReadAll(), expected);
        });
    }
}

TEST_F(EventStreamRepairTest, WholeEventsBehindTheLastChunkAreTakenIn)
{
    RecordChunks();
    const std::string torn = Encode(12).substr(0, 30);
    Replace("events.dat", mData + Encode(10) + Encode(11) + torn);
    EventStreamRepair repair{mSession, mRegistry, nullptr};
    ASSERT_TRUE(repair.Examine(mResult));
    EXPECT_TRUE(repair.IsRepairDue());
    EXPECT_EQ(repair.GetNumFoundEvents(), 2u);
    EXPECT_EQ(repair.GetNumTornBytes(), torn.size());
    EXPECT_THAT(Repair(), IsEmpty());
    EXPECT_THAT(ReadAll(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11));
    EXPECT_EQ(mFolder.Read("events.dat"), mData + Encode(10) + Encode(11) + torn) << "nothing was damaged";

    // What was being written when the machine went down may hold anything. Nobody has been told that it is there.
    Replace("events.dat", mData + std::string(100, '\0'));
    Replace("events.index", mIndex);
    EXPECT_THAT(Repair(), IsEmpty());
    EXPECT_EQ(ReadAll(), MakeRange(0, 9));
}

TEST_F(EventStreamRepairTest, WithoutAnIndexRecordsAreFoundAgainBehindDamage)
{
    const struct
    {
        const char* mTitle;
        std::function<void()> mDamage;
        Numbers mLost;
    } rows[] = {
        {"one event far too late", [&] { SetTime(100, 1e300); }, {100}},
        {"three events too late",
            [&] {
                SetTime(100, 1e3);
                SetTime(101, 2e3);
                SetTime(102, 3e3);
            },
            {100, 101, 102}},
        {"one event too early", [&] { SetTime(100, 3.0); }, {100}},
        {"the last events too early",
            [&] {
                SetTime(198, 3.0);
                SetTime(199, 4.0);
            },
            {198, 199}},
        {"the first event too late", [&] { SetTime(0, 150.0); }, {0}},
        {"a stretch of zeros",
            [&] {
                std::fill_n(mData.begin() + static_cast<std::ptrdiff_t>(Find(50)), 60, '\0');
                Replace("events.dat", mData);
            },
            {50, 51}},
        {"two stretches",
            [&] {
                mData[Find(50)] = '\x55';
                mData[Find(70) + 8] = '\xFF';
                Replace("events.dat", mData);
            },
            {50, 70}},
        {"a text that swallows all that follows",
            [&] {
                mData[Find(50) + 27] = '\x01';
                Replace("events.dat", mData);
            },
            {50}},
        {"bytes that were never events",
            [&] {
                mData.insert(Find(50), 5000, '\x07');
                Replace("events.dat", mData);
            },
            {}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mTitle);
        RecordWithoutIndex(200);
        row.mDamage();
        EXPECT_THAT(Repair(), Not(IsEmpty()));
        Numbers expected = MakeRange(0, 200);
        for (const int number : row.mLost)
        {
            std::erase(expected, number);
        }
        EXPECT_EQ(ReadAll(), expected);
    }
}

TEST_F(EventStreamRepairTest, DamageWithoutAnIndexIsToldByItsBytes)
{
    RecordWithoutIndex(40);
    mData[Find(20)] = '\x55';
    mData[Find(39)] = '\x55';
    Replace("events.dat", mData);
    const std::size_t second = Find(21);
    const std::size_t end = mData.size();
    EXPECT_THAT(Repair(),
        ElementsAre(StartsWith("Bytes " + std::to_string(second - Encode(20).size()) + " to " +
                               std::to_string(second - 1) + ": the event at byte "),
            StartsWith("Bytes " + std::to_string(end - Encode(39).size()) + " to " + std::to_string(end - 1) + ": ")));
}

TEST_F(EventStreamRepairTest, WrongNumberOfEventsIsPutRight)
{
    RecordChunks();
    mIndex.replace(mIndex.size() - 8 - 3 * 40 - 24, 1, 1, '\x08');
    const std::uint64_t checksum = Utility::gXXH64(std::string_view{mIndex}.substr(0, mIndex.size() - 8));
    std::memcpy(mIndex.data() + mIndex.size() - 8, &checksum, sizeof(checksum));
    Replace("events.index", mIndex);
    ASSERT_EQ(Load()->GetNumEvents(), 8u);
    EXPECT_THAT(Repair(), IsEmpty());
    EXPECT_EQ(Load()->GetNumEvents(), 9u);
    EXPECT_EQ(Load()->GetChunks(), mChunks);
}

TEST_F(EventStreamRepairTest, WhatCannotBeRepairedIsLeftAlone)
{
    RecordChunks();
    const auto expectRefusal = [&](const RTTI::TypeRegistry& registry, const std::atomic<bool>* cancelled,
                                   std::int32_t code, const char* reason) {
        mResult.Clear();
        EventStreamRepair repair{mSession, registry, cancelled};
        EXPECT_FALSE(repair.Examine(mResult));
        ASSERT_EQ(mResult.GetEntries().size(), 1u);
        EXPECT_EQ(mResult.GetEntries()[0].mCode, code);
        EXPECT_THAT(mResult.GetEntries()[0].mMessage, HasSubstr(reason));
    };
    const std::atomic<bool> isCancelled{true};
    expectRefusal(mRegistry, &isCancelled, 0, "Interrupted");

    RTTI::TypeRegistry other;
    {
        const auto scope = other.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(other);
        Serialization::gRegisterTypes(other);
    }
    other.Finalize();
    expectRefusal(other, nullptr, Serialization::Incompatible, "was not registered");

    FileSystem::gDeleteFile(mFolder / "events.dat");
    expectRefusal(mRegistry, nullptr, Serialization::FileNotFound, "does not exist");
    EXPECT_EQ(mFolder.Read("events.index"), mIndex);
}

TEST_F(EventStreamRepairTest, FileThatIsBeingWrittenIsLeftAlone)
{
    RecordWithoutIndex(10);
    EventStreamRepair repair{mSession, mRegistry, nullptr};
    ASSERT_TRUE(repair.Examine(mResult));
    std::ofstream{mFolder / "events.dat", std::ios::binary | std::ios::app} << "more";
    EXPECT_FALSE(repair.Repair(mResult));
    EXPECT_FALSE(FileSystem::gFileExists(mFolder / "events.index"));
}

TEST_F(EventStreamRepairTest, FailingDiskLeavesWhatCanBeRepairedAgain)
{
    RecordChunks();
    for (const int damagedEvent : {1, 4, 8})
    {
        SCOPED_TRACE(damagedEvent);
        std::string damaged = mData;
        damaged[Find(damagedEvent)] = '\x55';
        std::optional<EventStreamRepair> tried;
        const auto prepare = [&] {
            Replace("events.dat", damaged);
            Replace("events.index", mIndex);
            tried.emplace(mSession, mRegistry, nullptr);
            EXPECT_TRUE(tried->Examine(mResult));
        };
        const auto repair = [&](Utility::Result& result) {
            return tried->Repair(result);
        };
        const auto check = [&](bool isRepaired) {
            const std::unique_ptr<TraceEventStream> stream = Load();
            ASSERT_NE(stream, nullptr) << "the capture can be opened at any moment";
            Repair();
            const Numbers numbers = ReadAll();
            for (std::size_t i = 0; i < mChunks.size(); ++i)
            {
                const Numbers chunk =
                    MakeRange(static_cast<int>(mChunks[i].StartTime), static_cast<int>(mChunks[i].EndTime) + 1);
                const bool isDamaged = std::count(chunk.begin(), chunk.end(), damagedEvent) != 0;
                EXPECT_TRUE(isDamaged || std::includes(numbers.begin(), numbers.end(), chunk.begin(), chunk.end()));
                EXPECT_TRUE(
                    !isDamaged || !isRepaired || std::count(numbers.begin(), numbers.end(), chunk.front()) == 0);
            }
        };
        const int numOperations = gTryOnFailingDisks({mFolder, {"events.dat", "events.index"}, prepare, repair, check});
        EXPECT_GT(numOperations, 10);
    }
    mLog.Take();
}
}
}
