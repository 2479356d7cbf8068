#include "Quarkspindle/CommandLine.h"

#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <vector>

#include <CLI/CLI.hpp>

#include "Quarkspindle/Output.h"
#include "Quarkspindle/commands/ChartCommand.h"
#include "Quarkspindle/commands/ImportCommand.h"
#include "Quarkspindle/commands/InfoCommand.h"
#include "Quarkspindle/commands/ListCommand.h"
#include "Quarkspindle/commands/RepairCommand.h"
#include "Quarkspindle/commands/SnapshotCommand.h"
#include "Quarkspindle/commands/SymbolsCommand.h"
#include "Quarkspindle/commands/VerifyCommand.h"
#include "Quarkspindle/commands/WindowCommand.h"
#include "System/Interrupt.h"

namespace Quarkspindle
{

namespace
{

constexpr int cExitSuccess = 0;
constexpr int cExitBadInput = 1;
constexpr int cExitUsage = 2;

std::vector<std::unique_ptr<Command>> MakeCommands()
{
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<ImportCommand>());
    commands.push_back(std::make_unique<InfoCommand>());
    commands.push_back(std::make_unique<ListCommand>());
    commands.push_back(std::make_unique<ChartCommand>());
    commands.push_back(std::make_unique<VerifyCommand>());
    commands.push_back(std::make_unique<RepairCommand>());
    commands.push_back(std::make_unique<SymbolsCommand>());
    commands.push_back(std::make_unique<SnapshotCommand>());
    commands.push_back(std::make_unique<WindowCommand>());
    return commands;
}

std::string DescribeWrongUsage(const CLI::App* program, const CLI::Error& error)
{
    std::string word;
    for (const CLI::App* chosen : program->get_subcommands())
        word = " " + chosen->get_name();
    // What the parser did not know says more than what it then missed.
    const std::vector<std::string> unknown = program->remaining(true);
    const std::string reason = unknown.empty() ? error.what() : "\"" + unknown.front() + "\" is not known here";
    return "quarkspindle: " + gMakePrintable(reason) + "\nRun 'quarkspindle" + word + " --help' for its usage.\n";
}

int RunCommand(Command& command)
{
    const std::atomic<bool>& interrupted = System::gCatchInterrupts();
    Utility::Result result;
    bool succeeded = false;
    try
    {
        succeeded = command.Run({interrupted}, result);
    }
    catch (const std::bad_alloc&)
    {
        result.FailText(0, "There is not enough memory");
    }
    if (interrupted.load(std::memory_order_relaxed))
        System::gEndByInterrupt();
    if (!succeeded)
        gPrintError(result);
    return succeeded ? cExitSuccess : cExitBadInput;
}

}

int gRunCommandLine(int argc, const char* const* argv)
{
    CLI::App program{"Shows every occurrence of an instrumentation event of a capture, and which were slow.\n"
                     "With paths and no command it opens them in a window.\n"
                     "Where CAPTURE stands, name the capture's directory, its .session file, or the trace beside it.",
        "quarkspindle"};
    program.set_version_flag("--version", gGetVersionText(), "Print the version and exit");
    program.failure_message(&DescribeWrongUsage);
    program.get_formatter()->label("SUBCOMMAND", "COMMAND");
    program.require_subcommand(0, 1);
    program.footer(
        "Exit codes: 0 success, 1 bad input (one line on standard error says file and reason), 2 wrong usage.\n"
        "'quarkspindle COMMAND --help' explains a command.");

    const std::vector<std::unique_ptr<Command>> commands = MakeCommands();
    for (const auto& command : commands)
        command->Declare(program);
    try
    {
        program.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        // The parser's own exit gives help and version to the first stream, and what is wrong to the second.
        std::ostringstream text;
        if (program.exit(error, text, std::cerr) != 0)
            return cExitUsage;
        Output output;
        output.Write(text.str());
        Utility::Result result;
        if (output.Finish(result))
            return cExitSuccess;
        gPrintError(result);
        return cExitBadInput;
    }
    for (const auto& command : commands)
    {
        if (command->IsChosen())
            return RunCommand(*command);
    }
    return cExitUsage;
}

}
