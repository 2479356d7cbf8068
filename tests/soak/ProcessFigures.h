#pragma once

#include <cstdint>

namespace Tests
{

/// What this process takes of the system at the moment.
struct ProcessFigures
{
    /// Memory of its own in use; pages of mapped files don't count.
    uint64_t MemoryKiB = 0;
    int NumThreads = 0;
    int NumDescriptors = 0;
};

ProcessFigures gGetProcessFigures();

}
