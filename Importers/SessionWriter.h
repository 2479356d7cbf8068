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
/// models, adds every event, enters names and contexts into the session's database, and saves at the end.
class SessionWriter final : public EventSink
{
public:
    /// The session must outlive the writer.
    explicit SessionWriter(Profiler::Session& session);

    [[nodiscard]] bool OnBegin(const RecordingInfo& info, Utility::Result& result) override;
    [[nodiscard]] bool OnEvent(const RecordedEvent& event, Utility::Result& result) override;
    [[nodiscard]] bool OnEnd(Utility::Result& result) override;

private:
    Profiler::Session& mSession;
    /// Reused for every event, so that its texts keep their room.
    Profiler::TraceEvent mEvent;
};
}
