#pragma once

#include "Importers/Interval.h"
#include "Importers/RecordingThreads.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Utility
{
class Result;
}

namespace Importers
{
class EventSink;
class NameTable;
class TextArena;
struct RecordedEvent;

/// Sends the intervals of all threads as begin and end events in the order of time. On each thread they come in nesting
/// order: what ends at or before the start of the next interval ends before that begins, and an interval of no length
/// ends right behind its begin. At the same time all events of one thread come before those of the threads behind it.
/// A thread's start and name precede its first event, its end follows the last one, at the same times.
class LaneMerger
{
public:
    /// `origin` is the time 0 of the recording. All that is given must outlive the merger.
    LaneMerger(std::span<const RecordingThread> threads, NameTable& names, TextArena& contexts, std::int64_t origin);

    /// Sends at most `count` intervals, and all that ends meanwhile.
    [[nodiscard]] bool Send(std::uint64_t count, EventSink& sink, Utility::Result& result);
    bool IsAtEnd() const { return mTimes[mWinners[1]] == sNever; }
    std::uint64_t GetNumSent() const { return mNumSent; }

private:
    /// Behind all times that intervals have.
    static constexpr std::int64_t sNever = std::numeric_limits<std::int64_t>::max();

    struct Cursor
    {
        const RecordingThread* mThread = nullptr;
        /// The interval that begins next, or null.
        const Interval* mNext = nullptr;
        /// Some steps further, to fetch what will be needed there; null behind the last.
        const Interval* mAhead = nullptr;
        /// Ends of the intervals that are open, innermost last.
        std::vector<std::int64_t> mOpen;
        bool mHasStarted = false;

        bool IsAtEnd() const { return mNext == nullptr && mOpen.empty(); }
        bool IsEndNext() const { return mNext == nullptr || (!mOpen.empty() && mOpen.back() <= mNext->mStart); }
        std::int64_t GetTime() const { return IsEndNext() ? mOpen.back() : mNext->mStart; }
    };
    bool SendNext(Cursor& cursor, EventSink& sink, Utility::Result& result);
    bool SendBegin(Cursor& cursor, RecordedEvent& event, EventSink& sink, Utility::Result& result);
    bool SendEnd(Cursor& cursor, RecordedEvent& event, EventSink& sink, Utility::Result& result);
    static const Interval* sGetNext(const Cursor& cursor, const Interval& interval);
    void MoveOn(Cursor& cursor);
    void MoveAhead(Cursor& cursor);
    void Play(std::size_t cursor);

    NameTable& mNames;
    TextArena& mContexts;
    std::int64_t mOrigin;
    std::vector<Cursor> mCursors;
    /// A tree of matches for the earliest next event, whose node i has the winner of the nodes 2i and 2i + 1; the last
    /// half are the cursors themselves, and of equal times the left one wins. A match costs no branch that the
    /// processor could guess wrong.
    std::vector<std::uint32_t> mWinners;
    /// Of each cursor's next event; sNever where there is none.
    std::vector<std::int64_t> mTimes;
    std::uint64_t mNumSent = 0;
};
}
