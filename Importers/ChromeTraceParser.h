#pragma once

#include "Importers/EntryTarget.h"
#include "Importers/EventParser.h"
#include "Importers/JsonScanner.h"
#include "Importers/TextRoom.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Importers
{
class TraceWindow;

/// Where a parser gets the text from.
class TraceSource
{
public:
    virtual ~TraceSource() = default;

    /// The next piece of the text; empty at the end, and then again each time. The one before goes.
    virtual TraceWindow& Receive() = 0;
    /// What was made of the entries of the window that was received last is part of the trace. It comes between those
    /// that go to the target.
    virtual void Take(TraceWindow& window) = 0;
};

/// Reads a text in the Chrome Trace Event format: an array of events, or an object with the array as its member
/// "traceEvents" and any other members around it. Entries that come ready with a window, read on the guess that one
/// begins there, are taken over where that proves right; all others are read here.
///
/// Once the array has begun, all whole events count. A comma in front of its end is noted and reading goes on; a text
/// that ends early, or that is not JSON from some place on, is noted and read no further.
class ChromeTraceParser final : private WindowSource
{
public:
    /// Both must outlive the parser.
    ChromeTraceParser(TraceSource& source, EntryTarget& target);

    /// False when the text is no trace: GetFaults then has one entry that says why.
    [[nodiscard]] bool Parse();

    /// In the order of the text.
    const std::vector<TextFault>& GetFaults() const { return mEvents.GetFaults(); }
    /// How far the text has been looked at.
    std::uint64_t GetOffset() const { return mScanner.GetOffset(); }

private:
    enum class EPlace : std::uint8_t
    {
        Outside,
        BetweenEvents,
        InEvent,
    };

    std::span<const char> NextWindow() override;

    bool ParseDocument();
    void SkipByteOrderMark();
    bool ParseObject();
    bool ParseMember();
    bool ParseEvents();
    bool ParseEntry();
    bool TakeEntries();
    void NoteScannerFault();
    std::string DescribeEnd() const;

    TraceSource& mSource;
    EntryTarget& mTarget;
    /// Null before the first.
    TraceWindow* mWindow = nullptr;
    JsonScanner mScanner;
    TextRoom mRoom;
    EventParser mEvents;
    std::uint64_t mEventOffset = 0;
    EPlace mPlace = EPlace::Outside;
    bool mHasText = false;
    bool mHasEvents = false;
};
}
