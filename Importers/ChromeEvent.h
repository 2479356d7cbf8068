#pragma once

#include "Importers/ContextBuilder.h"
#include "Importers/DecimalTime.h"
#include "Importers/JsonScanner.h"
#include "Importers/TraceID.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Importers
{
/// A string member of an event, which stays where it was read as long as that is possible.
class FieldText
{
public:
    void Set(const JsonToken& token)
    {
        mText = token.mText;
        mIsNonAscii = token.mIsNonAscii;
        if (!token.mIsInWindow)
        {
            Own();
        }
    }
    void Clear()
    {
        mText = {};
        mIsNonAscii = false;
    }
    /// The window goes.
    void Own()
    {
        if (mText.data() != mOwned.data())
        {
            mOwned.assign(mText);
            mText = mOwned;
        }
    }

    std::string_view GetText() const { return mText; }
    /// It may not be valid UTF-8.
    bool IsNonAscii() const { return mIsNonAscii; }

private:
    std::string_view mText;
    std::string mOwned;
    bool mIsNonAscii = false;
};

/// A time of an event, where it has one.
struct FieldTime
{
    bool mIsMissing = true;
    EDecimal mState = EDecimal::NotANumber;
    DecimalTime mTime;
};

/// One entry of a trace with the members that an import looks at. One object is used for all entries.
struct ChromeEvent
{
    /// The letter of its phase; 0 when it has none, and when that is longer than a letter.
    char mPhase = 0;
    /// A phase that is not one letter; empty for all others.
    std::string mLongPhase;
    /// Empty when it has none.
    FieldText mName;
    FieldText mCategory;
    FieldTime mTime;
    FieldTime mDuration;
    TraceID mProcess;
    TraceID mThread;
    TraceID mID;
    /// Of "id2".
    TraceID mLocalID;
    TraceID mGlobalID;
    ContextBuilder mContext;

    void Clear()
    {
        mPhase = 0;
        mLongPhase.clear();
        mName.Clear();
        mCategory.Clear();
        mTime.mIsMissing = true;
        mDuration.mIsMissing = true;
        mProcess.Clear();
        mThread.Clear();
        mID.Clear();
        mLocalID.Clear();
        mGlobalID.Clear();
        mContext.Clear();
    }
};

/// Phases of which an event may become part of an interval.
constexpr bool gIsIntervalPhase(char phase)
{
    return phase == 'X' || phase == 'B' || phase == 'E' || phase == 'b' || phase == 'e';
}
constexpr char gMetadataPhase = 'M';
}
