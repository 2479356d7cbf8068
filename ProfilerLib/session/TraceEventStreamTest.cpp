#include "ProfilerLib/session/TraceEventStream.h"

#include "ProfilerLib/session/EventStreamFixture.h"
#include "Serialization/Error.h"
#include "Utility/Damage.h"
#include "Utility/FailureSweep.h"
#include "Utility/Hash.h"

#include <gmock/gmock.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace Profiler
{
namespace
{
using FileSystem::Internal::FailingFileCalls;
using FileSystem::Internal::FastFileCalls;
using FileSystem::Internal::gTryOnFailingDisks;
using FileSystem::Internal::ScopedFileCalls;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TraceEventStreamTest : public EventStreamFixture
{
protected:
    /// Replaces bytes of the index, given from its end, and makes its checksum fit.
    void PatchIndex(std::size_t fromEnd, std::span<const std::byte> bytes) const
    {
        std::string index = mFolder.Read("events.index");
        std::memcpy(index.data() + index.size() - fromEnd, bytes.data(), bytes.size());
        const std::uint64_t checksum = Utility::gXXH64(std::string_view{index}.substr(0, index.size() - 8));
        std::memcpy(index.data() + index.size() - 8, &checksum, 8);
        Replace("events.index", index);
    }

    template <class T>
    void PatchIndex(std::size_t fromEnd, T value) const
    {
        PatchIndex(fromEnd, std::as_bytes(std::span{&value, 1}));
    }
};

/// Bytes of a stored chunk: body size, start, end, offset, size. The chunks are the last thing in front of the
/// checksum.
constexpr std::size_t cStoredChunk = 40;

std::size_t FromEnd(std::size_t numChunksBehindItsStart, std::size_t offset)
{
    return 8 + numChunksBehindItsStart * cStoredChunk - offset;
}

TEST_F(TraceEventStreamTest, DeferredRecordingIsTheSame)
{
    // Whole chunks, a rest, and more behind the first flush.
    const int numFirst = 2 * static_cast<int>(TraceEventStream::cChunkEvents) + 5;
    std::vector<TraceEventStream::Chunk> chunks[2];
    std::string bytes[2];
    for (const bool isDeferred : {false, true})
    {
        const std::unique_ptr<TraceEventStream> stream = Create();
        if (isDeferred)
        {
            stream->DeferSync();
        }
        ASSERT_TRUE(AddChunk(*stream, 0, numFirst) && AddChunk(*stream, numFirst, numFirst + 3)) << mResult.ToString();
        EXPECT_EQ(stream->GetNumEvents(), static_cast<std::uint64_t>(numFirst) + 3);
        chunks[isDeferred ? 1 : 0] = Load()->GetChunks();
        bytes[isDeferred ? 1 : 0] = mFolder.Read("events.dat");
        ASSERT_TRUE(FileSystem::gDeleteFile(stream->GetDataPath()) && FileSystem::gDeleteFile(stream->GetIndexPath()));
    }
    EXPECT_EQ(chunks[0].size(), 4u);
    EXPECT_EQ(chunks[1], chunks[0]);
    EXPECT_TRUE(bytes[1] == bytes[0]);
}

TEST_F(TraceEventStreamTest, FilesHoldTheRecordsAndWhereTheyLie)
{
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();

    Utility::OutputMemoryStream expected;
    std::vector<std::uint64_t> ends;
    for (const int number : MakeRange(0, 9))
    {
        gEncodeTraceEvent(MakeNumbered(number), expected);
        ends.push_back(expected.GetSize());
    }
    const auto* const text = reinterpret_cast<const char*>(expected.GetBuffer());
    EXPECT_EQ(mFolder.Read("events.dat"), std::string(text, expected.GetSize()));

    const std::vector<TraceEventStream::Chunk> chunks = {
        {0, 2, 0, ends[2]}, {3, 6, ends[2], ends[6] - ends[2]}, {7, 8, ends[6], ends[8] - ends[6]}};
    EXPECT_EQ(stream->GetChunks(), chunks);
    EXPECT_EQ(stream->GetNumEvents(), 9u);

    const std::string index = mFolder.Read("events.index");
    const auto load = [&](std::size_t fromEnd) {
        std::uint64_t value = 0;
        std::memcpy(&value, index.data() + index.size() - fromEnd, sizeof(value));
        return value;
    };
    EXPECT_EQ(load(8), Utility::gXXH64(std::string_view{index}.substr(0, index.size() - 8)));
    EXPECT_EQ(load(FromEnd(3, 0) + 24), 9u) << "number of events";
    EXPECT_EQ(load(FromEnd(3, 0) + 16), 8 + 3 * cStoredChunk) << "size of the array";
    EXPECT_EQ(load(FromEnd(3, 0) + 8), 3u) << "number of chunks";
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(load(FromEnd(3 - i, 0)), 32u);
        EXPECT_EQ(load(FromEnd(3 - i, 8)), std::bit_cast<std::uint64_t>(chunks[i].StartTime));
        EXPECT_EQ(load(FromEnd(3 - i, 16)), std::bit_cast<std::uint64_t>(chunks[i].EndTime));
        EXPECT_EQ(load(FromEnd(3 - i, 24)), chunks[i].FileOffset);
        EXPECT_EQ(load(FromEnd(3 - i, 32)), chunks[i].Size);
    }

    const std::unique_ptr<TraceEventStream> loaded = Load();
    ASSERT_NE(loaded, nullptr) << mResult.ToString();
    EXPECT_EQ(loaded->GetChunks(), chunks);
    EXPECT_EQ(loaded->GetNumEvents(), 9u);
    EXPECT_EQ(loaded->GetNumLostChunks(), 0u);
    EXPECT_EQ(ReadAll(*loaded), MakeRange(0, 9));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(TraceEventStreamTest, HundredThousandEventsMakeAChunk)
{
    FastFileCalls calls;
    const ScopedFileCalls scope{calls};
    std::unique_ptr<TraceEventStream> stream = Create();
    ASSERT_TRUE(AddChunk(*stream, 0, 7));

    const auto addEnds = [&](int first, int end) {
        for (int number = first; number < end; ++number)
        {
            ASSERT_TRUE(stream->AddEvent(MakeEvent(ETraceEventType::InstrumentationEnd, number), mResult));
        }
    };
    addEnds(7, 100006);
    EXPECT_EQ(stream->GetChunks().size(), 1u);
    EXPECT_EQ(stream->GetNumEvents(), 100006u);
    addEnds(100006, 100007);
    ASSERT_EQ(stream->GetChunks().size(), 2u);
    EXPECT_EQ(stream->GetChunks().back().Size, 100000u * 17);
    addEnds(100007, 200007);
    ASSERT_TRUE(stream->Flush(mResult));
    ASSERT_EQ(stream->GetChunks().size(), 3u);

    stream = Load();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->GetNumEvents(), 200007u);
    int next = 7;
    TraceEventStream::Iterator iterator = stream->GetIterator(7.0);
    iterator.ForEachRecord([&](const TraceEventRecord& record) { return record.GetTime() == next++; });
    EXPECT_EQ(next, 200007);
    EXPECT_TRUE(iterator.IsAtEnd());
}

TEST_F(TraceEventStreamTest, NothingIsWrittenTwice)
{
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    FailingFileCalls calls;
    const ScopedFileCalls scope{calls};
    EXPECT_TRUE(stream->Flush(mResult));
    EXPECT_EQ(calls.GetCount(), 0);
}

TEST_F(TraceEventStreamTest, ChunkIsOnTheDiskBeforeTheIndexNamesIt)
{
    struct LoggingCalls final : FileSystem::Internal::FileCalls
    {
        std::int64_t Write(int file, const void* source, std::size_t count, std::uint64_t offset) override
        {
            mCalls.push_back("write " + std::to_string(count) + " at " + std::to_string(offset));
            return FileCalls::Write(file, source, count, offset);
        }
        int Sync(int file) override
        {
            mCalls.push_back("sync");
            return FileCalls::Sync(file);
        }
        int Rename(const char* from, const char* to) override
        {
            mCalls.push_back("rename to " + FileSystem::gGetFileName(to));
            return FileCalls::Rename(from, to);
        }

        std::vector<std::string> mCalls;
    };
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    const std::uint64_t end = GetEnd(*stream);
    LoggingCalls calls;
    const ScopedFileCalls scope{calls};
    ASSERT_TRUE(AddChunk(*stream, 9, 10));
    EXPECT_THAT(calls.mCalls, ElementsAre("write 52 at " + std::to_string(end), "sync", ::testing::StartsWith("write"),
                                  "sync", "rename to events.index"));
}

TEST_F(TraceEventStreamTest, RecordingWithoutEventsReplacesAnEarlierOne)
{
    RecordSmall();
    EXPECT_TRUE(Create()->Flush(mResult));
    EXPECT_EQ(mFolder.Read("events.dat"), "");
    const std::unique_ptr<TraceEventStream> loaded = Load();
    ASSERT_NE(loaded, nullptr) << mResult.ToString();
    EXPECT_TRUE(loaded->GetIterator(0.0).IsAtEnd());
    EXPECT_EQ(loaded->GetIterator(0.0).Next().mType, ETraceEventType::None);
    EXPECT_EQ(loaded->GetIterator(0.0).Next().mTime, -1.0);
    EXPECT_EQ(loaded->GetNumEvents(), 0u);
}

TEST_F(TraceEventStreamTest, IteratorBeginsAtTheStartTime)
{
    const std::unique_ptr<TraceEventStream> stream = Create();
    for (const std::vector<double>& times :
        {std::vector<double>{10, 20, 30}, {30, 30, 40}, {50, 60}, {60}, {70, 80}, {90}})
    {
        for (const double time : times)
        {
            ASSERT_TRUE(stream->AddEvent(MakeEvent(ETraceEventType::Sample, time), mResult));
        }
        ASSERT_TRUE(stream->Flush(mResult));
    }

    const struct
    {
        double mStart;
        double mFirst;
        int mCount;
    } rows[] = {
        {-5, 10, 12},
        {0, 10, 12},
        {10, 10, 12},
        {11, 20, 11},
        {25, 30, 10},
        {30, 30, 10}, // the end of one chunk and the begin of the next
        {35, 40, 7},
        {45, 50, 6}, // between two chunks
        {60, 60, 5},
        {61, 70, 3},
        {75, 80, 2},
        {85, 90, 1},
        {90, 90, 1},
        {90.5, -1, 0},
        {1e300, -1, 0},
        {-std::numeric_limits<double>::infinity(), 10, 12},
        {std::numeric_limits<double>::infinity(), -1, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mStart);
        TraceEventStream::Iterator iterator = stream->GetIterator(row.mStart);
        EXPECT_EQ(iterator.IsAtEnd(), row.mCount == 0);
        double time = iterator.Next().mTime;
        EXPECT_EQ(time, row.mFirst);
        int count = 0;
        for (; time >= 0.0; ++count)
        {
            time = iterator.Next().mTime;
        }
        EXPECT_EQ(count, row.mCount);
        EXPECT_EQ(iterator.GetFailure(), "");
    }
}

TEST_F(TraceEventStreamTest, AllWaysOfReadingGoOnWhereTheOneBeforeStopped)
{
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    TraceEventStream::Iterator first = stream->GetIterator(0.0);
    EXPECT_EQ(GetNumber(first.Next()), 0);
    TraceEventStream::Iterator iterator = std::move(first);
    TraceEventView view;
    ASSERT_TRUE(iterator.NextView(view));
    EXPECT_EQ(GetNumber(view), 1);
    EXPECT_FALSE(iterator.IsAtEnd());

    Numbers visited;
    const auto visit = [&](const TraceEventRecord& record) {
        visited.push_back(GetNumber(record.GetView()));
        return record.GetTime() < 5.0;
    };
    iterator.ForEachRecord(visit);
    EXPECT_THAT(visited, ElementsAre(2, 3, 4, 5));

    // The last event of a chunk lives as long as any other.
    ASSERT_TRUE(iterator.NextView(view));
    EXPECT_EQ(GetNumber(view), 6);
    EXPECT_EQ(GetNumber(iterator.Next()), 7);
    EXPECT_EQ(GetNumber(iterator.Next()), 8);
    EXPECT_TRUE(iterator.IsAtEnd());
    EXPECT_FALSE(iterator.NextView(view));
    iterator.ForEachRecord([](const TraceEventRecord&) -> bool { throw std::logic_error{"there is none"}; });
}

TEST_F(TraceEventStreamTest, EventThatReadersWouldStopAtIsRefused)
{
    const std::unique_ptr<TraceEventStream> stream = Create();
    ASSERT_TRUE(stream->AddEvent(MakeNumbered(5), mResult));
    for (const TraceEvent& event : {MakeEvent(ETraceEventType::None, 6.0), MakeEvent(ETraceEventType::Sample, 4.9),
             MakeEvent(ETraceEventType::Sample, -1.0), MakeEvent(ETraceEventType::Sample, std::nan("")),
             MakeEvent(ETraceEventType::Sample, std::numeric_limits<double>::infinity())})
    {
        mResult.Clear();
        EXPECT_FALSE(stream->AddEvent(event, mResult));
        EXPECT_EQ(mResult.GetEntries().size(), 1u);
    }
    EXPECT_EQ(stream->GetNumEvents(), 1u);
    EXPECT_TRUE(AddChunk(*stream, 5, 7)) << "the same time is in order";
    EXPECT_THAT(ReadAll(*stream), ElementsAre(5, 5, 6));

    const std::unique_ptr<TraceEventStream> loaded = Load();
    ASSERT_NE(loaded, nullptr);
    EXPECT_FALSE(loaded->AddEvent(MakeNumbered(3), mResult)) << "earlier than what is stored";
}

TEST_F(TraceEventStreamTest, TruncatedFileKeepsWholeChunksAndTakesMore)
{
    FastFileCalls calls;
    const ScopedFileCalls scope{calls};
    const std::vector<TraceEventStream::Chunk> chunks = RecordSmall()->GetChunks();
    const Numbers chunkEnds = {0, 3, 7, 9};
    const std::string data = mFolder.Read("events.dat");
    const std::string index = mFolder.Read("events.index");

    for (std::size_t length = 0; length <= data.size() + 50; ++length)
    {
        SCOPED_TRACE(length);
        std::string truncated = data;
        truncated.resize(length, '\x07');
        Replace("events.dat", truncated);
        Replace("events.index", index);
        std::size_t numWhole = 0;
        std::uint64_t end = 0;
        while (numWhole < chunks.size() && end + chunks[numWhole].Size <= length)
        {
            end += chunks[numWhole++].Size;
        }
        const int numEvents = chunkEnds[numWhole];

        std::unique_ptr<TraceEventStream> stream = Load();
        ASSERT_NE(stream, nullptr) << mResult.ToString();
        EXPECT_EQ(stream->GetNumLostChunks(), chunks.size() - numWhole);
        EXPECT_EQ(stream->GetNumEvents(), static_cast<std::uint64_t>(numEvents));
        EXPECT_EQ(ReadAll(*stream), MakeRange(0, numEvents));
        EXPECT_EQ(mLog.Take().find("were dropped") != std::string::npos, numWhole < chunks.size());

        ASSERT_TRUE(AddChunk(*stream, 20, 22)) << mResult.ToString();
        stream = Load();
        ASSERT_NE(stream, nullptr) << mResult.ToString();
        Numbers expected = MakeRange(0, numEvents);
        expected.insert(expected.end(), {20, 21});
        EXPECT_EQ(ReadAll(*stream), expected);
        EXPECT_EQ(stream->GetNumLostChunks(), 0u);
        const std::string appended = mFolder.Read("events.dat");
        EXPECT_EQ(appended.substr(0, end), data.substr(0, end));
        EXPECT_EQ(appended.size(), GetEnd(*stream));
    }
}

TEST_F(TraceEventStreamTest, MissingOrForeignFileIsReported)
{
    RecordSmall();
    const std::string data = mFolder.Read("events.dat");
    const std::string dataPath = mFolder / "events.dat";
    const std::string indexPath = mFolder / "events.index";

    FileSystem::gDeleteFile(dataPath);
    EXPECT_EQ(Load(), nullptr);
    ASSERT_EQ(mResult.GetEntries().size(), 1u);
    EXPECT_EQ(
        mResult.GetEntries()[0], (Utility::Result::Entry{Serialization::FileNotFound, dataPath,
                                     "Unable to open events data file " + dataPath + ", the file does not exist"}));
    EXPECT_TRUE(mResult.GetContexts().empty());

    Replace("events.dat", data);
    FileSystem::gDeleteFile(indexPath);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(mResult.GetEntries().at(0).mCode, Serialization::FileNotFound);

    ASSERT_TRUE(mSession.Save(mResult)) << mResult.ToString();
    Replace("events.index", mFolder.Read("capture.session"));
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(mResult.GetEntries().at(0),
        (Utility::Result::Entry{Serialization::CorruptData, indexPath,
            "The file does not appear to be a TraceEventStream file (missing TraceEventStream object)"}));
}

TEST_F(TraceEventStreamTest, DamagedIndexIsRefused)
{
    RecordSmall();
    const std::string sound = mFolder.Read("events.index");
    Damage::gExpectEachRefused(mFolder / "events.index", [&] { return Load() == nullptr; });

    // Behind a good checksum.
    const std::uint64_t first = RecordSmall()->GetChunks()[0].Size;
    const auto number = [](double value) {
        return std::bit_cast<std::uint64_t>(value);
    };
    const struct
    {
        const char* mTitle;
        std::size_t mFromEnd;
        std::uint64_t mValue;
    } rows[] = {
        {"begins behind the start of the file", FromEnd(3, 24), 1},
        {"overlaps the one before", FromEnd(2, 24), first - 1},
        {"leaves a gap", FromEnd(2, 24), first + 1},
        {"lies where the one before does", FromEnd(2, 24), 0},
        {"is empty", FromEnd(1, 32), 0},
        {"is smaller than any event", FromEnd(1, 32), 16},
        {"has no end", FromEnd(1, 32), ~std::uint64_t{0}},
        {"ends before it starts", FromEnd(2, 16), number(2.5)},
        {"starts before the one in front ends", FromEnd(2, 8), number(1.5)},
        {"starts before time", FromEnd(3, 8), number(-1.0)},
        {"starts at no number", FromEnd(3, 8), number(std::nan(""))},
        {"never ends", FromEnd(1, 16), number(std::numeric_limits<double>::infinity())},
        {"fewer events than chunks", FromEnd(3, 0) + 24, 2},
        {"more events than bytes", FromEnd(3, 0) + 24, 1000000},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mTitle);
        Replace("events.index", sound);
        PatchIndex(row.mFromEnd, row.mValue);
        EXPECT_EQ(Load(), nullptr);
        ASSERT_EQ(mResult.GetEntries().size(), 1u);
        EXPECT_EQ(mResult.GetEntries()[0].mCode, Serialization::CorruptData);
        EXPECT_EQ(mResult.GetEntries()[0].mContext, mFolder / "events.index");
    }
    Replace("events.index", sound);
    PatchIndex(FromEnd(2, 8), number(3.0));
    EXPECT_NE(Load(), nullptr) << "the patch itself must do no harm";
}

TEST_F(TraceEventStreamTest, BadRecordEndsTheReadingThereOnly)
{
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    const std::string data = mFolder.Read("events.dat");
    const std::uint64_t offset = stream->GetChunks()[1].FileOffset + 41 + 7;
    const struct
    {
        std::size_t mOffset;
        char mValue;
        const char* mReason;
    } rows[] = {
        {0, 9, "no event has the type"},
        {8, '\xBF', "negative"},
        {25 + 7, 1, "runs past the end"},
    };
    for (const auto& row : rows)
    {
        std::string damaged = data;
        // The second event of the second chunk: the first has 41 bytes and the texts "event 3" and "xxx".
        damaged[offset + 3 + row.mOffset] = row.mValue;
        Replace("events.dat", damaged);
        EXPECT_EQ(ReadAll(*stream), MakeRange(0, 4));
        const std::string log = mLog.Take();
        EXPECT_THAT(log, HasSubstr(row.mReason));
        EXPECT_THAT(log, HasSubstr(stream->GetDataPath() + " stopped at offset " + std::to_string(offset + 3) + ": "));
        EXPECT_EQ(ReadAll(*stream, 7.0), MakeRange(7, 9));
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }
}

TEST_F(TraceEventStreamTest, FileThatGoesAwayUnderAReaderEndsTheReading)
{
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    const std::uint64_t cut = stream->GetChunks()[1].FileOffset + 10;
    TraceEventStream::Iterator iterator = stream->GetIterator(1.0);
    std::filesystem::resize_file(stream->GetDataPath(), cut);
    EXPECT_EQ(GetNumber(iterator.Next()), 1);
    EXPECT_EQ(GetNumber(iterator.Next()), 2);
    EXPECT_TRUE(iterator.IsAtEnd());
    EXPECT_EQ(iterator.Next().mType, ETraceEventType::None);
    EXPECT_THAT(iterator.GetFailure(), HasSubstr("offset " + std::to_string(cut) + ": the file ends inside a chunk"));
    EXPECT_THAT(mLog.Take(), HasSubstr(iterator.GetFailure()));

    EXPECT_FALSE(AddChunk(*stream, 9, 10)) << "what is gone cannot be written behind";
    EXPECT_THAT(mResult.ToString(), HasSubstr("has shrunk"));
    FileSystem::gDeleteFile(stream->GetDataPath());
    TraceEventStream::Iterator none = stream->GetIterator(0.0);
    EXPECT_TRUE(none.IsAtEnd());
    EXPECT_THAT(none.GetFailure(), HasSubstr("No such file"));
}

/// A chunk of many of the blocks that readers read: events of any length, also longer than a block.
class LongChunkTest : public TraceEventStreamTest
{
protected:
    LongChunkTest()
    {
        for (const std::size_t length : cLengths)
        {
            mOffsets.push_back(mSize);
            mSize += 41 + length;
            const double time = static_cast<double>(mOffsets.size() - 1);
            EXPECT_TRUE(mStream->AddEvent(MakeBegin(time, "", std::string(length, GetLetter(time))), mResult));
        }
        EXPECT_TRUE(mStream->Flush(mResult));
        EXPECT_EQ(GetEnd(*mStream), mSize);
    }

    static char GetLetter(double time) { return static_cast<char>('a' + static_cast<int>(time)); }

    /// The number of events that are left, each of which must be sound.
    static std::size_t Count(TraceEventStream::Iterator& iterator)
    {
        std::size_t count = 0;
        for (TraceEventView event; iterator.NextView(event); ++count)
        {
            const std::size_t length = cLengths[static_cast<std::size_t>(event.mTime)];
            EXPECT_TRUE(event.mContext == std::string(length, GetLetter(event.mTime))) << event.mTime;
        }
        return count;
    }

    static constexpr std::size_t cLengths[] = {0, 100000, 200000, 0, 1000000, 262144 - 41, 262144 - 40, 1, 300000,
        524288, 131072, 131072, 131072, 10, 900000, 0};

    std::vector<std::uint64_t> mOffsets;
    std::uint64_t mSize = 0;
    std::unique_ptr<TraceEventStream> mStream = Create();
};

TEST_F(LongChunkTest, BlocksDoNotShowInWhatIsRead)
{
    for (std::size_t start = 0; start < mOffsets.size(); ++start)
    {
        TraceEventStream::Iterator iterator = mStream->GetIterator(static_cast<double>(start));
        EXPECT_EQ(Count(iterator), mOffsets.size() - start);
        EXPECT_EQ(iterator.GetFailure(), "");
    }
}

TEST_F(LongChunkTest, FaultInTheMidstOfAChunkEndsTheReadingThere)
{
    const auto expectEnd = [&](TraceEventStream::Iterator& iterator, std::size_t numEvents, std::uint64_t offset,
                               const char* reason) {
        EXPECT_EQ(Count(iterator), numEvents);
        EXPECT_THAT(iterator.GetFailure(), HasSubstr("stopped at offset " + std::to_string(offset) + ": " + reason));
        EXPECT_THAT(mLog.Take(), HasSubstr(iterator.GetFailure()));
        EXPECT_TRUE(iterator.IsAtEnd());
    };
    const std::string sound = mFolder.Read("events.dat");
    const std::uint64_t longEvent = mOffsets[4];

    std::string damaged = sound;
    damaged[longEvent + 33 + 7] = 1;
    Replace("events.dat", damaged);
    TraceEventStream::Iterator behindDamage = mStream->GetIterator(3.0);
    expectEnd(behindDamage, 1, longEvent, "the event runs past the end of its chunk");

    Replace("events.dat", sound);
    TraceEventStream::Iterator failing = mStream->GetIterator(3.0);
    {
        FailingFileCalls calls;
        calls.FailAt(0, static_cast<int>(std::errc::io_error), true);
        const ScopedFileCalls scope{calls};
        expectEnd(failing, 1, longEvent, "Input/output error");
    }

    TraceEventStream::Iterator shrinking = mStream->GetIterator(3.0);
    std::filesystem::resize_file(mStream->GetDataPath(), longEvent + 500000);
    expectEnd(shrinking, 1, longEvent + 500000, "the file ends inside a chunk");
}

TEST_F(TraceEventStreamTest, EventsStayPendingUntilTheyCanBeWritten)
{
    FastFileCalls calls;
    const ScopedFileCalls scope{calls};
    const std::unique_ptr<TraceEventStream> stream = Create();
    const auto addEnds = [&](int first, int end) {
        bool isAdded = true;
        for (int number = first; number < end; ++number)
        {
            isAdded = stream->AddEvent(MakeEvent(ETraceEventType::InstrumentationEnd, number), mResult);
        }
        return isAdded;
    };
    ASSERT_TRUE(FileSystem::gCreateDirectory(stream->GetDataPath()));
    EXPECT_FALSE(addEnds(0, 100000));
    EXPECT_EQ(mResult.GetEntries().at(0).mMessage,
        "Unable to open event stream " + stream->GetDataPath() + ". Error: Is a directory");
    EXPECT_FALSE(addEnds(100000, 100001)) << "each call tries again";
    EXPECT_EQ(stream->GetNumEvents(), 100001u);
    EXPECT_THAT(stream->GetChunks(), IsEmpty());
    ASSERT_TRUE(FileSystem::gDeleteDirectoryTree(stream->GetDataPath()));
    EXPECT_TRUE(addEnds(100001, 100002));
    ASSERT_EQ(stream->GetChunks().size(), 1u);
    EXPECT_EQ(stream->GetChunks()[0].Size, 100002u * 17);

    // A chunk whose index fails is whole; the index is due with the next event.
    ASSERT_TRUE(FileSystem::gDeleteFile(stream->GetIndexPath()));
    ASSERT_TRUE(FileSystem::gCreateDirectory(stream->GetIndexPath()));
    EXPECT_TRUE(addEnds(100002, 100003));
    EXPECT_FALSE(stream->Flush(mResult));
    EXPECT_EQ(stream->GetChunks().size(), 2u);
    EXPECT_FALSE(addEnds(100003, 100004));
    ASSERT_TRUE(FileSystem::gDeleteDirectoryTree(stream->GetIndexPath()));
    EXPECT_TRUE(addEnds(100004, 100005));
    const std::unique_ptr<TraceEventStream> loaded = Load();
    ASSERT_NE(loaded, nullptr) << mResult.ToString();
    EXPECT_EQ(loaded->GetChunks(), stream->GetChunks());
    EXPECT_EQ(loaded->GetNumEvents(), 100003u);
    EXPECT_EQ(stream->GetNumEvents(), 100005u);
}

TEST_F(TraceEventStreamTest, FailedChunkLeavesTheDataFileAsItWas)
{
    FailingFileCalls calls;
    const ScopedFileCalls scope{calls};
    const std::unique_ptr<TraceEventStream> stream = RecordSmall();
    calls.SetTearsWrites(true);
    int operation = 0;
    for (; stream->GetChunks().size() == 3; ++operation)
    {
        calls.FailAt(operation, static_cast<int>(std::errc::io_error), false);
        static_cast<void>(AddChunk(*stream, 9 + operation, 10 + operation));
        calls.Heal();
        EXPECT_EQ(mFolder.Read("events.dat").size(), GetEnd(*stream)) << operation;
    }
    EXPECT_GE(operation, 5);
}

TEST_F(TraceEventStreamTest, WhateverFailsEveryAcknowledgedChunkIsWhole)
{
    // Events from 1000 on are an earlier recording's.
    const Numbers old = MakeRange(1000, 1020);
    const Numbers groups = {0, 3, 7, 9};
    for (const bool overOld : {false, true})
    {
        SCOPED_TRACE(overOld ? "over an earlier recording" : "into an empty folder");
        std::unique_ptr<TraceEventStream> stream;
        int acknowledged = 0;
        const auto prepare = [&] {
            stream.reset();
            FileSystem::gDeleteFile(mFolder / "events.dat");
            FileSystem::gDeleteFile(mFolder / "events.index");
            if (overOld)
            {
                const std::unique_ptr<TraceEventStream> earlier = Create();
                ASSERT_TRUE(AddChunk(*earlier, 1000, 1012) && AddChunk(*earlier, 1012, 1020));
            }
            stream = Create();
            acknowledged = 0;
        };
        const auto write = [&](Utility::Result& result) {
            bool isWritten = true;
            for (std::size_t i = 1; i < groups.size(); ++i)
            {
                mResult.Clear();
                if (AddChunk(*stream, groups[i - 1], groups[i]))
                {
                    acknowledged = groups[i];
                }
                else
                {
                    isWritten = false;
                    result.FailText(Serialization::Unspecified, mResult.ToString());
                }
            }
            return isWritten;
        };
        const auto check = [&](bool) {
            const Numbers own = ReadAll(*stream);
            EXPECT_EQ(own, MakeRange(0, static_cast<int>(own.size())));
            EXPECT_GE(static_cast<int>(own.size()), acknowledged);
            if (FileSystem::gFileExists(mFolder / "events.index"))
            {
                const std::unique_ptr<TraceEventStream> loaded = Load();
                ASSERT_NE(loaded, nullptr) << mResult.ToString();
                const Numbers numbers = ReadAll(*loaded);
                EXPECT_EQ(loaded->GetNumLostChunks(), 0u);
                EXPECT_EQ(loaded->GetNumEvents(), numbers.size());
                if (numbers != old || acknowledged != 0)
                {
                    EXPECT_EQ(numbers, MakeRange(0, static_cast<int>(numbers.size())));
                    EXPECT_GE(static_cast<int>(numbers.size()), acknowledged);
                }
            }
            else
            {
                EXPECT_EQ(acknowledged, 0);
            }

            mResult.Clear();
            EXPECT_TRUE(stream->Flush(mResult)) << mResult.ToString();
            EXPECT_EQ(stream->GetNumEvents(), 9u);
            const std::unique_ptr<TraceEventStream> loaded = Load();
            ASSERT_NE(loaded, nullptr) << mResult.ToString();
            EXPECT_EQ(ReadAll(*loaded), MakeRange(0, 9));
            EXPECT_EQ(mFolder.Read("events.dat").size(), GetEnd(*loaded));
        };
        EXPECT_GT(gTryOnFailingDisks({mFolder, {"events.dat", "events.index"}, prepare, write, check}), 20);
    }
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(TraceEventStreamTest, ReadersRunBesideTheWriter)
{
    FastFileCalls calls;
    calls.mReplacesAtOnce = true;
    const ScopedFileCalls scope{calls};
    const std::unique_ptr<TraceEventStream> stream = Create();
    ASSERT_TRUE(AddChunk(*stream, 0, 5));
    constexpr int cNumEvents = 1000;
    std::atomic<bool> isDone{false};
    const auto read = [&] {
        std::size_t numLast = 0;
        while (!isDone.load())
        {
            const Numbers numbers = ReadAll(*stream);
            EXPECT_EQ(numbers, MakeRange(0, static_cast<int>(numbers.size())));
            EXPECT_GE(numbers.size(), numLast);
            EXPECT_GE(stream->GetNumEvents(), numbers.size());
            numLast = numbers.size();
        }
    };
    const auto open = [&] {
        while (!isDone.load())
        {
            Session session{GetSessionPath(), nullptr, nullptr, nullptr};
            Utility::Result result;
            const std::unique_ptr<TraceEventStream> loaded = TraceEventStream::sLoad(session, mRegistry, result);
            ASSERT_NE(loaded, nullptr) << result.ToString();
            EXPECT_EQ(ReadAll(*loaded).size(), loaded->GetNumEvents());
        }
    };
    std::thread reader{read};
    std::thread opener{open};
    for (int number = 5; number < cNumEvents; number += 5)
    {
        EXPECT_TRUE(AddChunk(*stream, number, number + 5)) << mResult.ToString();
    }
    isDone = true;
    reader.join();
    opener.join();
    EXPECT_EQ(ReadAll(*stream), MakeRange(0, cNumEvents));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}
}
}
