#include "Quarkspindle/commands/ImportCommand.h"

#include <CLI/CLI.hpp>

#include "Importers/CaptureImport.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Quarkspindle/ProgressLine.h"
#include "Utility/Path.h"
#include "Utility/TimeFormat.h"

namespace Quarkspindle
{

namespace
{

void PrintCount(Output& output, const char* label, uint64_t count, const char* what)
{
    output.Print("%-11s %s %s\n", label, gFormatCount(count).c_str(), what);
}

/// What was left out, a line for each reason that occurred.
void PrintSkipped(Output& output, const Importers::ImportReport& report)
{
    for (const auto& [phase, count] : report.mSkippedByPhase)
        PrintCount(output, "skipped", count, ("of phase \"" + gMakePrintable(phase) + "\" (no interval)").c_str());
    const std::pair<uint64_t, const char*> reasons[] = {
        {report.mNumUnfinished, "unfinished: a begin without an end"},
        {report.mNumUnmatched, "unmatched: an end without a begin"},
        {report.mNumSummaries, "summaries of the compiler"},
        {report.mNumOtherProcesses, "of other processes"},
    };
    for (const auto& [count, what] : reasons)
    {
        if (count > 0)
            PrintCount(output, "skipped", count, what);
    }
    for (std::size_t i = 0; i < report.mRejectedByReason.size(); ++i)
    {
        if (report.mRejectedByReason[i] > 0)
            PrintCount(output, "rejected", report.mRejectedByReason[i],
                Importers::gGetRejectionText(static_cast<Importers::ERejection>(i)));
    }
}

void PrintReport(Output& output, const std::string& capture, const Importers::ImportReport& report)
{
    output.Print("%-11s %s\n", "capture", gMakePrintable(capture).c_str());
    output.Print("%-11s %s, %s of text\n", "read", gFormatCount(report.mNumEvents, "event", "events").c_str(),
        Utility::gFormatSize(static_cast<int64_t>(report.mTextSize)).c_str());
    output.Print("%-11s %s on %s of %s, %s\n", "kept",
        gFormatCount(report.mNumIntervals, "interval", "intervals").c_str(),
        gFormatCount(report.mNumThreads, "thread", "threads").c_str(),
        gFormatCount(report.mNumProcesses, "process", "processes").c_str(),
        gFormatMilliseconds(static_cast<double>(report.mLastTimeNs - report.mFirstTimeNs) / 1e6).c_str());
    if (report.mNumOverlapLanes > 0)
        output.Print("%-11s intervals that do not nest are on %s\n", "overlaps",
            gFormatCount(report.mNumOverlapLanes, "extra thread", "extra threads").c_str());
    PrintSkipped(output, report);
    for (const Importers::TraceDamage& damage : report.mDamage)
        output.Print("%-11s %s\n", "damage", gMakePrintable(damage.ToString()).c_str());
}

}

void ImportCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "import",
        "Read a trace in the Chrome Trace Event format (JSON, also gzip or zstd) and write a capture of it");
    const CLI::Validator notEmpty{
        [](const std::string& text) { return text.empty() ? std::string{"It is empty"} : std::string{}; }, "",
        "not empty"};
    word.add_option("TRACE", mTrace, "The trace file")->required();
    word.add_option("-o,--output", mDirectory, "Directory of the capture; without it a new one beside the trace")
        ->type_name("DIR")
        ->check(notEmpty);
    word.add_option("--process", mProcess, "Import this process only, by its id in the trace")
        ->type_name("PID")
        ->check(notEmpty);
    word.add_flag("--force", mForce, "Replace a capture that is there already");
}

bool ImportCommand::Run(const CommandContext& context, Utility::Result& result)
{
    Host host;
    if (!host.LoadPlugins(Host::EViews::Without, result))
        return false;

    const std::string directory = mDirectory.empty() ? Importers::gGetCaptureDirectory(mTrace) : mDirectory;
    Importers::ImportOptions options;
    if (!mProcess.empty())
        options.mProcess = mProcess;
    options.mCancelled = &context.Interrupted;

    Importers::ImportReport report;
    {
        ProgressLine progress;
        options.mProgress = [&progress](const Importers::ImportProgress& state) {
            const bool reading = state.mPhase == Importers::ImportProgress::EPhase::Reading;
            progress.Show(reading ? "Reading" : "Writing",
                reading ? ProgressLine::EUnit::Bytes : ProgressLine::EUnit::Items, state.mDone, state.mTotal);
        };
        const Importers::CaptureServices services{&host.GetJobScheduler(), &host.GetPlugins()};
        if (!Importers::gImportCapture(mTrace, directory, mForce, options, services, report, result))
            return false;
    }
    Output output;
    PrintReport(output, directory, report);
    return output.Finish(result);
}

}
