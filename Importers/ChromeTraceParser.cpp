#include "Importers/ChromeTraceParser.h"

#include <string_view>
#include <utility>

namespace Importers
{
enum class ChromeTraceParser::EKey : std::uint8_t
{
    Other,
    Phase,
    Name,
    Category,
    Time,
    Duration,
    Process,
    Thread,
    ID,
    SplitID,
    Arguments,
};

ChromeTraceParser::ChromeTraceParser(WindowSource& source, ChromeEventHandler& handler)
    : mSource(source),
      mHandler(handler),
      mScanner(*this)
{}

bool ChromeTraceParser::Parse()
{
    // The one fault that does not end the reading is noted where it is found.
    if (!ParseDocument())
    {
        NoteScannerFault();
    }
    return mHasEvents;
}

std::span<const char> ChromeTraceParser::NextWindow()
{
    mEvent.mName.Own();
    mEvent.mCategory.Own();
    const std::span<const char> window = mSource.NextWindow();
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
        mHandler.OnOtherValue();
    }
    else
    {
        mEvent.Clear();
        if (!ParseEvent())
        {
            return false;
        }
        mHandler.OnEvent(mEvent);
    }
    mPlace = EPlace::BetweenEvents;
    return true;
}

bool ChromeTraceParser::ParseEvent()
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
    const EKey key = sFindKey(token.mText);
    if (!mScanner.TakeColon())
    {
        return false;
    }
    switch (key)
    {
    case EKey::Phase:
        return ParsePhase();
    case EKey::Name:
        return ParseText(mEvent.mName);
    case EKey::Category:
        return ParseText(mEvent.mCategory);
    case EKey::Time:
        return ParseTime(mEvent.mTime);
    case EKey::Duration:
        return ParseTime(mEvent.mDuration);
    case EKey::Process:
        return gReadTraceID(mScanner, mEvent.mProcess);
    case EKey::Thread:
        return gReadTraceID(mScanner, mEvent.mThread);
    case EKey::ID:
        return gReadTraceID(mScanner, mEvent.mID);
    case EKey::SplitID:
        return ParseSplitID();
    case EKey::Arguments:
        // No text is made for an event that is known to be left out.
        return mEvent.mPhase == 0 || mEvent.mPhase == gMetadataPhase || gIsIntervalPhase(mEvent.mPhase)
                   ? mEvent.mContext.Read(mScanner)
                   : mScanner.SkipValue();
    case EKey::Other:
        break;
    }
    return mScanner.SkipValue();
}

ChromeTraceParser::EKey ChromeTraceParser::sFindKey(std::string_view text)
{
    switch (text.size())
    {
    case 2:
        return text == "ts" ? EKey::Time : text == "ph" ? EKey::Phase : text == "id" ? EKey::ID : EKey::Other;
    case 3:
        return text == "pid"   ? EKey::Process
               : text == "tid" ? EKey::Thread
               : text == "dur" ? EKey::Duration
               : text == "cat" ? EKey::Category
               : text == "id2" ? EKey::SplitID
                               : EKey::Other;
    case 4:
        return text == "name" ? EKey::Name : text == "args" ? EKey::Arguments : EKey::Other;
    default:
        return EKey::Other;
    }
}

bool ChromeTraceParser::ParsePhase()
{
    mEvent.mPhase = 0;
    mEvent.mLongPhase.clear();
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
        mEvent.mPhase = token.mText.front();
    }
    else
    {
        mEvent.mLongPhase.assign(token.mText);
    }
    return true;
}

/// A number counts as its spelling. Anything else is no text.
bool ChromeTraceParser::ParseText(FieldText& text)
{
    text.Clear();
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
    text.Set(token);
    return true;
}

bool ChromeTraceParser::ParseTime(FieldTime& time)
{
    time.mIsMissing = false;
    time.mState = EDecimal::NotANumber;
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
        time.mIsMissing = true;
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
        TraceID* const target = key.mText == "local"    ? &mEvent.mLocalID
                                : key.mText == "global" ? &mEvent.mGlobalID
                                                        : nullptr;
        if (!mScanner.TakeColon() || !(target != nullptr ? gReadTraceID(mScanner, *target) : mScanner.SkipValue()) ||
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
