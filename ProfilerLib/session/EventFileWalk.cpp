#include "ProfilerLib/session/EventFileWalk.h"

#include "Utility/Format.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

namespace Profiler
{
namespace
{
constexpr std::uint64_t cWindowSize = 1024 * 1024;

std::uint64_t LoadCount(const std::byte* bytes)
{
    std::uint64_t count = 0;
    std::memcpy(&count, bytes, sizeof(count));
    return count;
}
}

EventFileWalk::EventFileWalk(const FileSystem::InputFile& file) : mFile{file} {}

void EventFileWalk::Start(std::uint64_t begin, std::uint64_t end, double time)
{
    mDecoder = {};
    mWindowBegin = begin;
    mWindowEnd = begin;
    mOffset = begin;
    mEnd = end;
    mTime = time;
    mStop = EStop::None;
    mFault.clear();
}

bool EventFileWalk::StepBehindWindow()
{
    if (mStop != EStop::None)
    {
        return false;
    }
    EDecodeStop reason = mDecoder.GetStop();
    const bool isCutByWindow = reason == EDecodeStop::End || reason == EDecodeStop::PastEnd;
    if (isCutByWindow && mWindowEnd < mEnd)
    {
        if (!LoadWindow())
        {
            return false;
        }
        TraceEventRecord record;
        if (mDecoder.Step(record))
        {
            return Accept(record.GetTime(), mWindowBegin + mDecoder.GetOffset());
        }
        reason = mDecoder.GetStop();
        if (reason == EDecodeStop::PastEnd && mWindowEnd < mEnd)
        {
            return StepOverLongRecord();
        }
    }
    return StopAtRecord(reason);
}

/// The record at the beginning of the window, which has room for all of it but the texts.
bool EventFileWalk::StepOverLongRecord()
{
    const std::uint64_t remaining = mEnd - mOffset;
    const std::byte* const head = mWindow.data();
    const bool isBegin = static_cast<ETraceEventType>(head[TraceEventLayout::cType]) //
                         == ETraceEventType::InstrumentationBegin;
    const std::size_t text = isBegin ? TraceEventLayout::cBeginName : TraceEventLayout::cThreadNameText;
    std::uint64_t size = TraceEventLayout::cFixedSize[static_cast<std::size_t>(head[TraceEventLayout::cType])];

    const std::uint64_t name = LoadCount(head + text - sizeof(std::uint64_t));
    if (name > remaining - size)
    {
        return StopAtRecord(EDecodeStop::PastEnd);
    }
    size += name;
    if (isBegin)
    {
        std::byte bytes[sizeof(std::uint64_t)];
        if (!Read(mOffset + size - sizeof(bytes), bytes))
        {
            return false;
        }
        const std::uint64_t context = LoadCount(bytes);
        if (context > remaining - size)
        {
            return StopAtRecord(EDecodeStop::PastEnd);
        }
        size += context;
    }
    double time = 0.0;
    std::memcpy(&time, head + TraceEventLayout::cTime, sizeof(time));
    mDecoder = {};
    mWindowBegin = mOffset + size;
    mWindowEnd = mWindowBegin;
    return Accept(time, mWindowBegin);
}

bool EventFileWalk::LoadWindow()
{
    const auto size = static_cast<std::size_t>(std::min(cWindowSize, mEnd - mOffset));
    if (mWindow.size() < size)
    {
        mWindow.resize(size);
    }
    const std::span<std::byte> bytes{mWindow.data(), size};
    if (!Read(mOffset, bytes))
    {
        return false;
    }
    mWindowBegin = mOffset;
    mWindowEnd = mOffset + size;
    mDecoder = TraceEventDecoder{bytes};
    return true;
}

bool EventFileWalk::Read(std::uint64_t offset, std::span<std::byte> target)
{
    FileSystem::FileError error;
    const std::optional<std::size_t> count = mFile.ReadAt(offset, target, error);
    if (count.has_value() && *count == target.size())
    {
        return true;
    }
    const std::string reason = count.has_value() ? "the file ends there" : error.GetReason();
    return Stop(EStop::Unreadable,
        Utility::gFormat("byte %" PRIu64 " cannot be read: %s", offset + count.value_or(0), reason.c_str()));
}

bool EventFileWalk::Stop(EStop stop, std::string fault)
{
    mDecoder = {};
    mStop = stop;
    mFault = std::move(fault);
    return false;
}

bool EventFileWalk::StopAtEarlierTime()
{
    return Stop(EStop::TimeGoesBack,
        Utility::gFormat("the event at byte %" PRIu64 " is earlier than the one before it", mOffset));
}

bool EventFileWalk::StopAtRecord(EDecodeStop reason)
{
    if (reason == EDecodeStop::End)
    {
        return Stop(EStop::End, {});
    }
    return Stop(reason == EDecodeStop::PastEnd ? EStop::PastEnd : EStop::BadRecord,
        Utility::gFormat("the event at byte %" PRIu64 " cannot be read: %s", mOffset, gGetText(reason)));
}
}
