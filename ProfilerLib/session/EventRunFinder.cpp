#include "ProfilerLib/session/EventRunFinder.h"

#include "ProfilerLib/session/TraceEventCodec.h"

#include <algorithm>
#include <cmath>

namespace Profiler
{
namespace
{
/// By chance there is hardly one of this length, as each record needs one of nine types, and a time behind the last.
constexpr std::size_t cRunLength = 8;

/// What a run may span. Longer ones are not found, which costs events only where texts are of this size.
constexpr std::uint64_t cRunBytes = 4 * 1024 * 1024;

/// What begins with some bytes.
struct Beginning
{
    std::size_t mNumRecords = 0;
    bool mIsWhole = false; ///< as many as make a run, or all up to the end
    double mTime = 0.0;    ///< of the first record
    EventThread mThread;   ///< its thread
};

/// The bytes reach to the end of the data, or further than a run does.
Beginning Examine(std::span<const std::byte> bytes, double time)
{
    Beginning beginning;
    TraceEventDecoder decoder{bytes};
    TraceEventRecord record;
    for (; beginning.mNumRecords < cRunLength; ++beginning.mNumRecords)
    {
        if (!decoder.Step(record))
        {
            beginning.mIsWhole = beginning.mNumRecords > 0 && decoder.GetStop() == EDecodeStop::End;
            return beginning;
        }
        // No clock is that fine: such numbers are whole ones, or pieces of text, that were taken for times.
        const bool isPlausible = record.GetTime() == 0.0 || std::isnormal(record.GetTime());
        if (!isPlausible || record.GetTime() < time)
        {
            return beginning;
        }
        time = record.GetTime();
        if (beginning.mNumRecords == 0)
        {
            beginning.mTime = time;
            beginning.mThread = {record.GetProcessID(), record.GetThreadID()};
        }
    }
    beginning.mIsWhole = true;
    return beginning;
}
}

EventRunFinder::EventRunFinder(const FileSystem::InputFile& file) : mFile{file} {}

bool EventRunFinder::Find(std::uint64_t begin, std::uint64_t end, double time, std::span<const EventPlace> recent,
    std::optional<Run>& run, FileSystem::FileError& error)
{
    run.reset();
    if (!LoadThreads(recent, error))
    {
        return false;
    }
    // To give up all that follows is a way as well.
    std::uint64_t lowestCost = end - begin;
    for (std::uint64_t windowBegin = begin; windowBegin < end; windowBegin += cRunBytes)
    {
        if (!LoadWindow(windowBegin, end, error))
        {
            return false;
        }
        const std::span<const std::byte> window{mWindow.data(), mSize};
        for (std::size_t i = 0; i < std::min<std::uint64_t>(cRunBytes, mSize); ++i)
        {
            const std::uint64_t position = windowBegin + i;
            if (position - begin >= lowestCost)
            {
                return true;
            }
            const Beginning found = Examine(window.subspan(i), time);
            if (!found.mIsWhole || (found.mNumRecords < cRunLength && !IsKnown(found.mThread)))
            {
                continue;
            }
            const auto contradicted = std::upper_bound(recent.begin(), recent.end(), found.mTime,
                [](double value, const EventPlace& place) { return value < place.mTime; });
            const std::uint64_t kept = contradicted == recent.end() ? begin : contradicted->mBegin;
            const std::uint64_t cost = position - kept;
            if (cost < lowestCost)
            {
                lowestCost = cost;
                run = Run{position, static_cast<std::size_t>(recent.end() - contradicted)};
            }
        }
    }
    return true;
}

bool EventRunFinder::LoadWindow(std::uint64_t begin, std::uint64_t end, FileSystem::FileError& error)
{
    mSize = static_cast<std::size_t>(std::min(2 * cRunBytes, end - begin));
    if (mWindow.size() < mSize)
    {
        mWindow.resize(mSize);
    }
    const std::optional<std::size_t> count = mFile.ReadAt(begin, {mWindow.data(), mSize}, error);
    mSize = count.value_or(0);
    return count.has_value();
}

bool EventRunFinder::LoadThreads(std::span<const EventPlace> events, FileSystem::FileError& error)
{
    mThreads.clear();
    for (const EventPlace& event : events)
    {
        // Process and thread lie side by side in a record too.
        static_assert(sizeof(EventThread) == TraceEventLayout::cPayload - TraceEventLayout::cProcessID);
        EventThread thread;
        const std::uint64_t offset = event.mBegin + TraceEventLayout::cProcessID;
        if (!mFile.ReadAt(offset, std::as_writable_bytes(std::span{&thread, 1}), error).has_value())
        {
            return false;
        }
        mThreads.push_back(thread);
    }
    return true;
}

bool EventRunFinder::IsKnown(const EventThread& thread) const
{
    return std::find(mThreads.begin(), mThreads.end(), thread) != mThreads.end();
}
}
