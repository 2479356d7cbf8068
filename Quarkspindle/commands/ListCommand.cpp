#include "Quarkspindle/commands/ListCommand.h"

#include <CLI/CLI.hpp>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "Quarkspindle/Capture.h"
#include "Quarkspindle/ChartFinder.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Utility/Text.h"

namespace Quarkspindle
{

namespace
{

void PrintCsvLine(Output& output, int32_t threadID, const std::string& threadName, const std::string& event)
{
    std::string line = std::to_string(threadID) + ",";
    gAppendCsvField(line, threadName);
    line += ",";
    gAppendCsvField(line, event);
    line += "\n";
    output.Write(line);
}

void PrintTextLine(Output& output, int32_t threadID, const std::string& threadName, const std::string& event)
{
    output.Print("%11d  %s  %s\n", threadID, gPadRight(gMakePrintable(threadName, 28), 28).c_str(),
        gMakePrintable(event).c_str());
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
    Host host;
    if (!host.LoadPlugins(result))
        return false;
    const std::unique_ptr<Profiler::Session> session = gOpenCapture(host, mCapture, context.Interrupted, result);
    if (session == nullptr)
        return false;
    Profiler::BarChartModel* model = gFindBarChartModel(*session, result);
    if (model == nullptr)
        return false;

    Output output;
    const bool csv = mFormat == "csv";
    output.Write(csv ? "thread_id,thread_name,event\n" : "  thread id  thread                        event\n");
    for (const Profiler::BarChartDescription& chart : model->GetAllBarCharts())
    {
        if (!mMatch.empty() && !Utility::gContainsIgnoreCase(chart.Name, mMatch))
            continue;
        const Profiler::Thread* thread = session->FindThread(chart.ThreadID);
        const std::string threadName = thread == nullptr ? std::string{} : thread->ThreadName;
        (csv ? PrintCsvLine : PrintTextLine)(output, chart.ThreadID, threadName, chart.Name);
    }
    return output.Finish(result);
}

}
