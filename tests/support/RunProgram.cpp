#include "tests/support/RunProgram.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tests
{

namespace
{

[[noreturn]] void Execute(
    const std::vector<std::string>& arguments, const std::string& directory, int output, int errors)
{
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    if (chdir(directory.c_str()) == 0)
        execv(argv[0], argv.data());
    _exit(127);
}

/// Takes in both streams as they come, so that neither can block the program. Calls `onOutput` after each piece.
template <class Callback>
void Collect(int output, int errors, ProgramResult& result, const Callback& onOutput)
{
    std::array<pollfd, 2> streams{pollfd{output, POLLIN, 0}, pollfd{errors, POLLIN, 0}};
    std::array<std::string*, 2> texts{&result.Output, &result.Errors};
    std::array<char, 65536> block;
    int open = 2;
    while (open > 0 && poll(streams.data(), streams.size(), -1) > 0)
    {
        for (std::size_t i = 0; i < streams.size(); ++i)
        {
            if (streams[i].fd < 0 || streams[i].revents == 0)
                continue;
            const ssize_t count = read(streams[i].fd, block.data(), block.size());
            if (count > 0)
            {
                texts[i]->append(block.data(), static_cast<std::size_t>(count));
                onOutput();
                continue;
            }
            streams[i].fd = -1;
            --open;
        }
    }
}

/// Runs a program to its end. `watch` gets its process id and what it has written, at first nothing.
template <class Callback>
ProgramResult Run(const std::vector<std::string>& arguments, const std::string& workingDirectory, const Callback& watch)
{
    ProgramResult result;
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(errors.data(), O_CLOEXEC) != 0)
        std::abort();
    const pid_t child = fork();
    if (child == 0)
        Execute(arguments, workingDirectory, output[1], errors[1]);
    close(output[1]);
    close(errors[1]);
    watch(child, result);
    Collect(output[0], errors[0], result, [&] { watch(child, result); });
    close(output[0]);
    close(errors[0]);

    int status = 0;
    waitpid(child, &status, 0);
    result.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

}

ProgramResult gRunProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory)
{
    return Run(arguments, workingDirectory, [](pid_t, const ProgramResult&) {});
}

ProgramResult gRunAndKillProgram(
    const std::vector<std::string>& arguments, std::size_t numBytes, std::chrono::microseconds delay)
{
    bool isKilled = false;
    return Run(arguments, ".", [&](pid_t child, const ProgramResult& result) {
        if (isKilled || result.Output.size() < numBytes)
            return;
        isKilled = true;
        std::this_thread::sleep_for(delay);
        kill(child, SIGKILL);
    });
}

ProgramResult gRunQuarkspindle(std::vector<std::string> arguments, const std::string& workingDirectory)
{
    arguments.insert(arguments.begin(), QUARKSPINDLE_PROGRAM);
    return gRunProgram(arguments, workingDirectory);
}

}
