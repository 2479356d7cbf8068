#include "tests/support/RunProgram.h"

#include <array>
#include <cstdlib>

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

/// Takes in both streams as they come, so that neither can block the program.
void Collect(int output, int errors, ProgramResult& result)
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
                continue;
            }
            streams[i].fd = -1;
            --open;
        }
    }
}

}

ProgramResult gRunProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory)
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
    Collect(output[0], errors[0], result);
    close(output[0]);
    close(errors[0]);

    int status = 0;
    waitpid(child, &status, 0);
    result.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

ProgramResult gRunQuarkspindle(std::vector<std::string> arguments, const std::string& workingDirectory)
{
    arguments.insert(arguments.begin(), QUARKSPINDLE_PROGRAM);
    return gRunProgram(arguments, workingDirectory);
}

}
