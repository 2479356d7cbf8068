#pragma once

#include <cstdint>

namespace TestSupport
{

/// What the calling thread has taken from `operator new` so far. For test programs that are linked with the source of
/// this, which replaces the operator.
std::uint64_t gGetNumAllocations();

}
