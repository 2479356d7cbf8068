#include "Importers/ThreadIntervals.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Importers
{
/// The first mark, or one that is not in order.
void ThreadIntervals::AddOther(const Mark& mark)
{
    if (mMarks == nullptr)
    {
        mMarks = std::make_unique<Marks>();
        for (std::size_t i = 0; i < mIntervals.GetSize(); ++i)
        {
            mMarks->mOrigins.Add({});
        }
        Add(mark);
        return;
    }
    if (mMarks->mIsInOrder)
    {
        TakeApart();
    }
    mMarks->mWaiting.Add(mark);
}

/// All marks wait then, and the intervals are those that were no pairs.
void ThreadIntervals::TakeApart()
{
    RecordArray<Mark> waiting = std::move(mMarks->mLeft);
    mMarks->mPairer.Finish([&waiting](const Mark& begin) { waiting.Add(begin); });
    const RecordArray<Interval> intervals = std::move(mIntervals);
    const RecordArray<Origin> origins = std::move(mMarks->mOrigins);
    *this = ThreadIntervals();
    for (std::size_t i = 0; i < intervals.GetSize(); ++i)
    {
        const Interval& interval = intervals[i];
        const Origin& origin = origins[i];
        if (!origin.mIsPair)
        {
            AddInterval(interval);
            continue;
        }
        waiting.Add({interval.mStart, interval.mName, origin.mHasBeginContext ? interval.mContext : TextArena::sNone,
            interval.mOrder, false});
        waiting.Add({interval.mEnd, origin.mHasEndName ? interval.mName : Mark::sNoName, origin.mEndContext,
            origin.mEndOrder, true});
    }
    mMarks = std::make_unique<Marks>();
    mMarks->mIsInOrder = false;
    mMarks->mWaiting = std::move(waiting);
}

PairCounts ThreadIntervals::FinishMarks()
{
    Sort();
    for (const Mark& mark : mMarks->mWaiting)
    {
        Pair(mark);
    }
    mMarks->mPairer.Finish([this](const Mark&) { ++mMarks->mCounts.mUnfinished; });
    const PairCounts counts = mMarks->mCounts;
    mMarks.reset();
    return counts;
}

void ThreadIntervals::Sort()
{
    std::sort(mMarks->mWaiting.begin(), mMarks->mWaiting.end(),
        [](const Mark& a, const Mark& b) { return std::tie(a.mTime, a.mOrder) < std::tie(b.mTime, b.mOrder); });
}
}
