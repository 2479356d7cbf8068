#pragma once

#include "Importers/Interval.h"
#include "Importers/MarkPairer.h"
#include "Importers/RecordArray.h"
#include "Importers/TextTable.h"
#include "Importers/ThreadLanes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace Importers
{
/// What became of the marks of a thread.
struct PairCounts
{
    std::uint64_t mPaired = 0;
    std::uint64_t mUnfinished = 0;
    std::uint64_t mUnmatched = 0;
};

/// The intervals of one thread, in lanes. A pair of marks becomes an interval as soon as its end comes, and an interval
/// gets its lane when it comes, if that is possible: as long as the times of the marks never decrease, and the
/// intervals come in an order that ThreadLanes knows. Otherwise it is made up for at the end, with the same result. One
/// thread at a time.
class ThreadIntervals
{
public:
    void Add(const Interval& interval);
    /// Marks of equal times are in the order in which they come.
    void Add(const Mark& mark);

    bool HasMarks() const { return mMarks != nullptr; }
    /// No more marks come.
    PairCounts FinishMarks();
    /// No more intervals come.
    void FinishLanes() { mFirst = mLanes.Finish(Get()); }

    std::size_t GetSize() const { return mIntervals.GetSize(); }
    std::span<Interval> Get() { return {mIntervals.begin(), mIntervals.end()}; }
    std::span<const Interval> Get() const { return {mIntervals.begin(), mIntervals.end()}; }
    /// The first interval of each lane, once they are finished; the others are chained.
    std::span<const std::uint32_t> GetLanes() const { return mFirst; }
    /// Of all intervals. Without one, the first is behind all times and the last in front of them.
    std::int64_t GetFirstTime() const { return mFirstTime; }
    std::int64_t GetLastTime() const { return mLastTime; }

    static Interval sJoin(const Mark& begin, const Mark& end);

private:
    /// What an interval does not tell of the marks that it was made of.
    struct Origin
    {
        std::uint32_t mEndOrder;
        std::uint32_t mEndContext;
        bool mIsPair;
        bool mHasEndName;
        bool mHasBeginContext;
    };

    struct Marks
    {
        std::int64_t mLastTime = std::numeric_limits<std::int64_t>::min();
        /// Until one is earlier than the one before it. From then on all of them wait in mWaiting.
        bool mIsInOrder = true;
        MarkPairer<Mark> mPairer;
        PairCounts mCounts;
        /// Of each interval, also of those that are no pairs, so that pairs can be taken apart.
        RecordArray<Origin> mOrigins;
        /// Those that are in no pair, and never will be while the order lasts.
        RecordArray<Mark> mLeft;
        RecordArray<Mark> mWaiting;
    };

    void AddInterval(const Interval& interval);
    void AddOther(const Mark& mark);
    void Pair(const Mark& mark);
    void AddPair(const Mark& begin, const Mark& end);
    void TakeApart();
    void Sort();

    RecordArray<Interval> mIntervals;
    ThreadLanes mLanes;
    std::vector<std::uint32_t> mFirst;
    std::int64_t mFirstTime = std::numeric_limits<std::int64_t>::max();
    std::int64_t mLastTime = std::numeric_limits<std::int64_t>::min();
    /// Of threads that have marks.
    std::unique_ptr<Marks> mMarks;
};

// Inline, as all that is done for each event while it is read.
inline void ThreadIntervals::Add(const Interval& interval)
{
    AddInterval(interval);
    if (mMarks != nullptr && mMarks->mIsInOrder)
    {
        mMarks->mOrigins.Add({});
    }
}

inline void ThreadIntervals::AddInterval(const Interval& interval)
{
    mIntervals.Add(interval);
    mFirstTime = std::min(mFirstTime, interval.mStart);
    mLastTime = std::max(mLastTime, interval.mEnd);
    mLanes.Add(Get());
}

inline void ThreadIntervals::Add(const Mark& mark)
{
    if (mMarks != nullptr && mMarks->mIsInOrder && mark.mTime >= mMarks->mLastTime) [[likely]]
    {
        mMarks->mLastTime = mark.mTime;
        Pair(mark);
    }
    else
    {
        AddOther(mark);
    }
}

inline void ThreadIntervals::Pair(const Mark& mark)
{
    mMarks->mPairer.Add(
        mark, [this](const Mark& begin, const Mark& end) { AddPair(begin, end); },
        [this](const Mark& begin) {
            ++mMarks->mCounts.mUnfinished;
            mMarks->mLeft.Add(begin);
        },
        [this](const Mark& end) {
            ++mMarks->mCounts.mUnmatched;
            mMarks->mLeft.Add(end);
        });
}

inline void ThreadIntervals::AddPair(const Mark& begin, const Mark& end)
{
    AddInterval(sJoin(begin, end));
    mMarks->mCounts.mPaired += 2;
    if (mMarks->mIsInOrder)
    {
        mMarks->mOrigins.Add(
            {end.mOrder, end.mContext, true, end.mName != Mark::sNoName, begin.mContext != TextArena::sNone});
    }
}

/// The arguments are those of the begin, or those of the end when the begin has none.
inline Interval ThreadIntervals::sJoin(const Mark& begin, const Mark& end)
{
    return {begin.mTime, end.mTime, begin.mName, begin.mContext != TextArena::sNone ? begin.mContext : end.mContext,
        begin.mOrder, Interval::sLast};
}
}
