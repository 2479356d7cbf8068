#pragma once

#include "Importers/Interval.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Importers
{
/// Chains the intervals of one thread in the order of their starts while they come in the order of their ends, as those
/// have them who write an interval when it is over: each interval then stands behind those within it and all that ended
/// before it. The cost is linear where that of a sort is not. Intervals that come otherwise are chained in some order
/// or other.
class EndOrderChain
{
public:
    /// The last one is new; the others are those that have been added, in their places.
    void Add(std::span<Interval> intervals);
    /// Whether all came in that order and nest, so that the chain is in order and one lane takes all of it.
    bool IsNested() const { return mIsNested; }
    /// Completes the chain through mNext, and gives the first one; Interval::sLast when there is none. No more is added
    /// then.
    std::uint32_t Finish(std::span<Interval> intervals) const;

private:
    /// An interval, those that are equal to it, and what is within them.
    struct Tree
    {
        std::uint32_t mFirst;
        std::uint32_t mLastEqual;
        std::uint32_t mLast;
    };

    void AddEqual(std::span<Interval> intervals, std::uint32_t index);

    /// That no interval has taken in yet.
    std::vector<Tree> mTrees;
    bool mIsNested = true;
};

// Inline, as all that is done for each interval while it is read.
inline void EndOrderChain::Add(std::span<Interval> intervals)
{
    const auto index = static_cast<std::uint32_t>(intervals.size() - 1);
    Interval& interval = intervals[index];
    std::uint32_t next = Interval::sLast;
    std::uint32_t last = index;
    std::uint32_t lastEqual = index;
    while (!mTrees.empty())
    {
        const Tree& tree = mTrees.back();
        const Interval& root = intervals[tree.mFirst];
        if (root.mStart < interval.mStart)
        {
            mIsNested = mIsNested && root.mEnd <= interval.mStart;
            break;
        }
        if (root.mStart == interval.mStart && root.mEnd == interval.mEnd) [[unlikely]]
        {
            if (root.mOrder < interval.mOrder && last == index)
            {
                AddEqual(intervals, index);
                return;
            }
            mIsNested = mIsNested && root.mOrder > interval.mOrder;
            lastEqual = tree.mLastEqual;
        }
        mIsNested = mIsNested && root.mEnd <= interval.mEnd;
        last = last == index ? tree.mLast : last;
        intervals[tree.mLast].mNext = next;
        next = tree.mFirst;
        mTrees.pop_back();
    }
    interval.mNext = next;
    mTrees.push_back({index, lastEqual, last});
}
}
