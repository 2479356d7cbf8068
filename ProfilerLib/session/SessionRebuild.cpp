#include "ProfilerLib/session/SessionRebuild.h"

#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/BinaryFormat.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>

namespace Profiler
{
namespace
{
std::int32_t FindRecordedProcess(const TraceEventStream& stream)
{
    std::unordered_map<std::int32_t, std::uint64_t> numEvents;
    stream.GetIterator(0.0).ForEachRecord([&](const TraceEventRecord& record) {
        ++numEvents[record.GetProcessID()];
        return true;
    });
    const auto most = std::max_element(numEvents.begin(), numEvents.end(), [](const auto& a, const auto& b) {
        // Of two with as many, the lower one, so that the result is always the same.
        return a.second != b.second ? a.second < b.second : a.first > b.first;
    });
    return most == numEvents.end() ? 0 : most->first;
}

void AddEvents(const TraceEventStream& stream, Session& session)
{
    std::unordered_set<std::int32_t> ended;
    // One event for all, so that its texts keep their room.
    TraceEvent event;
    stream.GetIterator(0.0).ForEachRecord([&](const TraceEventRecord& record) {
        event.Assign(record.GetView());
        session.UpdateThreads(event);
        if (event.mType == ETraceEventType::InstrumentationBegin)
        {
            session.GetInstrumentationDatabase().AddEvent(event.mID, event.mName, event.mContext);
        }
        else if (event.mType == ETraceEventType::ThreadEnd)
        {
            ended.insert(event.mThreadID);
        }
        return true;
    });
    for (const std::int32_t threadID : session.GetThreadOrder())
    {
        if (!ended.contains(threadID))
        {
            session.GetThread(threadID).EndTimeMs = session.GetSessionInfo().SessionEndTimeMs;
        }
    }
}
}

bool gRebuildSession(const std::string& path, const RTTI::TypeRegistry& registry, Utility::Result& result)
{
    Session session{path, nullptr, nullptr, nullptr};
    const std::unique_ptr<TraceEventStream> stream = TraceEventStream::sLoad(session, registry, result);
    if (stream == nullptr)
    {
        return false;
    }
    const std::vector<TraceEventStream::Chunk> chunks = stream->GetChunks();
    session.GetSessionInfo().ProcessID = FindRecordedProcess(*stream);
    session.GetSessionInfo().SessionEndTimeMs = chunks.empty() ? 0.0 : chunks.back().EndTime;
    AddEvents(*stream, session);
    session.SortThreads();
    // `Session::Save` would store the stream too, and that of a new session is empty.
    return stream->CheckWhole(result) && Serialization::gWriteBinaryFile(path, {&session}, result);
}
}
