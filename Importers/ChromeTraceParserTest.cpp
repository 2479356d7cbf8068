#include "Importers/ChromeTraceParser.h"
#include "Importers/JsonTestSupport.h"
#include "Importers/TraceWindow.h"
#include "Importers/Utf8.h"
#include "Importers/WindowParser.h"

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace Importers
{
namespace
{
std::string MakeValid(std::string_view text)
{
    std::string valid;
    gAppendValidUtf8(valid, text);
    return "'" + valid + "'";
}

std::string Describe(const TraceIDView& id)
{
    return id.mKind == TraceID::EKind::Missing  ? "-"
           : id.mKind == TraceID::EKind::Number ? std::to_string(id.mNumber)
                                                : MakeValid(id.mText);
}

std::string Describe(const EventTime& time)
{
    if (time.mIsMissing || time.mState != EDecimal::Valid)
    {
        return time.mIsMissing ? "-" : "bad" + std::to_string(static_cast<int>(time.mState));
    }
    return std::to_string(time.mTime.mNanoseconds) + "+" + std::to_string(time.mTime.mFraction);
}

std::string Describe(const ChromeEvent& event)
{
    std::string text = event.mIsObject ? "event" : "other";
    for (const std::string& part : {std::to_string(event.mPhase), MakeValid(event.mLongPhase),
             MakeValid(event.mName.mText), MakeValid(event.mCategory.mText), Describe(event.mTime),
             Describe(event.mDuration), Describe(event.mProcess), Describe(event.mThread), Describe(event.mID),
             Describe(event.mLocalID), Describe(event.mGlobalID), MakeValid(event.mContext),
             MakeValid(event.mMetadataName.mText), std::string(event.mHasAverage ? "avg" : "")})
    {
        text += " " + part;
    }
    return text + "\n";
}

/// Says what it takes.
class Notes final : public EntryTarget
{
public:
    void OnEntry(const ChromeEvent& event) override { mText += Describe(event); }

    std::string mText;
};

/// A text in windows of one size or, where entries are read ahead, up to the next bracket: that may begin one.
class Windows final : public TraceSource
{
public:
    std::string Parse(std::string_view text, std::size_t size, bool readsAhead = false)
    {
        mText = text;
        mSize = size;
        mReadsAhead = readsAhead;
        mNotes.mText.clear();
        ChromeTraceParser parser(*this, mNotes);
        const bool isTrace = parser.Parse();
        std::string result = mNotes.mText + (isTrace ? "trace" : "no trace");
        for (const TextFault& fault : parser.GetFaults())
        {
            result += "\n" + std::to_string(fault.mOffset) + " " + fault.mReason;
        }
        return result;
    }

    std::size_t GetNumTaken() const { return mNumTaken; }

private:
    TraceWindow& Receive() override
    {
        const std::size_t end = mReadsAhead ? std::min(mText.find('{', mSize), mText.size()) : mSize;
        const std::string_view piece = mText.substr(0, end);
        mText.remove_prefix(piece.size());
        std::copy(piece.begin(), piece.end(), mWindow.GetBuffer().begin());
        mWindow.SetTextSize(piece.size());
        mAhead.mText.clear();
        mWindow.mEndOfEntries = mReadsAhead ? mParser.Read(mWindow.GetText(), mAhead) : nullptr;
        return mWindow;
    }
    void Take(TraceWindow&) override
    {
        mNotes.mText += mAhead.mText;
        ++mNumTaken;
    }

    std::string_view mText;
    std::size_t mSize = 0;
    bool mReadsAhead = false;
    Notes mNotes;
    TraceWindow mWindow;
    WindowParser mParser;
    Notes mAhead;
    std::size_t mNumTaken = 0;
};

const std::string sTraces[] = {
    R"([{"pid":25327,"tid":7,"ph":"X","ts":1234567890123.5,"dur":57,"name":"ParseClass","args":{"detail":"std::a<b>"}}])",
    R"([{"args":{"data":{"url":"https:\/\/a\u00e9","n":[1, -2.5e3 ,{}],"b":true},"detail":"x\ty","z":null},"cat":"c,d",)"
    R"("dur":"3.25","name":"F\u20ac\n","ph":"X","pid":"12","tdur":3,"tid":-4,"ts":"17","tts":1},7,{"ph":"instant"}])",
    R"({"a":[{}],"traceEvents":[ { "name" : "s" , "ph" : "b" , "id" : "0x1" , "ts" : 12.3456 , "cat" : "k" } ,)"
    R"({"ph":"e","id2":{"local":"7","global":8},"ts":1e3,"name":5,"pid":null,"tid":1.5},{"ph":"C","args":{"v":1}}]})",
    "[{\"ph\":\"M\",\"name\":\"thread_name\",\"args\":{\"name\":\"T\xC3\xBC \xFF\",\"avg ms\":1}},{\"ph\":\"X\","
    "\"args\":{\"detail\":{\"a\":\"\xE2\x82\"}, \"k\" : \"\\ud83d\\ude00\"},\"ts\":0.0005,\"dur\":0,\"sf\":[[]]}]",
    R"([{"ts":9000000000000000000,"ts":1,"dur":01.5},{"ph":"X","ph":"","args":[1,"t"],"args":{"detail":"a"}}])",
};

/// An event that a window cuts is read by the scanner, the same event in one piece by the reader of plain events, and
/// perhaps before its turn: all that may be told of it is the same, faults and where they lie too.
TEST(ChromeTraceParser, WindowsDoNotMatter)
{
    constexpr std::string_view characters = "{}[]\",:0123456789eE+-.\\/un tfalsr\n\x7F\x80\xC3";

    Windows windows;
    std::mt19937_64 random(11);
    std::size_t numTraces = 0;
    for (int i = 0; i < 20'000; ++i)
    {
        std::string text = sTraces[random() % std::size(sTraces)];
        gChangeAtRandom(text, random() % 3, characters, random);
        const std::string whole = windows.Parse(text, text.size());
        ASSERT_EQ(windows.Parse(text, 1 + random() % text.size()), whole) << text;
        ASSERT_EQ(windows.Parse(text, 1 + random() % 4), whole) << text;
        ASSERT_EQ(windows.Parse(text, 1 + random() % text.size(), true), whole) << text;
        numTraces += whole.ends_with("\ntrace") ? 1 : 0;
    }
    EXPECT_GT(numTraces, 5'000u) << "most changes leave a trace";
    EXPECT_GT(windows.GetNumTaken(), 1'000u) << "many entries are read ahead";
}

TEST(ChromeTraceParser, ContextsUpToTheLimitAreTheSame)
{
    Windows windows;
    for (const std::string_view head : {R"({"detail":")", R"({"k":")", R"({"k":1,"detail":")", R"({"k":[")"})
    {
        for (std::size_t length = 4'070; length < 4'120; ++length)
        {
            for (const std::string_view unit : {"x", "\xC3\xA9"})
            {
                std::string text = R"([{"ph":"X","ts":1,"dur":1,"args":)" + std::string(head);
                for (std::size_t i = 0; i < length; i += unit.size())
                {
                    text += unit;
                }
                text += head.ends_with("[\"") ? "\"]}}]" : "\"}}]";
                ASSERT_EQ(windows.Parse(text, 1'000), windows.Parse(text, text.size())) << head << length;
            }
        }
    }
}
}
}
