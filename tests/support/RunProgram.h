#pragma once

#include <string>
#include <vector>

namespace Tests
{

/// What a program left behind.
struct ProgramResult
{
    int ExitCode = -1; ///< 128 plus the signal when one ended it
    std::string Output;
    std::string Errors;
};

/// Runs a program to its end, with nothing to read and no terminal.
ProgramResult gRunProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory = ".");

/// `quarkspindle` as it was built, with these arguments.
ProgramResult gRunQuarkspindle(std::vector<std::string> arguments, const std::string& workingDirectory = ".");

}
