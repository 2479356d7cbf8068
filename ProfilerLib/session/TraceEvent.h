#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Profiler
{

/// What a trace event tells, and with it its payload. The numbers are stored in files.
enum class ETraceEventType : uint8_t
{
    Sample = 0,               ///< mValue
    Reserved1 = 1,            ///< mByte
    Reserved2 = 2,            ///< mValue
    Reserved3 = 3,            ///< mValue, mFirst, mSecond
    ThreadStart = 4,          ///< mExistedBefore, mStartAddress
    ThreadEnd = 5,            ///< mOutlivedCapture
    ThreadName = 6,           ///< mName
    InstrumentationBegin = 7, ///< mID, mName, mContext
    InstrumentationEnd = 8,   ///< nothing
    None = 9,                 ///< no event; never written
};

/// One record of the event stream: a head that all types share, and a payload by type. `Text` is `std::string` in an
/// event of its own and `std::string_view` in one that borrows from the bytes it was decoded from.
template <class Text>
struct BasicTraceEvent
{
    ETraceEventType mType = ETraceEventType::None;
    union
    {
        uint8_t mByte = 0;
        uint8_t mExistedBefore;   ///< 1: the thread was there before the capture began
        uint8_t mOutlivedCapture; ///< 1: the thread was still there when the capture ended
    };
    int32_t mProcessID = 0;
    int32_t mThreadID = 0;
    double mTime = -1.0; ///< milliseconds on the capture's clock; -1.0 marks no event
    union
    {
        uint64_t mValue = 0;
        uint64_t mStartAddress;
        uint64_t mID;
    };
    uint32_t mFirst = 0;
    uint32_t mSecond = 0;
    Text mName{};
    Text mContext{}; ///< the text that the program passed along with this one occurrence
};

/// An event that borrows its texts; it lives as long as the bytes it was decoded from.
using TraceEventView = BasicTraceEvent<std::string_view>;

/// An event that owns its texts.
struct TraceEvent : BasicTraceEvent<std::string>
{
    TraceEvent() = default;
    explicit TraceEvent(const TraceEventView& view) { Assign(view); }

    /// The event as one that borrows this one's texts.
    operator TraceEventView() const
    {
        TraceEventView view;
        view.mType = mType;
        view.mByte = mByte;
        view.mProcessID = mProcessID;
        view.mThreadID = mThreadID;
        view.mTime = mTime;
        view.mValue = mValue;
        view.mFirst = mFirst;
        view.mSecond = mSecond;
        view.mName = mName;
        view.mContext = mContext;
        return view;
    }

    /// Takes a view over, reusing the room of the texts that are here.
    void Assign(const TraceEventView& view)
    {
        mType = view.mType;
        mByte = view.mByte;
        mProcessID = view.mProcessID;
        mThreadID = view.mThreadID;
        mTime = view.mTime;
        mValue = view.mValue;
        mFirst = view.mFirst;
        mSecond = view.mSecond;
        mName.assign(view.mName);
        mContext.assign(view.mContext);
    }
};

}
