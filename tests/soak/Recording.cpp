#include "tests/soak/Recording.h"

#include "ProfilerLib/session/TraceEventCodec.h"
#include "Utility/FileWriter.h"
#include "Utility/OutputMemoryStream.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace Tests
{

namespace
{

using Profiler::ETraceEventType;

constexpr ETraceEventType cUsualTypes[] = {ETraceEventType::InstrumentationBegin, ETraceEventType::InstrumentationBegin,
    ETraceEventType::InstrumentationEnd, ETraceEventType::InstrumentationEnd};
constexpr ETraceEventType cOtherTypes[] = {
    ETraceEventType::ThreadStart, ETraceEventType::ThreadName, ETraceEventType::Sample, ETraceEventType::ThreadEnd};

}

Profiler::TraceEvent gMakeRecordedEvent(uint64_t seed, uint64_t number)
{
    // Four events make a group, on one thread; one group in 16 is not of instrumentation.
    const uint64_t group = number / 4;
    Profiler::TraceEvent event;
    event.mType = (group % 16 == 15 ? cOtherTypes : cUsualTypes)[number % 4];
    event.mTime = static_cast<double>(number) * 0.5;
    event.mThreadID = static_cast<int32_t>(group % 3);
    if (event.mType != ETraceEventType::InstrumentationEnd && event.mType != ETraceEventType::ThreadEnd)
        event.mValue = seed * 1000003 + number;
    if (event.mType == ETraceEventType::InstrumentationBegin)
    {
        event.mName = number % 10000 == 0 ? cRareName : "event " + std::to_string(group % 20);
        event.mContext.assign(static_cast<std::size_t>(number * 7 % 60), static_cast<char>('a' + number % 26));
    }
    else if (event.mType == ETraceEventType::ThreadName)
    {
        event.mName = "thread " + std::to_string(number);
    }
    return event;
}

bool gHoldsRecording(const std::string& dataPath, uint64_t seed, uint64_t numEvents)
{
    constexpr uint64_t batch = 10000;
    FileSystem::InputFile file;
    FileSystem::FileError error;
    if (!file.Open(dataPath, error))
        return false;
    uint64_t offset = 0;
    std::vector<std::byte> stored;
    Utility::OutputMemoryStream expected;
    for (uint64_t number = 0; number < numEvents;)
    {
        expected.Clear();
        for (const uint64_t end = std::min(number + batch, numEvents); number < end; ++number)
            Profiler::gEncodeTraceEvent(gMakeRecordedEvent(seed, number), expected);
        stored.resize(expected.GetSize());
        if (file.ReadAt(offset, stored, error) != stored.size() || !std::ranges::equal(stored, expected.GetData()))
            return false;
        offset += stored.size();
    }
    return true;
}

bool gIsLongForm()
{
    return std::getenv("QUARKSPINDLE_SOAK") != nullptr;
}

}
