#include "Importers/ChromeTraceParser.h"

#include "Importers/TraceWindow.h"

namespace Importers
{
ChromeTraceParser::ChromeTraceParser(TraceSource& source, EntryTarget& target)
    : mSource(source),
      mTarget(target),
      mScanner(*this),
      mEvents(mScanner, mRoom)
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
    if (mPlace == EPlace::InEvent)
    {
        mEvents.KeepTexts();
    }
    mWindow = &mSource.Receive();
    mHasText = mHasText || !mWindow->GetText().empty();
    return mWindow->GetText();
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
        if (!ParseMember() || !mEvents.TakeSeparator('}', isEnd))
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
        if (!ParseEntry() || !mEvents.TakeSeparator(']', isEnd))
        {
            return false;
        }
    }
    mPlace = EPlace::Outside;
    return true;
}

bool ChromeTraceParser::ParseEntry()
{
    if (mScanner.Peek() < 0)
    {
        return mScanner.FailAtEnd();
    }
    if (TakeEntries())
    {
        return true;
    }
    mEventOffset = mScanner.GetOffset();
    mPlace = EPlace::InEvent;
    if (!mEvents.Read())
    {
        return false;
    }
    mPlace = EPlace::BetweenEvents;
    mTarget.OnEntry(mEvents.GetEvent());
    return true;
}

/// What has been made of the entries from here on, when that began with an entry.
bool ChromeTraceParser::TakeEntries()
{
    if (mWindow->mEndOfEntries == nullptr || mScanner.GetCursor() != mWindow->GetText().data())
    {
        return false;
    }
    mSource.Take(*mWindow);
    mScanner.MoveTo(mWindow->mEndOfEntries);
    return true;
}

void ChromeTraceParser::NoteScannerFault()
{
    if (!mHasEvents)
    {
        mEvents.ClearFaults();
    }
    const bool isEnd = mScanner.IsAtEnd();
    mEvents.AddFault({isEnd ? DescribeEnd() : mScanner.GetFault(), mScanner.GetFaultOffset(), isEnd});
}

std::string ChromeTraceParser::DescribeEnd() const
{
    if (!mHasEvents)
    {
        return !mHasText ? "the file is empty" : "the file ends before any event";
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
