#include "Importers/ThreadLanes.h"

#include <algorithm>

namespace Importers
{
/// Sorts intervals of which few stand far from their place, as writers have them that write in the order of starts
/// without one among equal starts. False when that would take too many moves; then all are there, in some order.
bool ThreadLanes::sSortByInsertion(std::span<Interval> intervals)
{
    std::size_t numMovesLeft = 4 * intervals.size();
    for (std::size_t i = 1; i < intervals.size(); ++i)
    {
        const Interval moved = intervals[i];
        std::size_t place = i;
        for (; place > 0 && numMovesLeft > 0 && sIsBefore(moved, intervals[place - 1]); --place, --numMovesLeft)
        {
            intervals[place] = intervals[place - 1];
        }
        intervals[place] = moved;
        if (numMovesLeft == 0)
        {
            return false;
        }
    }
    return true;
}

void ThreadLanes::sSort(std::span<Interval> intervals)
{
    if (!sSortByInsertion(intervals))
    {
        std::sort(intervals.begin(), intervals.end(), sIsBefore);
    }
}

/// Takes what has come by its start so far as if it had come by its end.
void ThreadLanes::ChangeOrder(std::span<Interval> intervals)
{
    mIsByStart = false;
    mAssigner = LaneAssigner();
    for (std::size_t i = 0; i < intervals.size(); ++i)
    {
        mByEnd.Add(intervals.first(i + 1));
    }
}

std::vector<std::uint32_t> ThreadLanes::Finish(std::span<Interval> intervals)
{
    if (mIsByStart)
    {
        return mAssigner.GetFirst();
    }
    const std::uint32_t first = mByEnd.Finish(intervals);
    if (mByEnd.IsNested())
    {
        return {first};
    }
    mByEnd = EndOrderChain();
    if (!AssignChain(intervals, first))
    {
        // That a chain is not in order shows on the way. What was chained anew by then does not matter to a sort.
        sSort(intervals);
        mAssigner = LaneAssigner();
        AssignInPlace(intervals);
    }
    return mAssigner.GetFirst();
}

void ThreadLanes::AssignInPlace(std::span<Interval> intervals)
{
    for (std::uint32_t i = 0; i < intervals.size(); ++i)
    {
        mAssigner.Assign(intervals, i);
    }
}

/// False when the chain is not in order, at which the assigning ends.
bool ThreadLanes::AssignChain(std::span<Interval> intervals, std::uint32_t first)
{
    for (std::uint32_t i = first; i != Interval::sLast;)
    {
        const std::uint32_t next = intervals[i].mNext;
        if (next != Interval::sLast && !sIsBefore(intervals[i], intervals[next]))
        {
            return false;
        }
        mAssigner.Assign(intervals, i);
        i = next;
    }
    return true;
}
}
