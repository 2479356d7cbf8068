#pragma once

#include "Importers/DecimalTime.h"
#include "Importers/TraceID.h"

#include <cstdint>
#include <string_view>
#include <type_traits>

namespace Importers
{
/// A string member of an event.
struct EventText
{
    std::string_view mText;
    /// It may not be valid UTF-8.
    bool mIsNonAscii = false;
};

/// A time of an event, where it has one.
struct EventTime
{
    bool mIsMissing = true;
    EDecimal mState = EDecimal::NotANumber;
    DecimalTime mTime;
};

/// One entry of a trace with the members that an import looks at. Its texts lie elsewhere, see EventParser: nothing is
/// allocated for an event.
struct ChromeEvent
{
    /// The letter of its phase; 0 when it has none, and when that is longer than a letter.
    char mPhase = 0;
    /// Not so for an entry that is something else.
    bool mIsObject = true;
    /// There is an argument "avg ms": the event sums up others.
    bool mHasAverage = false;
    /// The event may have members beyond these.
    bool mHasRareMembers = false;
    /// Empty when it has none.
    EventText mName;
    EventTime mTime;
    EventTime mDuration;
    TraceIDView mProcess;
    TraceIDView mThread;
    /// Its arguments as valid UTF-8, see ContextBuilder.
    std::string_view mContext;
    EventText mCategory;

    // Whoever writes these sets mHasRareMembers.
    /// The string argument "name", as the metadata of a trace has it; empty when there is none.
    EventText mMetadataName;
    /// A phase that is not one letter; empty for all others.
    std::string_view mLongPhase;
    TraceIDView mID;
    /// Of "id2".
    TraceIDView mLocalID;
    TraceIDView mGlobalID;

    /// Makes it empty, and leaves the memory of members alone that it does not have. Member by member: compilers make a
    /// temporary of the whole, which costs more than the reading of a member.
    void Clear()
    {
        mPhase = 0;
        mIsObject = true;
        mHasAverage = false;
        mName = {};
        mTime = {};
        mDuration = {};
        mProcess = {};
        mThread = {};
        mContext = {};
        mCategory = {};
        if (mHasRareMembers) [[unlikely]]
        {
            mHasRareMembers = false;
            mMetadataName = {};
            mLongPhase = {};
            mID = {};
            mLocalID = {};
            mGlobalID = {};
        }
    }

    /// Calls `visit` with each of its texts.
    template <typename Visitor>
    void ForEachText(const Visitor& visit)
    {
        for (std::string_view* const text : {&mName.mText, &mProcess.mText, &mThread.mText, &mContext, &mCategory.mText,
                 &mMetadataName.mText, &mLongPhase, &mID.mText, &mLocalID.mText, &mGlobalID.mText})
        {
            visit(*text);
        }
    }
};
static_assert(std::is_trivially_copyable_v<ChromeEvent>);

/// Phases of which an event may become part of an interval.
constexpr bool gIsIntervalPhase(char phase)
{
    return phase == 'X' || phase == 'B' || phase == 'E' || phase == 'b' || phase == 'e';
}
constexpr char gMetadataPhase = 'M';
/// No text is made of the arguments of an event that is known to be left out.
constexpr bool gNeedsArguments(char phase)
{
    return phase == 0 || phase == gMetadataPhase || gIsIntervalPhase(phase);
}
}
