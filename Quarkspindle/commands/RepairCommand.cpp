#include "Quarkspindle/commands/RepairCommand.h"

#include <CLI/CLI.hpp>

#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/CaptureRepair.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Serialization/Error.h"

namespace Quarkspindle
{

void RepairCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(
        program, "repair", "Make lost or damaged files of a capture anew from its events, and say what was done");
    word.add_option("CAPTURE", mCapture, "Capture directory, .session file, or the trace beside it")->required();
    word.add_flag("--drop-damaged", mDropsDamaged,
        "Leave out chunks of events that are damaged; without it a capture that has any is not touched");
    word.add_option("--format", mFormat, "Form of the output")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("text|json")
        ->capture_default_str();
}

bool RepairCommand::Run(const CommandContext& context, Utility::Result& result)
{
    Host host;
    std::string sessionPath;
    if (!host.LoadPlugins(Host::EViews::Without, result) || !gFindDamagedCapture(mCapture, sessionPath, result))
        return false;

    CaptureRepair repair{host, sessionPath, mDropsDamaged, context.Interrupted};
    const bool isDone = repair.Repair(result);
    Output output;
    // What was done before a failure is told too.
    if (mFormat == "json")
        gPrintFindingsAsJson(output, sessionPath, repair.GetFindings());
    else
        gPrintFindings(output, repair.GetFindings());
    if (!output.Finish(result) || !isDone)
        return false;
    const std::size_t numDamages = gCountDamages(repair.GetFindings());
    const auto file = result.PushContext(sessionPath);
    if (numDamages == 0)
        return true;
    const std::string places = gFormatCount(numDamages, "place", "places");
    if (mDropsDamaged)
        return result.Fail(Serialization::CorruptData, "The capture is still damaged in %s", places.c_str());
    return result.Fail(Serialization::CorruptData,
        "The capture is damaged in %s and was not changed; --drop-damaged leaves out what cannot be read",
        places.c_str());
}

}
