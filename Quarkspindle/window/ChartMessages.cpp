#include "Quarkspindle/window/ChartMessages.h"

#include <vector>

#include "ProfilerLib/plugin/MessageBuilder.h"
#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/session/Session.h"

namespace Quarkspindle
{

using Profiler::EMessageFieldType;

std::optional<uint64_t> gFindInstrumentationID(const Profiler::Session& session, const std::string& name)
{
    const Profiler::InstrumentationDatabase& database = session.GetInstrumentationDatabase();
    std::vector<Profiler::InstrumentationSearchResult> found;
    database.FindEventsByName(name, found);
    for (const Profiler::InstrumentationSearchResult& event : found)
    {
        if (database.GetEventName(event.mID) == name)
            return event.mID;
    }
    return std::nullopt;
}

void gSendBarSelected(Profiler::MessageBus& bus, const Profiler::Session& session, double startMs, double endMs,
    int32_t threadID, std::optional<uint64_t> instrumentationID)
{
    static const Profiler::MessageSchema sSchema{
        "BarSelected", {{"StartTime", EMessageFieldType::Double}, {"EndTime", EMessageFieldType::Double},
                           {"ThreadID", EMessageFieldType::Int32}, {"InstrumentationID", EMessageFieldType::UInt64}}};
    Profiler::MessageBuilder builder{sSchema};
    builder.WriteDouble("StartTime", startMs);
    builder.WriteDouble("EndTime", endMs);
    builder.WriteInt32("ThreadID", threadID);
    builder.WriteUInt64("InstrumentationID", instrumentationID.value_or(~uint64_t{0}));
    bus.Send(Profiler::gGetMessageScope(session), *builder.Finish());
}

void gSendMoveChart(Profiler::MessageBus& bus, const Profiler::Session& session, double pan, double zoom)
{
    static const Profiler::MessageSchema sSchema{
        "MoveChart", {{"Pan", EMessageFieldType::Double}, {"Zoom", EMessageFieldType::Double}}};
    Profiler::MessageBuilder builder{sSchema};
    builder.WriteDouble("Pan", pan);
    builder.WriteDouble("Zoom", zoom);
    bus.Send(Profiler::gGetMessageScope(session), *builder.Finish());
}

void gSendShowBars(Profiler::MessageBus& bus, const Profiler::Session& session, int32_t first, int32_t last, bool fits)
{
    static const Profiler::MessageSchema sSchema{"ShowBars",
        {{"First", EMessageFieldType::Int32}, {"Last", EMessageFieldType::Int32}, {"Fits", EMessageFieldType::Int32}}};
    Profiler::MessageBuilder builder{sSchema};
    builder.WriteInt32("First", first);
    builder.WriteInt32("Last", last);
    builder.WriteInt32("Fits", fits ? 1 : 0);
    bus.Send(Profiler::gGetMessageScope(session), *builder.Finish());
}

}
