#pragma once

#include <cstdint>

namespace Tests
{
/// How often this thread has asked operator new for memory. A program that links AllocationCounter.cpp has operator new
/// and delete replaced by ones that count.
std::uint64_t gCountAllocations();
}
