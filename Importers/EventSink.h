#pragma once

#include <cstdint>
#include <string_view>

namespace Utility
{
class Result;
}

namespace Importers
{
class TextArena;
struct StoredText;

enum class EEventKind : std::uint8_t
{
    ThreadStart,
    ThreadName,
    Begin,
    End,
    ThreadEnd,
};

/// What is known of a recording before its first event.
struct RecordingInfo
{
    std::int32_t mProcessID = 0;
    double mEndTimeMs = 0.0;
    std::uint64_t mNumIntervals = 0;
};

/// One event of the recording. The texts stay until OnEnd.
struct RecordedEvent
{
    EEventKind mKind = EEventKind::Begin;
    /// The name comes for the first time in this recording.
    bool mIsNewName = false;
    std::int32_t mThreadID = 0;
    double mTimeMs = 0.0;
    /// Of Begin only. The context is null when there is none, and has a length otherwise.
    const StoredText* mName = nullptr;
    const StoredText* mContext = nullptr;
    /// Of ThreadName only.
    std::string_view mThreadName;
};

/// Takes a recording, event by event. Times never decrease, and on each thread begins and ends nest. One call comes
/// after the other: the begin and the end from the thread of the import, the events from one beside it. After a false
/// nothing more is sent.
class EventSink
{
public:
    virtual ~EventSink() = default;

    [[nodiscard]] virtual bool OnBegin(const RecordingInfo& info, Utility::Result& result) = 0;
    [[nodiscard]] virtual bool OnEvent(const RecordedEvent& event, Utility::Result& result) = 0;
    /// The recording is complete: `texts` has the contexts of all events, see SentContexts, and is not used any more by
    /// anyone else. Not called after a failure or a cancellation.
    [[nodiscard]] virtual bool OnEnd(TextArena& texts, Utility::Result& result) = 0;
};
}
