#pragma once

#include <memory>
#include <vector>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// The commands that draw: `snapshot`, and the window, which is what the program does with paths and no command.
std::vector<std::unique_ptr<Command>> gMakeWindowCommands();

}
