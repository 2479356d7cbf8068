#pragma once

#include <cstdint>
#include <string_view>

namespace Profiler
{
struct Symbol;
class SymbolModule;
}
namespace Utility
{
class Result;
}

namespace Quarkspindle
{

/// The function that somebody means by a name: all of it, else what is left of it without parameters and without what
/// it returns, else a clone that a compiler made of that function ("Work(int) [clone .cold]"), which gives way to it,
/// else the innermost part ("Work" for "Outer::Work<int>(int)"). Null with the reason in `result` when there is none or
/// several fit equally well. `base` is added to addresses there.
const Profiler::Symbol* gFindFunction(
    const Profiler::SymbolModule& module, uint64_t base, std::string_view name, Utility::Result& result);

}
