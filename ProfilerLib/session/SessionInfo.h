#pragma once

#include <cstdint>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// What the capture side says of a recording as a whole. Times are in milliseconds.
struct SessionInfo
{
    int32_t ProcessID = 0;
    bool Is64BitProcess = true;
    double SampleIntervalMs = 0.0;
    double SessionEndTimeMs = 0.0; ///< when the recording ended, on the capture's clock

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SessionInfo>("Profiler::SessionInfo", RTTI::Version{1},
            RTTI::Field<&SessionInfo::ProcessID>{"ProcessID"},
            RTTI::Field<&SessionInfo::Is64BitProcess>{"Is64BitProcess"},
            RTTI::Field<&SessionInfo::SampleIntervalMs>{"SampleIntervalMs"},
            RTTI::Field<&SessionInfo::SessionEndTimeMs>{"SessionEndTimeMs"});
    }
};

}
