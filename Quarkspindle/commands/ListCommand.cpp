#include "Quarkspindle/commands/ListCommand.h"

#include <algorithm>
#include <vector>

#include <CLI/CLI.hpp>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Capture.h"
#include "Quarkspindle/Output.h"
#include "Utility/Text.h"

namespace Quarkspindle
{

namespace
{

struct Row
{
    int32_t ThreadID;
    std::string ThreadName;
    std::string Event;
};

void PrintCsv(Output& output, const std::vector<Row>& rows)
{
    output.Write("thread_id,thread_name,event\n");
    std::string line;
    for (const Row& row : rows)
    {
        line = std::to_string(row.ThreadID) + ",";
        gAppendCsvField(line, row.ThreadName);
        line += ",";
        gAppendCsvField(line, row.Event);
        line += "\n";
        output.Write(line);
    }
}

/// For people: columns as wide as what stands in them, within reason.
void PrintText(Output& output, const std::vector<Row>& rows)
{
    constexpr std::size_t cWidestName = 60;
    std::size_t width = std::string_view{"thread"}.size();
    for (const Row& row : rows)
        width = std::max(width, std::min(cWidestName, gMakePrintable(row.ThreadName).size()));
    output.Print("%11s  %s  %s\n", "thread id", gPadRight("thread", width).c_str(), "event");
    for (const Row& row : rows)
        output.Print("%11d  %s  %s\n", row.ThreadID, gPadRight(gMakePrintable(row.ThreadName, width), width).c_str(),
            gMakePrintable(row.Event).c_str());
}

}

void ListCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "list", "List every pair of event and thread of a capture");
    word.add_option("CAPTURE", mCapture, "Capture directory, .session file, or the trace beside it")->required();
    word.add_option("--match", mMatch, "Only events whose name contains this text, in any case")->type_name("TEXT");
    word.add_option("--format", mFormat, "Form of the output; csv: thread_id,thread_name,event")
        ->check(CLI::IsMember({"text", "csv"}))
        ->type_name("text|csv")
        ->capture_default_str();
}

bool ListCommand::Run(const CommandContext& context, Utility::Result& result)
{
    ChartCapture capture;
    if (!capture.Open(mCapture, context.Interrupted, result))
        return false;

    const Profiler::Session& session = capture.GetSession();
    std::vector<Row> rows;
    for (const Profiler::BarChartDescription& chart : capture.GetModel().GetAllBarCharts())
    {
        if (!Utility::gContainsIgnoreCase(chart.Name, mMatch))
            continue;
        const Profiler::Thread* thread = session.FindThread(chart.ThreadID);
        rows.push_back({chart.ThreadID, thread == nullptr ? std::string{} : thread->ThreadName, chart.Name});
    }
    Output output;
    (mFormat == "csv" ? PrintCsv : PrintText)(output, rows);
    return output.Finish(result) && session.GetEventStream().CheckWhole(result);
}

}
