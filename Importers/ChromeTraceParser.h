#pragma once

#include "Importers/ContextBuilder.h"
#include "Importers/EventBatch.h"
#include "Importers/JsonScanner.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Importers
{
/// Where a parser gets text from and leaves events.
class BatchSource
{
public:
    virtual ~BatchSource() = default;

    /// A batch without events whose window is the next piece of the text; empty at the end, and then again each time.
    /// It is the caller's until it sends it. The caller may have two at once.
    virtual EventBatch& Receive() = 0;
    /// All events of the batch are whole.
    virtual void Send(EventBatch& batch) = 0;
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
    explicit ChromeTraceParser(BatchSource& source);

    /// All batches have been sent by the end. False when the text is no trace: GetFaults then has one entry that says
    /// why.
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
    bool ParseEventMembers();
    bool ParseEventMember();
    bool ParsePhase();
    // The event may move while a value is read, so what is to be set is told by its name.
    bool ParseText(EventText ChromeEvent::*member);
    bool ParseTime(EventTime ChromeEvent::*member);
    bool ParseID(TraceIDView ChromeEvent::*member);
    bool ParseSplitID();
    bool ReadStringOrNumber(std::optional<EventText>& text);
    std::string_view Keep(const JsonToken& token);

    /// Takes the comma or the end of a list. `isEnd` says which.
    bool TakeSeparator(char end, bool& isEnd);
    void NoteScannerFault();
    std::string DescribeEnd() const;

    BatchSource& mSource;
    /// That of the window; null before the first.
    EventBatch* mBatch = nullptr;
    /// The one that is being read, in the batch.
    ChromeEvent* mEvent = nullptr;
    ContextBuilder mContext;
    JsonScanner mScanner;
    std::vector<TextFault> mFaults;
    std::uint64_t mTextSize = 0;
    std::uint64_t mEventOffset = 0;
    EPlace mPlace = EPlace::Outside;
    bool mHasEvents = false;
};
}
