#pragma once

#include <cstddef>
#include <cstdlib>

namespace Tests
{

/// How large a benchmark's input is: `full` where something is measured. Where the program runs once as a test, so that
/// it can't rot, a hundredth shows as much.
inline std::size_t gGetBenchmarkSize(std::size_t full)
{
    return std::getenv("QUARKSPINDLE_BENCHMARK_RUNS_ONCE") != nullptr ? full / 100 : full;
}

}
