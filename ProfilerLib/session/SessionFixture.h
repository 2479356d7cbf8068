#pragma once

#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/LogCapture.h"
#include "Utility/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Profiler
{
inline TraceEvent MakeEvent(ETraceEventType type, double time, std::int32_t threadID = 1, std::int32_t processID = 0)
{
    TraceEvent event;
    event.mType = type;
    event.mTime = time;
    event.mThreadID = threadID;
    event.mProcessID = processID;
    return event;
}

inline TraceEvent MakeBegin(double time, std::string name, std::string context = {}, std::int32_t threadID = 1)
{
    TraceEvent event = MakeEvent(ETraceEventType::InstrumentationBegin, time, threadID);
    event.mID = 77;
    event.mName = std::move(name);
    event.mContext = std::move(context);
    return event;
}

inline TraceEvent MakeThreadStart(double time, std::int32_t threadID, std::uint64_t address, bool existedBefore = false)
{
    TraceEvent event = MakeEvent(ETraceEventType::ThreadStart, time, threadID);
    event.mStartAddress = address;
    event.mExistedBefore = existedBefore ? 1 : 0;
    return event;
}

inline TraceEvent MakeThreadName(double time, std::int32_t threadID, std::string name)
{
    TraceEvent event = MakeEvent(ETraceEventType::ThreadName, time, threadID);
    event.mName = std::move(name);
    return event;
}

/// A folder for a capture, the types that are stored in one, and the log.
class SessionFixture : public ::testing::Test
{
protected:
    SessionFixture() { gRegisterCaptureTypes(mRegistry); }

    std::string GetSessionPath() const { return mFolder / "capture.session"; }

    TemporaryFolder mFolder;
    RTTI::TypeRegistry mRegistry;
    LogCapture mLog;
    Utility::Result mResult;
};
}
