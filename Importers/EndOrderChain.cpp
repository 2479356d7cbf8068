#include "Importers/EndOrderChain.h"

#include <cstddef>
#include <utility>

namespace Importers
{
/// Puts an interval behind those of the last tree that are equal to it.
void EndOrderChain::AddEqual(std::span<Interval> intervals, std::uint32_t index)
{
    Tree& tree = mTrees.back();
    Interval& interval = intervals[index];
    mIsNested = mIsNested && intervals[tree.mLastEqual].mOrder < interval.mOrder;
    interval.mNext = std::exchange(intervals[tree.mLastEqual].mNext, index);
    tree.mLast = tree.mLast == tree.mLastEqual ? index : tree.mLast;
    tree.mLastEqual = index;
}

std::uint32_t EndOrderChain::Finish(std::span<Interval> intervals) const
{
    for (std::size_t i = 0; i < mTrees.size(); ++i)
    {
        intervals[mTrees[i].mLast].mNext = i + 1 < mTrees.size() ? mTrees[i + 1].mFirst : Interval::sLast;
    }
    return mTrees.empty() ? Interval::sLast : mTrees.front().mFirst;
}
}
