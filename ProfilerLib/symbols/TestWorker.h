#pragma once

#include <string>

namespace RTTI
{
class TypeRegistry;
}
namespace Utility
{
class Result;
}

namespace Profiler
{

/// Whether the worker program can run at all: starts one, asks whether it is there and ends it. False with the reason
/// in `result`. Takes up to five seconds.
[[nodiscard]] bool TestWorker(const std::string& logFilePath, const std::string& executablePath,
    const RTTI::TypeRegistry& registry, Utility::Result& result);

}
