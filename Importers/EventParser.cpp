#include "Importers/EventParser.h"

#include "Importers/EventKey.h"
#include "Importers/PlainEventReader.h"
#include "Importers/TextRoom.h"

#include <utility>

namespace Importers
{
EventParser::EventParser(JsonScanner& scanner, TextRoom& room) : mScanner(scanner), mRoom(room) {}

bool EventParser::Read()
{
    mEvent.Clear();
    if (mScanner.Peek() != '{')
    {
        mEvent.mIsObject = false;
        return mScanner.SkipValue();
    }
    const char* const end =
        PlainEventReader::sRead(mScanner.GetCursor(), mScanner.GetWindowEnd(), mRoom.GetData(), mEvent);
    if (end != nullptr) [[likely]]
    {
        mScanner.MoveTo(end);
        return true;
    }
    return ReadSlowly();
}

bool EventParser::ReadSlowly()
{
    mEvent.Clear();
    mEvent.mHasRareMembers = true;
    mContext.Clear();
    mKept.clear();
    if (!ParseMembers())
    {
        return false;
    }
    mEvent.mContext = mContext.Finish();
    mEvent.mMetadataName = {mContext.GetName(), false};
    mEvent.mHasAverage = mContext.HasAverage();
    return true;
}

bool EventParser::TakeSeparator(char end, bool& isEnd)
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

void EventParser::KeepTexts()
{
    // Only what still counts.
    std::deque<std::string> kept;
    mEvent.ForEachText([&kept](std::string_view& text) {
        if (!text.empty())
        {
            text = kept.emplace_back(text);
        }
    });
    mKept = std::move(kept);
}

bool EventParser::ParseMembers()
{
    mScanner.Take();
    if (mScanner.Peek() == '}')
    {
        mScanner.Take();
        return true;
    }
    while (ParseMember())
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

bool EventParser::ParseMember()
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
        return gNeedsArguments(mEvent.mPhase) ? mContext.Read(mScanner) : mScanner.SkipValue();
    case EEventKey::Other:
        break;
    }
    return mScanner.SkipValue();
}

bool EventParser::ParsePhase()
{
    mEvent.mPhase = 0;
    mEvent.mLongPhase = {};
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
        mEvent.mLongPhase = Keep(token);
    }
    return true;
}

/// The text stays until the window goes.
std::string_view EventParser::Keep(const JsonToken& token)
{
    return token.mIsInWindow ? token.mText : mKept.emplace_back(token.mText);
}

/// A number counts as its spelling. Anything else is passed over, and is no text.
bool EventParser::ReadStringOrNumber(std::optional<EventText>& text)
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

bool EventParser::ParseText(EventText ChromeEvent::*member)
{
    std::optional<EventText> text;
    if (!ReadStringOrNumber(text))
    {
        return false;
    }
    mEvent.*member = text.value_or(EventText());
    return true;
}

bool EventParser::ParseID(TraceIDView ChromeEvent::*member)
{
    std::optional<EventText> text;
    if (!ReadStringOrNumber(text))
    {
        return false;
    }
    TraceIDView& id = mEvent.*member;
    id = {};
    if (text)
    {
        id.Assign(text->mText);
    }
    return true;
}

bool EventParser::ParseTime(EventTime ChromeEvent::*member)
{
    mEvent.*member = {false, EDecimal::NotANumber, {}};
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
        (mEvent.*member).mIsMissing = true;
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
        EventTime& time = mEvent.*member;
        time.mState = gParseDecimalMicroseconds(token.mText, time.mTime);
    }
    return true;
}

bool EventParser::ParseSplitID()
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
}
