#pragma once

#include "Importers/LaneMerger.h"
#include "Importers/RecordingThreads.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace Utility
{
class Result;
}

namespace Importers
{
class EventSink;
class NameTable;
class TextArena;
enum class EEventKind : std::uint8_t;

/// Gives merged events to a sink, with their texts. A thread's start and name precede its first event, its end follows
/// the last one, at the same times. One thread, which may be another one than that of the merger.
class EventSender
{
public:
    /// All that is given must outlive the sender.
    EventSender(std::span<const RecordingThread> threads, NameTable& names, TextArena& contexts, EventSink& sink);

    /// The next ones.
    [[nodiscard]] bool Send(std::span<const MergedEvent> events, Utility::Result& result);

private:
    bool SendBegin(const MergedEvent& merged, Utility::Result& result);
    bool SendThreadStart(const MergedEvent& merged, Utility::Result& result);
    bool SendEnd(const MergedEvent& merged, Utility::Result& result);
    bool SendThreadEvent(const MergedEvent& merged, EEventKind kind, std::string_view name, Utility::Result& result);

    std::span<const RecordingThread> mThreads;
    NameTable& mNames;
    TextArena& mContexts;
    EventSink& mSink;
};
}
