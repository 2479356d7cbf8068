#pragma once

#include <cstdint>
#include <string>

namespace Profiler
{

/// One hit of a search by name, in the functions or in the instrumentation events.
struct InstrumentationSearchResult
{
    std::string mName;
    uint64_t mID = 0;                ///< the event's identifier, or the function's address
    bool mIsInstrumentation = false; ///< false for a function

    bool operator==(const InstrumentationSearchResult&) const = default;
};

}
