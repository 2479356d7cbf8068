#pragma once

#include <cstdint>
#include <limits>

namespace Importers
{
/// One occurrence of an event, 32 bytes. Times are nanoseconds on the clock of the trace.
struct Interval
{
    std::int64_t mStart;
    std::int64_t mEnd;
    /// In the NameTable.
    std::uint32_t mName;
    /// In the ContextTable, or TextArena::sNone.
    std::uint32_t mContext;
    /// Where the event stood in the file.
    std::uint32_t mOrder;
    /// The next interval of the same lane, once lanes are assigned.
    std::uint32_t mNext;

    static constexpr std::uint32_t sLast = std::numeric_limits<std::uint32_t>::max();
};

/// One end of an interval whose other end is an event of its own.
struct Mark
{
    std::int64_t mTime;
    /// In the NameTable, or sNoName for an end that closes whatever is open.
    std::uint32_t mName;
    /// In the ContextTable, or TextArena::sNone.
    std::uint32_t mContext;
    std::uint32_t mOrder;
    bool mIsEnd;

    static constexpr std::uint32_t sNoName = std::numeric_limits<std::uint32_t>::max();
};

/// A mark of an operation that is named by a key rather than by its thread.
struct AsyncMark : Mark
{
    std::uint32_t mKey;
    std::uint32_t mThread;
};
}
