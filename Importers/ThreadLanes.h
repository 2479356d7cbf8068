#pragma once

#include "Importers/EndOrderChain.h"
#include "Importers/Interval.h"
#include "Importers/LaneAssigner.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Importers
{
/// The lanes of the intervals of one thread, which come in any order. Those of most traces come by their starts, or
/// nest and come by their ends: then all is done while an interval and its neighbours are at hand, and nothing is left
/// for the end.
class ThreadLanes
{
public:
    /// The last one is new; the others are those that have been added, in their places.
    void Add(std::span<Interval> intervals);
    /// Chains the intervals of each lane through mNext, and gives the first one of each. They may change their places.
    /// No more is added then.
    std::vector<std::uint32_t> Finish(std::span<Interval> intervals);

private:
    static bool sIsBefore(const Interval& a, const Interval& b)
    {
        if (a.mStart != b.mStart)
        {
            return a.mStart < b.mStart;
        }
        return a.mEnd != b.mEnd ? a.mEnd > b.mEnd : a.mOrder < b.mOrder;
    }
    static bool sSortByInsertion(std::span<Interval> intervals);
    static void sSort(std::span<Interval> intervals);
    void ChangeOrder(std::span<Interval> intervals);
    void AssignInPlace(std::span<Interval> intervals);
    bool AssignChain(std::span<Interval> intervals, std::uint32_t first);

    /// Until one comes out of order.
    bool mIsByStart = true;
    LaneAssigner mAssigner;
    EndOrderChain mByEnd;
};

inline void ThreadLanes::Add(std::span<Interval> intervals)
{
    const std::size_t last = intervals.size() - 1;
    if (!mIsByStart) [[likely]]
    {
        mByEnd.Add(intervals);
    }
    else if (last == 0 || !sIsBefore(intervals[last], intervals[last - 1])) [[likely]]
    {
        mAssigner.Assign(intervals, static_cast<std::uint32_t>(last));
    }
    else
    {
        ChangeOrder(intervals);
    }
}
}
