#pragma once

#include <chrono>
#include <cstddef>
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

/// Starts a program and kills it: once it has written that many bytes to its output, and the delay has passed. The
/// result has all that it had written by then.
ProgramResult gRunAndKillProgram(
    const std::vector<std::string>& arguments, std::size_t numBytes, std::chrono::microseconds delay);

/// `quarkspindle` as it was built, with these arguments.
ProgramResult gRunQuarkspindle(std::vector<std::string> arguments, const std::string& workingDirectory = ".");

}
