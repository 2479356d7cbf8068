#pragma once

#include <cstdint>
#include <vector>

/// The processes that this one has started, for tests that do something to workers.
namespace Profiler::Testing
{

/// Those that have not ended.
std::vector<uint32_t> gListChildren();

/// At once, as a crash would.
void gKill(uint32_t processID);

}
