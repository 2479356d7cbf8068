#pragma once

#include "Utility/Result.h"

#include <string>

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{
/// Writes the session file at `path` anew, from the events beside it, which must be sound. They say which threads there
/// were, what they were called and when they ran, and the names and contexts of all events. They do not say where
/// modules were mapped nor what stacks there were: a session made like this has none. The recorded process is the one
/// with most events, the recording ended with its last one. A file that was there is replaced in one step.
[[nodiscard]] bool gRebuildSession(
    const std::string& path, const RTTI::TypeRegistry& registry, Utility::Result& result);
}
