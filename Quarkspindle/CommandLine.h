#pragma once

namespace Quarkspindle
{

/// The whole program: parses, runs the chosen command, reports. Gives the exit code: 0, 1 for bad input, 2 for a
/// command line that is wrong. Called once, by `main`.
int gRunCommandLine(int argc, const char* const* argv);

}
