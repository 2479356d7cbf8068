#pragma once

#include "ProfilerLib/session/TraceEvent.h"
#include "Utility/OutputMemoryStream.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>

/// Events as bytes, and back. A record is packed and little-endian; `docs/format/event-stream.md` has it in full:
///
///     | type 1 | time 8 | process 4 | thread 4 | payload by type |
///
/// and a text in a payload is a 64-bit byte count and that many bytes.
namespace Profiler
{
static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

/// Where the fields of a record lie.
struct TraceEventLayout
{
    static constexpr std::size_t cType = 0;
    static constexpr std::size_t cTime = 1;
    static constexpr std::size_t cProcessID = 9;
    static constexpr std::size_t cThreadID = 13;
    static constexpr std::size_t cPayload = 17;

    /// Number of types that are stored; their numbers start at 0.
    static constexpr std::size_t cNumTypes = 9;
    /// The length of a record with empty texts, by type.
    static constexpr std::uint8_t cFixedSize[cNumTypes] = {25, 18, 25, 33, 26, 18, 25, 41, 17};

    static constexpr std::size_t sGetFixedSize(ETraceEventType type)
    {
        return cFixedSize[static_cast<std::size_t>(type)];
    }

    static constexpr std::size_t cThreadNameText = 25;
    static constexpr std::size_t cBeginName = 33;

    /// Finite and not negative. One comparison of bits: the numbers below that of infinity are just these.
    static bool sIsValidTime(double time)
    {
        return std::bit_cast<std::uint64_t>(time) <
               std::bit_cast<std::uint64_t>(std::numeric_limits<double>::infinity());
    }
};

/// Appends the record of an event that has one of the stored types.
template <class Text>
void gEncodeTraceEvent(const BasicTraceEvent<Text>& event, Utility::OutputMemoryStream& stream)
{
    const std::string_view name = event.mName;
    const std::string_view context = event.mContext;
    std::size_t size = TraceEventLayout::sGetFixedSize(event.mType);
    if (event.mType == ETraceEventType::InstrumentationBegin)
    {
        size += name.size() + context.size();
    }
    else if (event.mType == ETraceEventType::ThreadName)
    {
        size += name.size();
    }

    std::byte* target = stream.Append(size);
    const auto put = [&target](const auto& value) {
        std::memcpy(target, &value, sizeof(value));
        target += sizeof(value);
    };
    const auto putText = [&target, &put](std::string_view text) {
        put(std::uint64_t{text.size()});
        if (!text.empty())
        {
            std::memcpy(target, text.data(), text.size());
            target += text.size();
        }
    };

    put(event.mType);
    put(event.mTime + 0.0); // so that a negative zero becomes the one that readers take
    put(event.mProcessID);
    put(event.mThreadID);
    switch (event.mType)
    {
    case ETraceEventType::Sample:
    case ETraceEventType::Reserved2:
        put(event.mValue);
        break;
    case ETraceEventType::Reserved1:
        put(event.mByte);
        break;
    case ETraceEventType::Reserved3:
        put(event.mValue);
        put(event.mFirst);
        put(event.mSecond);
        break;
    case ETraceEventType::ThreadStart:
        put(event.mExistedBefore);
        put(event.mStartAddress);
        break;
    case ETraceEventType::ThreadEnd:
        put(event.mOutlivedCapture);
        break;
    case ETraceEventType::ThreadName:
        putText(name);
        break;
    case ETraceEventType::InstrumentationBegin:
        put(event.mID);
        putText(name);
        putText(context);
        break;
    case ETraceEventType::InstrumentationEnd:
    case ETraceEventType::None:
        break;
    }
}

/// One record where it lies. `TraceEventDecoder` has checked that all of it is there, so that the accessors only load;
/// it lives as long as the bytes. Ask for a payload only of a type that has it.
class TraceEventRecord
{
public:
    TraceEventRecord() = default;
    explicit TraceEventRecord(const std::byte* bytes) : mBytes{bytes} {}

    ETraceEventType GetType() const { return static_cast<ETraceEventType>(mBytes[TraceEventLayout::cType]); }
    /// Milliseconds on the capture's clock.
    double GetTime() const { return Load<double>(TraceEventLayout::cTime); }
    std::int32_t GetProcessID() const { return Load<std::int32_t>(TraceEventLayout::cProcessID); }
    std::int32_t GetThreadID() const { return Load<std::int32_t>(TraceEventLayout::cThreadID); }

    /// Of InstrumentationBegin.
    std::uint64_t GetID() const { return Load<std::uint64_t>(TraceEventLayout::cPayload); }
    std::string_view GetBeginName() const { return LoadText(TraceEventLayout::cBeginName - sizeof(std::uint64_t)); }
    std::string_view GetBeginContext() const
    {
        constexpr std::size_t cNameCount = TraceEventLayout::cBeginName - sizeof(std::uint64_t);
        return LoadText(TraceEventLayout::cBeginName + static_cast<std::size_t>(Load<std::uint64_t>(cNameCount)));
    }

    /// All that the type has; the other fields are zero or empty.
    TraceEventView GetView() const;

private:
    template <class T>
    T Load(std::size_t offset) const
    {
        T value;
        std::memcpy(&value, mBytes + offset, sizeof(value));
        return value;
    }

    std::string_view LoadText(std::size_t offset) const
    {
        return {reinterpret_cast<const char*>(mBytes + offset + sizeof(std::uint64_t)),
            static_cast<std::size_t>(Load<std::uint64_t>(offset))};
    }

    const std::byte* mBytes = nullptr;
};

inline TraceEventView TraceEventRecord::GetView() const
{
    constexpr std::size_t cPayload = TraceEventLayout::cPayload;

    TraceEventView view;
    view.mType = GetType();
    view.mTime = GetTime();
    view.mProcessID = GetProcessID();
    view.mThreadID = GetThreadID();
    switch (view.mType)
    {
    case ETraceEventType::Sample:
    case ETraceEventType::Reserved2:
        view.mValue = Load<std::uint64_t>(cPayload);
        break;
    case ETraceEventType::Reserved1:
        view.mByte = Load<std::uint8_t>(cPayload);
        break;
    case ETraceEventType::Reserved3:
        view.mValue = Load<std::uint64_t>(cPayload);
        view.mFirst = Load<std::uint32_t>(cPayload + 8);
        view.mSecond = Load<std::uint32_t>(cPayload + 12);
        break;
    case ETraceEventType::ThreadStart:
        view.mExistedBefore = Load<std::uint8_t>(cPayload);
        view.mStartAddress = Load<std::uint64_t>(cPayload + 1);
        break;
    case ETraceEventType::ThreadEnd:
        view.mOutlivedCapture = Load<std::uint8_t>(cPayload);
        break;
    case ETraceEventType::ThreadName:
        view.mName = LoadText(cPayload);
        break;
    case ETraceEventType::InstrumentationBegin:
        view.mID = GetID();
        view.mName = GetBeginName();
        view.mContext = GetBeginContext();
        break;
    case ETraceEventType::InstrumentationEnd:
    case ETraceEventType::None:
        break;
    }
    return view;
}

/// Why a decoder gives no further record.
enum class EDecodeStop : std::uint8_t
{
    End,         ///< all bytes were read
    UnknownType, ///< no event has that type number
    BadTime,     ///< the time is negative or no number
    PastEnd,     ///< the record is longer than what is left
};

/// Steps over the records of a chunk's bytes, checking each: nothing it gives reaches outside them, whatever they hold.
/// It makes no strings and allocates nothing. A bad record ends the reading, since nothing says where the next one
/// would begin. Cheap to copy; a tight loop keeps its own copy in registers.
class TraceEventDecoder
{
public:
    TraceEventDecoder() = default;
    explicit TraceEventDecoder(std::span<const std::byte> bytes)
        : mNext{bytes.data()},
          mBegin{bytes.data()},
          mEnd{bytes.data() + bytes.size()}
    {}

    /// Gives the next record and moves behind it. False at the end and at a bad record, and from then on.
    [[nodiscard]] bool Step(TraceEventRecord& record)
    {
        const std::size_t remaining = static_cast<std::size_t>(mEnd - mNext);
        if (remaining < TraceEventLayout::cPayload) [[unlikely]]
        {
            return false;
        }
        if (!TraceEventLayout::sIsValidTime(Load<double>(TraceEventLayout::cTime))) [[unlikely]]
        {
            return false;
        }
        // Almost all are begins and ends. With their sizes as constants the processor, which guesses the type, need not
        // wait for it to be loaded and looked up before it begins with the next record.
        const auto type = static_cast<ETraceEventType>(*mNext);
        std::size_t size = TraceEventLayout::sGetFixedSize(ETraceEventType::InstrumentationEnd);
        if (type == ETraceEventType::InstrumentationBegin)
        {
            size = TraceEventLayout::sGetFixedSize(ETraceEventType::InstrumentationBegin);
            if (!AddText(TraceEventLayout::cBeginName - sizeof(std::uint64_t), remaining, size) ||
                !AddText(size - sizeof(std::uint64_t), remaining, size)) [[unlikely]]
            {
                return false;
            }
        }
        else if (type != ETraceEventType::InstrumentationEnd) [[unlikely]]
        {
            if (static_cast<std::size_t>(type) >= TraceEventLayout::cNumTypes)
            {
                return false;
            }
            size = TraceEventLayout::sGetFixedSize(type);
            if (size > remaining ||
                (type == ETraceEventType::ThreadName &&
                    !AddText(TraceEventLayout::cThreadNameText - sizeof(std::uint64_t), remaining, size)))
            {
                return false;
            }
        }
        record = TraceEventRecord{mNext};
        mNext += size;
        return true;
    }

    /// Of the record that comes next, or where the reading stopped, in bytes from the beginning.
    std::size_t GetOffset() const { return static_cast<std::size_t>(mNext - mBegin); }

    /// After `Step` has returned false.
    EDecodeStop GetStop() const;
    /// The same: the bytes that the record takes at least, as far as those that are there tell. More than are left,
    /// unless it is bad in another way.
    std::uint64_t GetLeastSize() const;

private:
    /// Adds the text whose count lies at `offset` to the size of the next record, which has the count already. False
    /// when the record is then longer than what is left.
    bool AddText(std::size_t offset, std::size_t remaining, std::size_t& size) const
    {
        if (size > remaining) [[unlikely]]
        {
            return false;
        }
        const std::uint64_t count = Load<std::uint64_t>(offset);
        if (count > remaining - size) [[unlikely]]
        {
            return false;
        }
        size += static_cast<std::size_t>(count);
        return true;
    }

    template <class T>
    T Load(std::size_t offset) const
    {
        T value;
        std::memcpy(&value, mNext + offset, sizeof(value));
        return value;
    }

    const std::byte* mNext = nullptr;
    const std::byte* mBegin = nullptr;
    const std::byte* mEnd = nullptr;
};

/// The reason as a sentence for the log.
const char* gGetText(EDecodeStop stop);
}
