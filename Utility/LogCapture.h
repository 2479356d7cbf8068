#pragma once

#include "Utility/Mutex.h"
#include "Utility/Trace.h"

#include <string>
#include <utility>
#include <vector>

/// Collects what is logged while it lives.
class LogCapture
{
public:
    LogCapture()
    {
        Utility::gSetTraceSinks(
            {{[](const char* line, void* self) { static_cast<LogCapture*>(self)->Add(line); }, this}});
    }
    ~LogCapture() { Utility::gSetTraceSinks(mSinksBefore); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What has come since the last call.
    std::string Take()
    {
        const Utility::MutexLock lock{mMutex};
        return std::exchange(mText, {});
    }

private:
    void Add(const char* line)
    {
        const Utility::MutexLock lock{mMutex};
        mText += line;
    }

    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
    Utility::Mutex mMutex;
    std::string mText GUARDED_BY(mMutex);
};
