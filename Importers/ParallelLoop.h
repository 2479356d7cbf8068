#pragma once

#include <cstddef>
#include <functional>

namespace Importers
{
/// How many threads a ParallelLoop has at most, the caller's among them.
std::size_t gCountLoopThreads();

/// Calls `function(thread, index)` for each index below `count`, on several threads at once and in any order; `thread`
/// counts from 0 and tells the threads apart. Returns when all is done. An exception ends the loop early and comes out
/// here.
void gLoopInParallel(std::size_t count, const std::function<void(std::size_t, std::size_t)>& function);
}
