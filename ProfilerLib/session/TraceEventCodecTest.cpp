#include "ProfilerLib/session/TraceEventCodec.h"

#include "ProfilerLib/session/SessionFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace Profiler
{
namespace
{
struct Row
{
    const char* mTitle;
    TraceEvent mEvent;
    const char* mBytes; ///< hexadecimal, written by hand
};

/// At 1.5 ms (3F F8 00 ...), process 0x01020304, thread -2.
TraceEvent MakeRowEvent(ETraceEventType type)
{
    return MakeEvent(type, 1.5, -2, 0x01020304);
}

std::vector<Row> GetRows()
{
    std::vector<Row> rows;
    const auto add = [&](const char* title, ETraceEventType type, const char* payload) -> TraceEvent& {
        rows.push_back({title, MakeRowEvent(type), payload});
        return rows.back().mEvent;
    };
    add("Sample", ETraceEventType::Sample, "00 000000000000f83f 04030201 feffffff  8877665544332211").mValue =
        0x1122334455667788;
    add("Reserved1", ETraceEventType::Reserved1, "01 000000000000f83f 04030201 feffffff  ab").mByte = 0xAB;
    add("Reserved2", ETraceEventType::Reserved2, "02 000000000000f83f 04030201 feffffff  ffffffffffffffff").mValue =
        ~std::uint64_t{0};
    TraceEvent& reserved3 = add("Reserved3", ETraceEventType::Reserved3,
        "03 000000000000f83f 04030201 feffffff  0100000000000000 02000000 030000f0");
    reserved3.mValue = 1;
    reserved3.mFirst = 2;
    reserved3.mSecond = 0xF0000003;
    TraceEvent& start =
        add("ThreadStart", ETraceEventType::ThreadStart, "04 000000000000f83f 04030201 feffffff  01 00100040f77f0000");
    start.mExistedBefore = 1;
    start.mStartAddress = 0x7FF740001000;
    add("ThreadEnd", ETraceEventType::ThreadEnd, "05 000000000000f83f 04030201 feffffff  01").mOutlivedCapture = 1;
    add("ThreadName", ETraceEventType::ThreadName, "06 000000000000f83f 04030201 feffffff  0200000000000000 696f")
        .mName = "io";
    add("ThreadName, empty", ETraceEventType::ThreadName, "06 000000000000f83f 04030201 feffffff  0000000000000000");
    TraceEvent& begin = add("InstrumentationBegin", ETraceEventType::InstrumentationBegin,
        "07 000000000000f83f 04030201 feffffff  0df0ad0b00000000 0400000000000000 4c6f6164 0300000000000000 610062");
    begin.mID = 0x0BADF00D;
    begin.mName = "Load";
    begin.mContext = std::string{"a\0b", 3};
    add("InstrumentationBegin, empty", ETraceEventType::InstrumentationBegin,
        "07 000000000000f83f 04030201 feffffff  0000000000000000 0000000000000000 0000000000000000");
    add("InstrumentationEnd", ETraceEventType::InstrumentationEnd, "08 000000000000f83f 04030201 feffffff");
    return rows;
}

std::vector<std::byte> FromHex(std::string text)
{
    std::erase(text, ' ');
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
    {
        bytes.push_back(static_cast<std::byte>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

void ExpectEqual(const TraceEventView& actual, const TraceEvent& expected)
{
    EXPECT_EQ(actual.mType, expected.mType);
    EXPECT_EQ(actual.mTime, expected.mTime);
    EXPECT_EQ(actual.mProcessID, expected.mProcessID);
    EXPECT_EQ(actual.mThreadID, expected.mThreadID);
    EXPECT_EQ(actual.mByte, expected.mByte);
    EXPECT_EQ(actual.mValue, expected.mValue);
    EXPECT_EQ(actual.mFirst, expected.mFirst);
    EXPECT_EQ(actual.mSecond, expected.mSecond);
    EXPECT_EQ(actual.mName, expected.mName);
    EXPECT_EQ(actual.mContext, expected.mContext);
}

/// The bytes in memory of exactly their size, so that the address sanitizer sees every step beyond them.
struct ExactBytes
{
    explicit ExactBytes(std::span<const std::byte> bytes)
        : mBytes{std::make_unique_for_overwrite<std::byte[]>(bytes.size())},
          mSize{bytes.size()}
    {
        std::copy(bytes.begin(), bytes.end(), mBytes.get());
    }
    TraceEventDecoder GetDecoder() const { return TraceEventDecoder{{mBytes.get(), mSize}}; }

    std::unique_ptr<std::byte[]> mBytes;
    std::size_t mSize;
};

TEST(TraceEventCodecTest, RecordsHaveTheBytesOfTheFormatAndComeBack)
{
    for (const Row& row : GetRows())
    {
        SCOPED_TRACE(row.mTitle);
        const std::vector<std::byte> expected = FromHex(row.mBytes);
        Utility::OutputMemoryStream stream;
        gEncodeTraceEvent(row.mEvent, stream);
        EXPECT_THAT(stream.GetData(), ::testing::ElementsAreArray(expected));

        const ExactBytes bytes{expected};
        TraceEventDecoder decoder = bytes.GetDecoder();
        TraceEventRecord record;
        ASSERT_TRUE(decoder.Step(record));
        EXPECT_EQ(decoder.GetOffset(), expected.size());
        ExpectEqual(record.GetView(), row.mEvent);
        EXPECT_FALSE(decoder.Step(record));
        EXPECT_EQ(decoder.GetStop(), EDecodeStop::End);
    }
}

TEST(TraceEventCodecTest, RecordCutAnywhereEndsTheReadingInFrontOfIt)
{
    for (const Row& row : GetRows())
    {
        const std::vector<std::byte> whole = FromHex(row.mBytes);
        std::vector<std::byte> both = whole;
        both.insert(both.end(), whole.begin(), whole.end());
        for (std::size_t length = whole.size() + 1; length < both.size(); ++length)
        {
            SCOPED_TRACE(::testing::Message() << row.mTitle << " cut at " << length);
            const ExactBytes bytes{std::span{both}.first(length)};
            TraceEventDecoder decoder = bytes.GetDecoder();
            TraceEventRecord record;
            ASSERT_TRUE(decoder.Step(record));
            EXPECT_FALSE(decoder.Step(record));
            EXPECT_EQ(decoder.GetStop(), EDecodeStop::PastEnd);
            EXPECT_EQ(decoder.GetOffset(), whole.size());
        }
    }
}

TEST(TraceEventCodecTest, BadRecordEndsTheReading)
{
    const struct
    {
        const char* mBytes;
        EDecodeStop mStop;
    } rows[] = {
        {"09 000000000000f83f 04030201 feffffff 0000000000000000", EDecodeStop::UnknownType},
        {"ff", EDecodeStop::UnknownType},
        {"08 000000000000f0bf 04030201 feffffff", EDecodeStop::BadTime}, // -1.0
        {"08 000000000000f87f 04030201 feffffff", EDecodeStop::BadTime}, // no number
        {"08 000000000000f07f 04030201 feffffff", EDecodeStop::BadTime}, // infinite
        {"06 000000000000f83f 04030201 feffffff ffffffffffffffff 61", EDecodeStop::PastEnd},
        {"07 000000000000f83f 04030201 feffffff 0000000000000000 f8ffffffffffffff 0000000000000000",
            EDecodeStop::PastEnd},
        {"07 000000000000f83f 04030201 feffffff 0000000000000000 0100000000000000 61 ffffffffffffffff",
            EDecodeStop::PastEnd},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mBytes);
        const ExactBytes bytes{FromHex(row.mBytes)};
        TraceEventDecoder decoder = bytes.GetDecoder();
        TraceEventRecord record;
        EXPECT_FALSE(decoder.Step(record));
        EXPECT_FALSE(decoder.Step(record));
        EXPECT_EQ(decoder.GetStop(), row.mStop);
        EXPECT_EQ(decoder.GetOffset(), 0u);
        EXPECT_STRNE(gGetText(row.mStop), "");
    }
}

TEST(TraceEventCodecTest, ArbitraryBytesNeverLeadOutsideThem)
{
    Utility::OutputMemoryStream stream;
    for (const Row& row : GetRows())
    {
        gEncodeTraceEvent(row.mEvent, stream);
    }
    std::mt19937 random{4};
    for (int round = 0; round < 20000; ++round)
    {
        ExactBytes bytes{stream.GetData()};
        for (std::uint32_t changes = random() % 4; changes != ~0u; --changes)
        {
            bytes.mBytes[random() % bytes.mSize] = static_cast<std::byte>(random());
        }
        TraceEventDecoder decoder = bytes.GetDecoder();
        TraceEventRecord record;
        std::size_t numTextBytes = 0;
        while (decoder.Step(record))
        {
            const TraceEventView view = record.GetView();
            const TraceEvent copy{view};
            numTextBytes += copy.mName.size() + copy.mContext.size();
        }
        ASSERT_LE(decoder.GetOffset(), bytes.mSize);
        ASSERT_LE(numTextBytes, bytes.mSize);
    }
}
}
}
