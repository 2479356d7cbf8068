#pragma once

#include "Importers/ChromeEvent.h"
#include "Importers/ContextBuilder.h"
#include "Importers/JsonScanner.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Importers
{
class TextRoom;

/// A place where the text is not as it should be.
struct TextFault
{
    std::string mReason;
    std::uint64_t mOffset = 0;
    /// It is where the text ends: what is missing may follow from damage elsewhere.
    bool mIsEnd = false;
};

/// Reads the entries of a trace, each from where the scanner stands. It may go on in any number of windows.
class EventParser
{
public:
    /// Both must outlive the parser. The windows of the scanner are those of TraceWindow, with padding behind them.
    EventParser(JsonScanner& scanner, TextRoom& room);

    /// Reads the value that the scanner stands at. False leaves the scanner with a fault.
    [[nodiscard]] bool Read();
    /// What was read, until the next Read. Its texts lie in the window, the room and the parser.
    const ChromeEvent& GetEvent() const { return mEvent; }
    /// Copies the texts of an event that is being read, for its window goes.
    void KeepTexts();

    /// Takes the comma or the end of a list. `isEnd` says which.
    [[nodiscard]] bool TakeSeparator(char end, bool& isEnd);

    /// Those that reading goes on behind, in the order of the text.
    const std::vector<TextFault>& GetFaults() const { return mFaults; }
    void AddFault(TextFault fault) { mFaults.push_back(std::move(fault)); }
    void ClearFaults() { mFaults.clear(); }

private:
    /// Of those that reading goes on behind; more are not noted.
    static constexpr std::size_t sMostFaults = 16;

    bool ReadSlowly();
    bool ParseMembers();
    bool ParseMember();
    bool ParsePhase();
    bool ParseText(EventText ChromeEvent::*member);
    bool ParseTime(EventTime ChromeEvent::*member);
    bool ParseID(TraceIDView ChromeEvent::*member);
    bool ParseSplitID();
    bool ReadStringOrNumber(std::optional<EventText>& text);
    std::string_view Keep(const JsonToken& token);

    JsonScanner& mScanner;
    TextRoom& mRoom;
    ChromeEvent mEvent;
    ContextBuilder mContext;
    std::deque<std::string> mKept;
    std::vector<TextFault> mFaults;
};
}
