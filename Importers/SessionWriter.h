#pragma once

#include "Importers/EventSink.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "System/SerialThread.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Profiler
{
class Session;
}

namespace Importers
{
/// Records into a session that is new: the one way from an importer into a capture. It fills the SessionInfo, makes the
/// models, adds every event, enters names and contexts into the session's database, and saves at the end. The database
/// gets its contexts by a thread of its own while events are added; nothing but this class may use it before the end.
/// What is written is on the disk once OnEnd has returned true, and not before. The session has the contexts only while
/// there is the writer: from then on they are in the file alone.
class SessionWriter final : public EventSink
{
public:
    /// The session must outlive the writer.
    explicit SessionWriter(Profiler::Session& session);
    ~SessionWriter() override;
    SessionWriter(const SessionWriter&) = delete;
    SessionWriter& operator=(const SessionWriter&) = delete;

    [[nodiscard]] bool OnBegin(const RecordingInfo& info, Utility::Result& result) override;
    [[nodiscard]] bool OnEvent(const RecordedEvent& event, Utility::Result& result) override;
    [[nodiscard]] bool OnEnd(Utility::Result& result) override;

private:
    /// On its way to the database. An import that fails takes its texts away without a word, so nobody looks at one
    /// before OnEnd.
    struct NewContext
    {
        std::uint64_t mID;
        std::string_view mText;
    };
    static constexpr std::size_t sContextsAtOnce = 2048;

    void LendContexts();

    Profiler::Session& mSession;
    Profiler::TraceEventView mEvent;
    std::vector<NewContext> mNewContexts;
    /// From OnBegin on.
    std::optional<System::SerialThread> mThread;
};
}
