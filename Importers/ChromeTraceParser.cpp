#include "Importers/ChromeTraceParser.h"

#include "Importers/EventKey.h"
#include "Importers/PlainEventReader.h"

#include <optional>

namespace Importers
{
ChromeTraceParser::ChromeTraceParser(BatchSource& source) : mSource(source), mScanner(*this) {}

bool ChromeTraceParser::Parse()
{
    // The one fault that does not end the reading is noted where it is found.
    if (!ParseDocument())
    {
        NoteScannerFault();
    }
    if (mEvent != nullptr)
    {
        mBatch->RemoveLastEvent();
    }
    if (mBatch != nullptr)
    {
        mSource.Send(*mBatch);
    }
    return mHasEvents;
}

/// The event that is being read moves on to the next batch, with texts of its own, for what it had of the window goes.
std::span<const char> ChromeTraceParser::NextWindow()
{
    EventBatch& next = mSource.Receive();
    if (mEvent != nullptr)
    {
        ChromeEvent& event = next.AddEvent();
        event = *mEvent;
        event.ForEachText([&next](std::string_view& text) { text = next.Keep(text); });
        mBatch->RemoveLastEvent();
        mEvent = &event;
    }
    if (mBatch != nullptr)
    {
        mSource.Send(*mBatch);
    }
    mBatch = &next;
    const std::span<const char> window = next.GetWindow();
    mTextSize += window.size();
    return window;
}

bool ChromeTraceParser::ParseDocument()
{
    SkipByteOrderMark();
    switch (mScanner.Peek())
    {
    case -1:
        return mScanner.FailAtEnd();
    case '[':
        if (!ParseEvents())
        {
            return false;
        }
        break;
    case '{':
        if (!ParseObject())
        {
            return false;
        }
        break;
    default:
        return mScanner.Fail("neither an object nor an array begins here");
    }
    if (!mHasEvents)
    {
        return mScanner.Fail("the object has no member \"traceEvents\"");
    }
    return mScanner.Peek() < 0 || mScanner.Fail("there is text behind the end of the trace");
}

void ChromeTraceParser::SkipByteOrderMark()
{
    for (const int byte : {0xEF, 0xBB, 0xBF})
    {
        if (mScanner.Peek() != byte)
        {
            return;
        }
        mScanner.Take();
    }
}

bool ChromeTraceParser::ParseObject()
{
    mScanner.Take();
    bool isEnd = mScanner.Peek() == '}';
    if (isEnd)
    {
        mScanner.Take();
    }
    while (!isEnd)
    {
        if (!ParseMember() || !TakeSeparator('}', isEnd))
        {
            return false;
        }
    }
    return true;
}

bool ChromeTraceParser::ParseMember()
{
    JsonToken key;
    if (!mScanner.ReadString(key))
    {
        return false;
    }
    const bool isEvents = key.mText == "traceEvents";
    if (!mScanner.TakeColon())
    {
        return false;
    }
    if (!isEvents)
    {
        return mScanner.SkipValue();
    }
    if (mScanner.Peek() != '[')
    {
        return mScanner.Peek() < 0 ? mScanner.FailAtEnd() : mScanner.Fail("\"traceEvents\" is not an array");
    }
    return ParseEvents();
}

bool ChromeTraceParser::ParseEvents()
{
    mHasEvents = true;
    mPlace = EPlace::BetweenEvents;
    mScanner.Take();
    bool isEnd = mScanner.Peek() == ']';
    if (isEnd)
    {
        mScanner.Take();
    }
    while (!isEnd)
    {
        if (!ParseEntry() || !TakeSeparator(']', isEnd))
        {
            return false;
        }
    }
    mPlace = EPlace::Outside;
    return true;
}

bool ChromeTraceParser::TakeSeparator(char end, bool& isEnd)
{
    const int next = mScanner.Peek();
    if (next != ',' && next != end)
    {
        return next < 0 ? mScanner.FailAtEnd()
                        : mScanner.Fail(end == '}' ? "',' or '}' is expected" : "',' or ']' is expected");
    }
    const std::uint64_t offset = mScanner.GetOffset();
    mScanner.Take();
    isEnd = next == end;
    if (!isEnd && mScanner.Peek() == end)
    {
        if (mFaults.size() < sMostFaults)
        {
            mFaults.push_back({std::string("a comma stands in front of the closing '") + end + "'", offset, false});
        }
        mScanner.Take();
        isEnd = true;
    }
    return true;
}

bool ChromeTraceParser::ParseEntry()
{
    const int first = mScanner.Peek();
    if (first < 0)
    {
        return mScanner.FailAtEnd();
    }
    mEventOffset = mScanner.GetOffset();
    mPlace = EPlace::InEvent;
    if (first != '{')
    {
        if (!mScanner.SkipValue())
        {
            return false;
        }
        mBatch->AddEvent().mIsObject = false;
    }
    else if (!ParseEvent())
    {
        return false;
    }
    mPlace = EPlace::BetweenEvents;
    return true;
}

bool ChromeTraceParser::ParseEvent()
{
    mEvent = &mBatch->AddEvent();
    if (const char* const end = PlainEventReader::sRead(mScanner.GetCursor(), *mBatch, *mEvent); end != nullptr)
    {
        mScanner.MoveTo(end);
        mEvent = nullptr;
        return true;
    }
    mEvent->Clear();
    mEvent->mHasRareMembers = true;
    mContext.Clear();
    if (!ParseEventMembers())
    {
        return false;
    }
    mEvent->mContext = mBatch->Keep(mContext.Finish());
    mEvent->mMetadataName = {mBatch->Keep(mContext.GetName()), false};
    mEvent->mHasAverage = mContext.HasAverage();
    mEvent = nullptr;
    return true;
}

bool ChromeTraceParser::ParseEventMembers()
{
    mScanner.Take();
    if (mScanner.Peek() == '}')
    {
        mScanner.Take();
        return true;
    }
    while (ParseEventMember())
    {
        const int next = mScanner.Peek();
        if (next == '}')
        {
            mScanner.Take();
            return true;
        }
        if (next != ',')
        {
            return next < 0 ? mScanner.FailAtEnd() : mScanner.Fail("',' or '}' is expected");
        }
        mScanner.Take();
    }
    return false;
}

bool ChromeTraceParser::ParseEventMember()
{
    JsonToken token;
    if (!mScanner.ReadString(token))
    {
        return false;
    }
    const EEventKey key = gFindEventKey(token.mText);
    if (!mScanner.TakeColon())
    {
        return false;
    }
    switch (key)
    {
    case EEventKey::Phase:
        return ParsePhase();
    case EEventKey::Name:
        return ParseText(&ChromeEvent::mName);
    case EEventKey::Category:
        return ParseText(&ChromeEvent::mCategory);
    case EEventKey::Time:
        return ParseTime(&ChromeEvent::mTime);
    case EEventKey::Duration:
        return ParseTime(&ChromeEvent::mDuration);
    case EEventKey::Process:
        return ParseID(&ChromeEvent::mProcess);
    case EEventKey::Thread:
        return ParseID(&ChromeEvent::mThread);
    case EEventKey::ID:
        return ParseID(&ChromeEvent::mID);
    case EEventKey::SplitID:
        return ParseSplitID();
    case EEventKey::Arguments:
        return gNeedsArguments(mEvent->mPhase) ? mContext.Read(mScanner) : mScanner.SkipValue();
    case EEventKey::Other:
        break;
    }
    return mScanner.SkipValue();
}

bool ChromeTraceParser::ParsePhase()
{
    mEvent->mPhase = 0;
    mEvent->mLongPhase = {};
    if (mScanner.Peek() != '"')
    {
        return mScanner.SkipValue();
    }
    JsonToken token;
    if (!mScanner.ReadString(token))
    {
        return false;
    }
    if (token.mText.size() == 1)
    {
        mEvent->mPhase = token.mText.front();
    }
    else
    {
        mEvent->mLongPhase = Keep(token);
    }
    return true;
}

/// The text stays until the window goes.
std::string_view ChromeTraceParser::Keep(const JsonToken& token)
{
    return token.mIsInWindow ? token.mText : mBatch->Keep(token.mText);
}

/// A number counts as its spelling. Anything else is passed over, and is no text.
bool ChromeTraceParser::ReadStringOrNumber(std::optional<EventText>& text)
{
    text.reset();
    const int first = mScanner.Peek();
    const bool isString = first == '"';
    if (!isString && first != '-' && (first < '0' || first > '9'))
    {
        return mScanner.SkipValue();
    }
    JsonToken token;
    if (!(isString ? mScanner.ReadString(token) : mScanner.ReadNumber(token)))
    {
        return false;
    }
    text = {Keep(token), token.mIsNonAscii};
    return true;
}

bool ChromeTraceParser::ParseText(EventText ChromeEvent::*member)
{
    std::optional<EventText> text;
    if (!ReadStringOrNumber(text))
    {
        return false;
    }
    mEvent->*member = text.value_or(EventText());
    return true;
}

bool ChromeTraceParser::ParseID(TraceIDView ChromeEvent::*member)
{
    std::optional<EventText> text;
    if (!ReadStringOrNumber(text))
    {
        return false;
    }
    TraceIDView& id = mEvent->*member;
    id = {};
    if (text)
    {
        id.Assign(text->mText);
    }
    return true;
}

bool ChromeTraceParser::ParseTime(EventTime ChromeEvent::*member)
{
    mEvent->*member = {false, EDecimal::NotANumber, {}};
    JsonToken token;
    switch (mScanner.Peek())
    {
    case '"':
        if (!mScanner.ReadString(token))
        {
            return false;
        }
        break;
    case 'n':
        (mEvent->*member).mIsMissing = true;
        return mScanner.SkipValue();
    case 't':
    case 'f':
    case '[':
    case '{':
        return mScanner.SkipValue();
    default:
        if (!mScanner.ReadNumber(token))
        {
            return false;
        }
        break;
    }
    if (!token.mIsCut)
    {
        EventTime& time = mEvent->*member;
        time.mState = gParseDecimalMicroseconds(token.mText, time.mTime);
    }
    return true;
}

bool ChromeTraceParser::ParseSplitID()
{
    if (mScanner.Peek() != '{')
    {
        return mScanner.SkipValue();
    }
    mScanner.Take();
    bool isEnd = mScanner.Peek() == '}';
    if (isEnd)
    {
        mScanner.Take();
    }
    while (!isEnd)
    {
        JsonToken key;
        if (!mScanner.ReadString(key))
        {
            return false;
        }
        TraceIDView ChromeEvent::*const member = key.mText == "local"    ? &ChromeEvent::mLocalID
                                                 : key.mText == "global" ? &ChromeEvent::mGlobalID
                                                                         : nullptr;
        if (!mScanner.TakeColon() || !(member != nullptr ? ParseID(member) : mScanner.SkipValue()) ||
            !TakeSeparator('}', isEnd))
        {
            return false;
        }
    }
    return true;
}

void ChromeTraceParser::NoteScannerFault()
{
    if (!mHasEvents)
    {
        mFaults.clear();
    }
    const bool isEnd = mScanner.IsAtEnd();
    mFaults.push_back({isEnd ? DescribeEnd() : mScanner.GetFault(), mScanner.GetFaultOffset(), isEnd});
}

std::string ChromeTraceParser::DescribeEnd() const
{
    if (!mHasEvents)
    {
        return mTextSize == 0 ? "the file is empty" : "the file ends before any event";
    }
    switch (mPlace)
    {
    case EPlace::InEvent:
        return "the file ends within the event that begins at byte " + std::to_string(mEventOffset);
    case EPlace::BetweenEvents:
        return "the file ends without the ']' behind the events";
    case EPlace::Outside:
        break;
    }
    return "the file ends within the object that holds the events";
}
}
