#include "tests/support/FuzzTarget.h"

#include "Utility/FileSystem.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <vector>

// Of the sanitizers' run-time libraries; null in a build without one.
extern "C" [[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(
    void (*mallocHook)(const volatile void*, std::size_t), void (*freeHook)(const volatile void*));

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Fuzz
{
namespace
{
constexpr std::size_t cMiB = std::size_t{1} << 20;
constexpr std::size_t cNoLimit = std::numeric_limits<std::size_t>::max();

/// Of one allocation. Any thread allocates; the limit orders nothing else.
std::atomic<std::size_t> sAllocationLimit{cNoLimit};

// Of the thread that runs the input.
std::size_t sInputLimit = cNoLimit;
std::clock_t sStart = 0;
std::clock_t sSpent = 0;

void Resume()
{
    sAllocationLimit = sInputLimit;
    sStart = std::clock();
}

void Pause()
{
    sSpent += std::clock() - sStart;
    sAllocationLimit = cNoLimit;
}

void OnAllocation(const volatile void*, std::size_t size)
{
    const std::size_t limit = sAllocationLimit.load(std::memory_order_relaxed);
    if (size <= limit)
        return;
    sAllocationLimit = cNoLimit;
    std::fprintf(stderr, "%zu bytes were allocated at once, the limit is %zu\n", size, limit);
    gFail("an allocation is too large for its input");
}

/// The processor time counts: that of a wall clock would depend on what else the machine does.
bool IsFast(Input input)
{
    sInputLimit = std::max(16 * cMiB, 4 * input.size());
    sSpent = 0;
    Resume();
    gRunInput(input);
    Pause();
    return static_cast<std::size_t>(sSpent / CLOCKS_PER_SEC) <= 4 * (input.size() / cMiB);
}

bool Prepare()
{
    Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
    if (__sanitizer_install_malloc_and_free_hooks != nullptr)
        __sanitizer_install_malloc_and_free_hooks(OnAllocation, [](const volatile void*) {});
    return true;
}
}

void gFail(const char* message)
{
    std::fprintf(stderr, "Finding: %s\n", message);
    std::abort();
}

Aside::Aside()
{
    Pause();
}

Aside::~Aside()
{
    Resume();
}

ScratchFolder::ScratchFolder()
    : mPath{FileSystem::gCombinePath(
          std::filesystem::temp_directory_path().string(), "qs-fuzz-" + Utility::gFormatGUID(Utility::gMakeGUID()))}
{
    gCheck(FileSystem::gCreateDirectoryTree(mPath), "the scratch folder cannot be made");
}

ScratchFolder::~ScratchFolder()
{
    FileSystem::gDeleteDirectoryTree(mPath);
}

std::string ScratchFolder::operator/(std::string_view name) const
{
    return FileSystem::gCombinePath(mPath, name);
}

std::string ScratchFolder::Write(std::string_view name, Input content) const
{
    std::string path = *this / name;
    std::ofstream file{path, std::ios::binary};
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    gCheck(file.flush().good(), "a scratch file cannot be written");
    return path;
}

std::string ScratchFolder::Read(std::string_view name) const
{
    std::vector<std::byte> bytes;
    gCheck(FileSystem::gReadFileToBuffer(*this / name, bytes), "a scratch file cannot be read");
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    [[maybe_unused]] static const bool sIsPrepared = Fuzz::Prepare();
    const Fuzz::Input input{reinterpret_cast<const std::byte*>(data), size};
    // What is slow only the first time (memory that is touched first, say) is not meant.
    if (!Fuzz::IsFast(input))
        Fuzz::gCheck(Fuzz::IsFast(input), "an input takes more than a second, and four for each MiB");
    return 0;
}
