#pragma once

#include <cstdint>
#include <string_view>

namespace Utility
{
class Result;
}

namespace Importers
{
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

/// One event of the recording. The texts stay until the import returns.
struct RecordedEvent
{
    EEventKind mKind = EEventKind::Begin;
    std::int32_t mThreadID = 0;
    double mTimeMs = 0.0;
    /// XXH64 of the name; of Begin only.
    std::uint64_t mNameID = 0;
    /// Of Begin and ThreadName.
    std::string_view mName;
    /// Of Begin only; empty when there is none.
    std::string_view mContext;
    /// XXH64 of the context, where there is one.
    std::uint64_t mContextID = 0;
    /// The name, or the context, comes for the first time in this recording. A context may be new more than once.
    bool mIsNewName = false;
    bool mIsNewContext = false;
};

/// Takes a recording, event by event. Times never decrease, and on each thread begins and ends nest. The thread of the
/// import calls it; after a false nothing more is sent.
class EventSink
{
public:
    virtual ~EventSink() = default;

    [[nodiscard]] virtual bool OnBegin(const RecordingInfo& info, Utility::Result& result) = 0;
    [[nodiscard]] virtual bool OnEvent(const RecordedEvent& event, Utility::Result& result) = 0;
    /// The recording is complete. Not called after a failure or a cancellation.
    [[nodiscard]] virtual bool OnEnd(Utility::Result& result) = 0;
};
}
