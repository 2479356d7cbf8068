#include "Utility/FileSystem.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

// Of the sanitizers' run-time libraries; null in a build without one.
extern "C" [[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(
    void (*mallocHook)(const volatile void*, std::size_t), void (*freeHook)(const volatile void*));

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{
/// Allocations are the same under each sanitizer. That of threads is slow, and races show in less.
#ifdef __SANITIZE_THREAD__
constexpr std::size_t cUnfoldedSize = std::size_t{1} << 20;
#else
constexpr std::size_t cUnfoldedSize = std::size_t{5} << 20;
#endif

void Replace(std::string& text, std::string_view what, std::string_view with)
{
    for (std::size_t found = text.find(what); found != std::string::npos; found = text.find(what, found + with.size()))
        text.replace(found, what.size(), with);
}

/// Repeats the unit of "head@REPEAT@unit@REPEAT@tail", in which "@N@" counts from 0, until the text has that size: what
/// takes more memory than is in the file shows in no small one.
void Unfold(std::string& text)
{
    constexpr std::string_view mark = "@REPEAT@";
    const std::size_t first = text.find(mark);
    const std::size_t second = text.find(mark, first + mark.size());
    const std::string unit = text.substr(first + mark.size(), second - first - mark.size());
    const std::string tail = text.substr(second + mark.size());
    text.resize(first);
    for (int i = 0; text.size() < cUnfoldedSize; ++i)
    {
        std::string next = unit;
        Replace(next, "@N@", std::to_string(i));
        text += next;
    }
    text += tail;
}

bool IsAllocationSeen()
{
    return __sanitizer_install_malloc_and_free_hooks != nullptr;
}

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
    std::string input{reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    if (path.ends_with(".repeat"))
    {
        if (!IsAllocationSeen())
            return 0;
        Unfold(input);
    }
    // Of just that size, so that a sanitizer sees what reads behind the end.
    const std::vector<std::uint8_t> exact{input.begin(), input.end()};
    return LLVMFuzzerTestOneInput(exact.data(), exact.size());
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
