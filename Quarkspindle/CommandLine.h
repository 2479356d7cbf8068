#pragma once

#include <memory>
#include <vector>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// The whole program: parses, runs the chosen command, reports. Gives the exit code: 0, 1 for bad input, 2 for a
/// command line that is wrong. Called once, by `main`, which brings commands of its own beside those for a terminal.
int gRunCommandLine(int argc, const char* const* argv, std::vector<std::unique_ptr<Command>> moreCommands);

}
