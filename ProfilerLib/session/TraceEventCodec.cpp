#include "ProfilerLib/session/TraceEventCodec.h"

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
