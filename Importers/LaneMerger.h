#pragma once

#include "Importers/Interval.h"
#include "Importers/RecordingThreads.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Importers
{
/// The begin or the end of an interval, 24 bytes.
struct MergedEvent
{
    /// In the recording.
    double mTimeMs;
    /// Index of the RecordingThread.
    std::uint32_t mThread;
    /// Of a begin: in the NameTable, and in the TextArena. TextArena::sNone when there is none.
    std::uint32_t mName;
    std::uint32_t mContext;
    bool mIsEnd;
    /// Of a begin: of all events of the thread. Of an end: the last of them.
    bool mIsFirst;
    bool mIsLast;
};
static_assert(sizeof(MergedEvent) == 24);

/// Merges the intervals of all threads to begins and ends in the order of time. On each thread they come in nesting
/// order: what ends at or before the start of the next interval ends before that begins, and an interval of no length
/// ends right behind its begin. At the same time all events of one thread come before those of the threads behind it.
class LaneMerger
{
public:
    /// `origin` is the time 0 of the recording, in nanoseconds. All that is given must outlive the merger.
    LaneMerger(std::span<const RecordingThread> threads, std::int64_t origin);

    /// The next events, as many as there is room for and fewer only at the end. The result is how many.
    std::size_t Merge(std::span<MergedEvent> events);

private:
    struct Cursor
    {
        std::span<const Interval> mIntervals;
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
        const Interval* GetNext(const Interval& interval) const
        {
            return interval.mNext != Interval::sLast ? &mIntervals[interval.mNext] : nullptr;
        }
        void MoveAhead();
    };

    /// What a cursor stands for in the tree: the earlier one wins, of equal times that of the thread in front.
    struct Player
    {
        /// Ordered as the times are.
        std::uint64_t mTime;
        std::uint64_t mCursor;
    };
    /// Behind all times that intervals have.
    static constexpr Player sNobody{std::numeric_limits<std::uint64_t>::max(), 0};

    bool IsAtEnd() const { return mWinner.mTime == sNobody.mTime; }
    void TakeNext(std::uint32_t index, MergedEvent& event);
    void Play(std::size_t cursor);
    Player GetPlayer(std::size_t cursor) const;
    double GetTimeMs(std::int64_t time) const;

    std::uint64_t mOrigin;
    std::vector<Cursor> mCursors;
    /// A tree of matches for the earliest next event: node i, from 1 on, has who lost there, and the winner went on to
    /// node i / 2. A cursor whose time has changed plays against the losers on its way up, whose places do not depend
    /// on how the matches end.
    std::vector<Player> mLosers;
    Player mWinner = sNobody;
};
}
