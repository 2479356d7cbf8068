#include "Utility/FileSystem.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{
int RunFile(const std::string& path)
{
    // The last line tells which file it was when the program ends here.
    std::fprintf(stderr, "%s\n", path.c_str());
    std::vector<std::byte> bytes;
    if (!FileSystem::gReadFileToBuffer(path, bytes))
    {
        std::fputs("This file cannot be read.\n", stderr);
        return 1;
    }
    return LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}
}

/// Takes every file of the folder in the first argument, or that file, through the fuzz target.
int main(int argc, char** argv)
{
    std::vector<std::string> files;
    if (argc == 2 && !FileSystem::gListFiles(argv[1], "", files, false))
        files.emplace_back(argv[1]);
    if (files.empty())
    {
        std::fputs("Name a folder with inputs, or one input.\n", stderr);
        return 2;
    }
    for (const std::string& file : files)
    {
        if (RunFile(file) != 0)
            return 1;
    }
    return 0;
}
