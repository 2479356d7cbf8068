#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

using ThreadID = int32_t;

/// What is known of one thread of the recorded process. Times are milliseconds on the capture's clock.
struct Thread
{
    int32_t ThreadID = 0;
    std::string ThreadName; ///< given by a ThreadName event, or by the classification of the start address
    double StartTimeMs = 0.0;
    double EndTimeMs = 0.0;
    uint64_t NumSamples = 0;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Thread>("Profiler::Thread", RTTI::Version{1}, RTTI::Field<&Thread::ThreadID>{"ThreadID"},
            RTTI::Field<&Thread::ThreadName>{"ThreadName"}, RTTI::Field<&Thread::StartTimeMs>{"StartTimeMs"},
            RTTI::Field<&Thread::EndTimeMs>{"EndTimeMs"}, RTTI::Field<&Thread::NumSamples>{"NumSamples"});
    }
};

using ThreadMap = std::unordered_map<Profiler::ThreadID, Thread>;

}

/// The key is declared through its alias, and so it is spelled in the files.
template <>
struct RTTI::DeclaredName<Profiler::ThreadMap>
{
    static constexpr RTTI::FixedString Value{"Map_Profiler::ThreadID_To_Profiler::Thread"};
};
