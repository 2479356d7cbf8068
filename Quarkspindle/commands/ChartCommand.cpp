#include "Quarkspindle/commands/ChartCommand.h"

#include <CLI/CLI.hpp>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Capture.h"
#include "Quarkspindle/ChartFinder.h"
#include "Quarkspindle/ChartPrinter.h"
#include "Quarkspindle/Output.h"
#include "System/Terminal.h"

namespace Quarkspindle
{

namespace
{

constexpr int cHighestLevel = 9;

bool SaveModel(Profiler::Session& session, Profiler::BarChartModel& model, Utility::Result& result)
{
    const auto context = result.PushContext(session.GetPath());
    const Profiler::ModelResult& saved = model.Save();
    for (const Utility::Result::Entry& entry : saved.mErrors.GetEntries())
        result.FailText(entry.mCode, entry.mMessage);
    return saved.mSuccess;
}

}

void ChartCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "chart", "Show every occurrence of an event on a thread");
    word.add_option("CAPTURE", mCapture, "Capture directory, .session file, or the trace beside it")->required();
    word.add_option("--event", mEvent, "Name of the event, exactly as 'list' shows it")->required()->type_name("NAME");
    word.add_option("--thread", mThreadID, "Thread id; without it the thread with most occurrences")->type_name("ID");
    word.add_option("--level", mLevel, "Level of detail: a bar stands for 2^level occurrences")
        ->check(CLI::Range(0, cHighestLevel))
        ->type_name("0..9")
        ->capture_default_str();
    word.add_option("--format", mFormat, "Form of the output")
        ->check(CLI::IsMember({"text", "csv", "json"}))
        ->type_name("text|csv|json")
        ->capture_default_str();
    word.add_flag("--save", mSave, "Keep the computed chart in the capture, so that it is there at once next time");
}

bool ChartCommand::Run(const CommandContext& context, Utility::Result& result)
{
    ChartCapture capture;
    if (!capture.Open(mCapture, context.Interrupted, result))
        return false;
    Profiler::Session& session = capture.GetSession();
    Profiler::BarChartModel& model = capture.GetModel();
    const std::optional<int32_t> threadID =
        gChooseThread(session, model, mEvent, mThreadID, context.Interrupted, result);
    if (!threadID)
        return false;
    const Profiler::BarChart* chart = gComputeChart(session, model, mEvent, *threadID, context.Interrupted, result);
    if (chart == nullptr)
        return false;

    const Profiler::Thread* thread = session.FindThread(*threadID);
    const ChartPrinter printer{*chart, thread == nullptr ? std::string{} : thread->ThreadName, mLevel};
    Output output;
    if (mFormat == "csv")
        printer.PrintCsv(output);
    else if (mFormat == "json")
        printer.PrintJson(output);
    else
        printer.PrintText(output, System::gGetTerminalWidth(System::EStandardStream::Output));
    // A chart of a part of the events is shown, but not kept: it would be taken for the whole from then on.
    return output.Finish(result) && session.GetEventStream().CheckWhole(result) &&
           (!mSave || SaveModel(session, model, result));
}

}
