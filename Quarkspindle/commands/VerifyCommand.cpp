#include "Quarkspindle/commands/VerifyCommand.h"

#include <CLI/CLI.hpp>

#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/CaptureVerifier.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Serialization/Error.h"

namespace Quarkspindle
{

void VerifyCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "verify", "Read every file and every chunk of a capture and say what is wrong");
    word.add_option("CAPTURE", mCapture, "Capture directory, .session file, or the trace beside it")->required();
    word.add_option("--format", mFormat, "Form of the output")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("text|json")
        ->capture_default_str();
}

bool VerifyCommand::Run(const CommandContext&, Utility::Result& result)
{
    Host host;
    std::string sessionPath;
    if (!host.LoadPlugins(Host::EViews::Without, result) || !gFindCapture(mCapture, sessionPath, result))
        return false;

    Output output;
    const std::vector<Finding> findings = CaptureVerifier{host, sessionPath}.Verify();
    if (mFormat == "json")
        gPrintFindingsAsJson(output, sessionPath, findings);
    else
        gPrintFindings(output, findings);
    if (!output.Finish(result))
        return false;
    const std::size_t numDamages = gCountDamages(findings);
    const auto file = result.PushContext(sessionPath);
    return numDamages == 0 || result.Fail(Serialization::CorruptData, "The capture is damaged in %s",
                                  gFormatCount(numDamages, "place", "places").c_str());
}

}
