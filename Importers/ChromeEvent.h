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

/// The members that most events have.
struct CommonMembers
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
};

/// One entry of a trace with the members that an import looks at. Its texts live as long as the EventBatch that it is
/// in: nothing is allocated for an event.
struct ChromeEvent : CommonMembers
{
    // Whoever writes these sets mHasRareMembers.
    /// The string argument "name", as the metadata of a trace has it; empty when there is none.
    EventText mMetadataName;
    /// A phase that is not one letter; empty for all others.
    std::string_view mLongPhase;
    TraceIDView mID;
    /// Of "id2".
    TraceIDView mLocalID;
    TraceIDView mGlobalID;

    /// Fetches what Clear and most readers write.
    void Prefetch() const
    {
        constexpr std::size_t lineSize = 64;
        for (std::size_t i = 0; i < sizeof(CommonMembers); i += lineSize)
        {
            __builtin_prefetch(reinterpret_cast<const char*>(this) + i, 1);
        }
    }

    /// Makes it empty, and leaves the memory of members alone that it does not have.
    void Clear()
    {
        if (mHasRareMembers) [[unlikely]]
        {
            *this = ChromeEvent();
        }
        else
        {
            static_cast<CommonMembers&>(*this) = CommonMembers();
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
