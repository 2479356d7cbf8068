#pragma once

#include "Importers/EventSink.h"
#include "ProfilerLib/session/TraceEvent.h"

namespace Profiler
{
class Session;
}

namespace Importers
{
/// Records into a session that is new: the one way from an importer into a capture. It fills the SessionInfo, makes the
/// models, adds every event, enters names into the session's database, and saves at the end. What is written is on the
/// disk after OnEnd and gSyncTree of the session's directory, and not before. The contexts are in the file alone, never
/// in the session.
class SessionWriter final : public EventSink
{
public:
    /// The session must outlive the writer.
    explicit SessionWriter(Profiler::Session& session);
    ~SessionWriter() override = default;
    SessionWriter(const SessionWriter&) = delete;
    SessionWriter& operator=(const SessionWriter&) = delete;

    [[nodiscard]] bool OnBegin(const RecordingInfo& info, Utility::Result& result) override;
    [[nodiscard]] bool OnEvent(const RecordedEvent& event, Utility::Result& result) override;
    [[nodiscard]] bool OnEnd(TextArena& texts, Utility::Result& result) override;

private:
    Profiler::Session& mSession;
    Profiler::TraceEventView mEvent;
};
}
