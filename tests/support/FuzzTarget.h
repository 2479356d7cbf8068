#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

/// What every fuzz target is made with. A target is one source file that defines `gRunInput`, and one line
/// `quarkspindle_fuzz_target` in its room's CMakeLists.txt. The harness around it holds every input to the limits of a
/// reader of outside bytes: it ends without a crash, within a second of processor time (and four more for each MiB),
/// and without a single allocation above 16 MiB or four times the input, whichever is more. Allocations, those of C
/// libraries included, are seen in builds with a sanitizer.
namespace Fuzz
{
using Input = std::span<const std::byte>;

/// The target's part: takes one input through what is under test. It returns, whatever the input is.
void gRunInput(Input input);

/// Ends the program, which is how a fuzzer learns of a finding.
[[noreturn]] void gFail(const char* message);

/// For what has to hold with any input.
inline void gCheck(bool condition, const char* message)
{
    if (!condition)
        gFail(message);
}

/// What is done in its lifetime checks an outcome and is no part of reading the input: the limits do not count it.
class Aside
{
public:
    Aside();
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
};

/// A folder for readers that take paths, gone at the end of the program.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string operator/(std::string_view name) const;
    /// Replaces a file, and gives its path.
    std::string Write(std::string_view name, Input content) const;
    std::string Read(std::string_view name) const;

private:
    std::string mPath;
};
}
