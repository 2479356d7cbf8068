#include "ProfilerLib/session/TraceEventCodec.h"

#include <algorithm>
#include <limits>

namespace Profiler
{
EDecodeStop TraceEventDecoder::GetStop() const
{
    const auto remaining = static_cast<std::size_t>(mEnd - mNext);
    if (remaining == 0)
    {
        return EDecodeStop::End;
    }
    if (static_cast<std::size_t>(*mNext) >= TraceEventLayout::cNumTypes)
    {
        return EDecodeStop::UnknownType;
    }
    if (remaining >= TraceEventLayout::cPayload &&
        !TraceEventLayout::sIsValidTime(Load<double>(TraceEventLayout::cTime)))
    {
        return EDecodeStop::BadTime;
    }
    return EDecodeStop::PastEnd;
}

std::uint64_t TraceEventDecoder::GetLeastSize() const
{
    const auto remaining = static_cast<std::size_t>(mEnd - mNext);
    if (remaining == 0 || static_cast<std::size_t>(*mNext) >= TraceEventLayout::cNumTypes)
    {
        return 1;
    }
    const auto type = static_cast<ETraceEventType>(*mNext);
    std::uint64_t size = TraceEventLayout::sGetFixedSize(type);
    const auto addText = [&](std::uint64_t offset) {
        const bool hasCount = size <= remaining;
        if (hasCount)
        {
            const std::uint64_t count = Load<std::uint64_t>(static_cast<std::size_t>(offset));
            size += std::min(count, std::numeric_limits<std::uint64_t>::max() - size);
        }
        return hasCount;
    };
    if (type == ETraceEventType::ThreadName)
    {
        addText(TraceEventLayout::cThreadNameText - sizeof(std::uint64_t));
    }
    else if (type == ETraceEventType::InstrumentationBegin &&
             addText(TraceEventLayout::cBeginName - sizeof(std::uint64_t)))
    {
        addText(size - sizeof(std::uint64_t));
    }
    return size;
}

const char* gGetText(EDecodeStop stop)
{
    switch (stop)
    {
    case EDecodeStop::End:
        return "the end of the chunk";
    case EDecodeStop::UnknownType:
        return "no event has the type that is stored there";
    case EDecodeStop::BadTime:
        return "the time of the event is negative or no finite number";
    case EDecodeStop::PastEnd:
        return "the event runs past the end of its chunk";
    }
    return "";
}
}
