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
}

bool VerifyCommand::Run(const CommandContext&, Utility::Result& result)
{
    Host host;
    std::string sessionPath;
    if (!host.LoadPlugins(result) || !gFindCapture(mCapture, sessionPath, result))
        return false;

    Output output;
    std::size_t numDamages = 0;
    for (const Finding& finding : CaptureVerifier{host, sessionPath}.Verify())
    {
        output.Print("%-8s%s: %s\n", finding.IsDamage ? "DAMAGED" : "ok", gMakePrintable(finding.File).c_str(),
            gMakePrintable(finding.Text).c_str());
        numDamages += finding.IsDamage ? 1 : 0;
    }
    if (!output.Finish(result))
        return false;
    const auto file = result.PushContext(sessionPath);
    return numDamages == 0 ||
           result.Fail(Serialization::CorruptData, "The capture is damaged in %zu places", numDamages);
}

}
