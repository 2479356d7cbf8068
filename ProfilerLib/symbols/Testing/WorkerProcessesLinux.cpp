#include "ProfilerLib/symbols/Testing/WorkerProcesses.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace Profiler::Testing
{

std::vector<uint32_t> gListChildren()
{
    std::vector<uint32_t> children;
    for (const auto& entry : std::filesystem::directory_iterator{"/proc"})
    {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        // "4711 (name) S 4710 ...": number, name, state, parent. The name may hold anything.
        std::ifstream file{entry.path() / "stat"};
        std::string line;
        std::getline(file, line);
        const std::size_t afterName = line.rfind(") ");
        if (afterName == std::string::npos || line[afterName + 2] == 'Z')
            continue;
        if (std::stoul(line.substr(afterName + 4)) == static_cast<unsigned long>(getpid()))
            children.push_back(static_cast<uint32_t>(std::stoul(name)));
    }
    return children;
}

void gKill(uint32_t processID)
{
    kill(static_cast<pid_t>(processID), SIGKILL);
}

}
