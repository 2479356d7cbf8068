#include "Quarkspindle/commands/InfoCommand.h"

#include <algorithm>

#include <CLI/CLI.hpp>

#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Json.h"
#include "Quarkspindle/Output.h"
#include "Utility/TimeFormat.h"

namespace Quarkspindle
{

namespace
{

/// What both forms show.
struct CaptureSummary
{
    std::string Path;
    Profiler::SessionInfo Info;
    double StartMs = 0.0;
    double EndMs = 0.0;
    uint64_t NumEvents = 0;
    uint64_t NumBytes = 0;
    std::size_t NumChunks = 0;
    std::vector<Profiler::Thread> Threads; ///< in display order
};

CaptureSummary Summarise(Profiler::Session& session)
{
    CaptureSummary summary;
    summary.Path = session.GetPath();
    summary.Info = session.GetSessionInfo();
    const std::vector<Profiler::TraceEventStream::Chunk> chunks = session.GetEventStream().GetChunks();
    summary.NumEvents = session.GetEventStream().GetNumEvents();
    summary.NumChunks = chunks.size();
    for (const auto& chunk : chunks)
        summary.NumBytes += chunk.Size;
    if (!chunks.empty())
    {
        summary.StartMs = chunks.front().StartTime;
        summary.EndMs = chunks.back().EndTime;
    }
    for (const int32_t threadID : session.GetThreadOrder())
    {
        if (const Profiler::Thread* thread = session.FindThread(threadID))
            summary.Threads.push_back(*thread);
    }
    return summary;
}

void PrintText(Output& output, const CaptureSummary& summary)
{
    output.Print("%-9s %s\n", "capture", gMakePrintable(summary.Path).c_str());
    output.Print(
        "%-9s %d (%s)\n", "process", summary.Info.ProcessID, summary.Info.Is64BitProcess ? "64 bit" : "32 bit");
    output.Print("%-9s %s\n", "span", gFormatMilliseconds(summary.EndMs - summary.StartMs).c_str());
    output.Print("%-9s %s in %s, %s\n", "events", gFormatCount(summary.NumEvents).c_str(),
        gFormatCount(summary.NumChunks, "chunk", "chunks").c_str(),
        Utility::gFormatSize(static_cast<int64_t>(summary.NumBytes)).c_str());
    output.Print("%-9s %s\n", "threads", gFormatCount(summary.Threads.size()).c_str());
    if (summary.Threads.empty())
        return;

    output.Print("\n%11s  %12s  %12s  %s\n", "id", "start", "end", "name");
    for (const Profiler::Thread& thread : summary.Threads)
        output.Print("%11d  %s  %s  %s\n", thread.ThreadID,
            gPadLeft(gFormatMilliseconds(thread.StartTimeMs), 12).c_str(),
            gPadLeft(gFormatMilliseconds(thread.EndTimeMs), 12).c_str(), gMakePrintable(thread.ThreadName).c_str());
}

void PrintJson(Output& output, const CaptureSummary& summary)
{
    Json json{output};
    json.StartObject();
    json.Member("capture", summary.Path);
    json.Member("process_id", static_cast<int64_t>(summary.Info.ProcessID));
    json.Member("is_64_bit", summary.Info.Is64BitProcess);
    json.Member("start_ms", summary.StartMs);
    json.Member("end_ms", summary.EndMs);
    json.Member("session_end_ms", summary.Info.SessionEndTimeMs);
    json.Member("events", static_cast<int64_t>(summary.NumEvents));
    json.Member("chunks", static_cast<int64_t>(summary.NumChunks));
    json.Member("bytes", static_cast<int64_t>(summary.NumBytes));
    json.Key("threads");
    json.StartArray();
    for (const Profiler::Thread& thread : summary.Threads)
    {
        json.StartObject();
        json.Member("id", static_cast<int64_t>(thread.ThreadID));
        json.Member("name", thread.ThreadName);
        json.Member("start_ms", thread.StartTimeMs);
        json.Member("end_ms", thread.EndTimeMs);
        json.Member("samples", static_cast<int64_t>(thread.NumSamples));
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

}

void InfoCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "info", "Show process, span, events, chunks and threads of a capture");
    word.add_option("CAPTURE", mCapture, "Capture directory, .session file, or the trace beside it")->required();
    word.add_option("--format", mFormat, "Form of the output")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("text|json")
        ->capture_default_str();
}

bool InfoCommand::Run(const CommandContext&, Utility::Result& result)
{
    // No plug-in has a say in this: a capture's facts are there without its models.
    Host host;
    std::string sessionPath;
    if (!gFindCapture(mCapture, sessionPath, result))
        return false;
    std::unique_ptr<Profiler::Session> session;
    if (Profiler::Session::sLoad(sessionPath, host.GetTypeRegistry(), nullptr, &host.GetJobScheduler(),
            &host.GetPlugins(), session, result) == Profiler::Session::Failed)
        return false;

    Output output;
    const CaptureSummary summary = Summarise(*session);
    if (mFormat == "json")
        PrintJson(output, summary);
    else
        PrintText(output, summary);
    return output.Finish(result) && session->GetEventStream().CheckWhole(result);
}

}
