#include "Quarkspindle/commands/WindowCommand.h"

#include <CLI/CLI.hpp>

#include "Utility/FileSystem.h"

namespace Quarkspindle
{

namespace
{

/// A word that was meant as a command is no path.
std::string CheckPath(const std::string& path)
{
    const bool isMeantAsPath = path.find_first_of("/.") != std::string::npos;
    return isMeantAsPath || FileSystem::gFileExists(path) ? std::string{}
                                                          : "\"" + path + "\" is neither a command nor a file";
}

}

void WindowCommand::Declare(CLI::App& program)
{
    mProgram = &program;
    program.add_option("PATH", mRequest.mPaths, "Traces and captures to open in the window")
        ->check(CLI::Validator{CheckPath, "", "path"});
    // For measuring; docs/performance.md says how.
    program.add_flag("--exit-at-first-frame", mRequest.mExitsAtFirstFrame)->group("");
}

bool WindowCommand::Run(const CommandContext& context, Utility::Result& result)
{
    const WindowModule* module = gLoadWindowModule(result);
    return module != nullptr && module->RunWindow(mRequest, context.Interrupted, result);
}

bool WindowCommand::IsChosen() const
{
    return mProgram->get_subcommands().empty();
}

}
