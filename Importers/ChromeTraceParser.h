#pragma once

#include "Importers/ChromeEvent.h"
#include "Importers/JsonScanner.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Importers
{
/// Takes the entries of a trace in the order of the file.
class ChromeEventHandler
{
public:
    virtual ~ChromeEventHandler() = default;

    /// The event is the caller's and valid during the call.
    virtual void OnEvent(ChromeEvent& event) = 0;
    /// An entry that is not an object.
    virtual void OnOtherValue() = 0;
};

/// A place where the text is not as it should be.
struct TextFault
{
    std::string mReason;
    std::uint64_t mOffset = 0;
    /// It is where the text ends: what is missing may follow from damage elsewhere.
    bool mIsEnd = false;
};

/// Reads a text in the Chrome Trace Event format: an array of events, or an object with the array as its member
/// "traceEvents" and any other members around it.
///
/// Once the array has begun, all whole events count. A comma in front of its end is noted and reading goes on; a text
/// that ends early, or that is not JSON from some place on, is noted and read no further.
class ChromeTraceParser final : private WindowSource
{
public:
    ChromeTraceParser(WindowSource& source, ChromeEventHandler& handler);

    /// False when the text is no trace: GetFaults then has one entry that says why.
    [[nodiscard]] bool Parse();

    /// In the order of the text.
    const std::vector<TextFault>& GetFaults() const { return mFaults; }
    /// How much of the text has been read.
    std::uint64_t GetTextSize() const { return mTextSize; }

private:
    enum class EPlace : std::uint8_t
    {
        Outside,
        BetweenEvents,
        InEvent,
    };
    enum class EKey : std::uint8_t;

    /// That reading goes on behind; more are not noted.
    static constexpr std::size_t sMostFaults = 16;

    std::span<const char> NextWindow() override;

    bool ParseDocument();
    void SkipByteOrderMark();
    bool ParseObject();
    bool ParseMember();
    bool ParseEvents();
    bool ParseEntry();
    bool ParseEvent();
    bool ParseEventMember();
    bool ParsePhase();
    bool ParseText(FieldText& text);
    bool ParseTime(FieldTime& time);
    bool ParseSplitID();
    static EKey sFindKey(std::string_view text);

    /// Takes the comma or the end of a list. `isEnd` says which.
    bool TakeSeparator(char end, bool& isEnd);
    void NoteScannerFault();
    std::string DescribeEnd() const;

    WindowSource& mSource;
    ChromeEventHandler& mHandler;
    ChromeEvent mEvent;
    JsonScanner mScanner;
    std::vector<TextFault> mFaults;
    std::uint64_t mTextSize = 0;
    std::uint64_t mEventOffset = 0;
    EPlace mPlace = EPlace::Outside;
    bool mHasEvents = false;
};
}
