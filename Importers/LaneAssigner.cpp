#include "Importers/LaneAssigner.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Importers
{
namespace
{
/// Of a lane where nothing is open, and of one that does not exist.
constexpr std::int64_t sAnyRoom = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t sNoRoom = std::numeric_limits<std::int64_t>::min();

bool IsBefore(const Interval& a, const Interval& b)
{
    if (a.mStart != b.mStart)
    {
        return a.mStart < b.mStart;
    }
    return a.mEnd != b.mEnd ? a.mEnd > b.mEnd : a.mOrder < b.mOrder;
}

/// Chains intervals in order when each stands behind those within it and all that ended before it, as writers have them
/// that write an interval at its end: linear where a sort is not. Gives the first one. Anything else comes out in some
/// order or other.
std::uint32_t ChainByEnds(std::span<Interval> intervals)
{
    // An interval, those that are equal to it in the order of the file, and what is within them.
    struct Tree
    {
        std::uint32_t mFirst;
        std::uint32_t mLastEqual;
        std::uint32_t mLast;
    };
    std::vector<Tree> open;
    for (std::uint32_t i = 0; i < intervals.size(); ++i)
    {
        Interval& interval = intervals[i];
        if (!open.empty())
        {
            Tree& previous = open.back();
            const Interval& root = intervals[previous.mFirst];
            if (root.mStart == interval.mStart && root.mEnd == interval.mEnd)
            {
                interval.mNext = std::exchange(intervals[previous.mLastEqual].mNext, i);
                previous.mLast = previous.mLast == previous.mLastEqual ? i : previous.mLast;
                previous.mLastEqual = i;
                continue;
            }
        }
        Tree tree = {i, i, i};
        interval.mNext = Interval::sLast;
        while (!open.empty() && intervals[open.back().mFirst].mStart >= interval.mStart)
        {
            const Tree child = open.back();
            open.pop_back();
            tree.mLast = tree.mLast == i ? child.mLast : tree.mLast;
            intervals[child.mLast].mNext = std::exchange(interval.mNext, child.mFirst);
        }
        open.push_back(tree);
    }
    for (std::size_t i = 0; i < open.size(); ++i)
    {
        intervals[open[i].mLast].mNext = i + 1 < open.size() ? open[i + 1].mFirst : Interval::sLast;
    }
    return open.empty() ? Interval::sLast : open.front().mFirst;
}

/// Sorts intervals of which few stand far from their place, as writers have them that write in the order of starts
/// without one among equal starts. False when that would take too many moves; then all are there, in some order.
bool SortByInsertion(std::span<Interval> intervals)
{
    std::size_t numMovesLeft = 4 * intervals.size();
    for (std::size_t i = 1; i < intervals.size(); ++i)
    {
        const Interval moved = intervals[i];
        std::size_t place = i;
        for (; place > 0 && numMovesLeft > 0 && IsBefore(moved, intervals[place - 1]); --place, --numMovesLeft)
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

void Sort(std::span<Interval> intervals)
{
    if (!SortByInsertion(intervals))
    {
        std::sort(intervals.begin(), intervals.end(), IsBefore);
    }
}
}

std::vector<std::uint32_t> LaneAssigner::sAssign(std::span<Interval> intervals)
{
    LaneAssigner assigner;
    if (std::is_sorted(intervals.begin(), intervals.end(), IsBefore))
    {
        assigner.AssignInPlace(intervals);
    }
    else if (!assigner.AssignChain(intervals, ChainByEnds(intervals)))
    {
        // That a chain is not in order shows on the way. What was chained anew by then does not matter to a sort.
        Sort(intervals);
        assigner = LaneAssigner();
        assigner.AssignInPlace(intervals);
    }
    std::vector<std::uint32_t> first;
    for (const Lane& lane : assigner.mLanes)
    {
        first.push_back(lane.mFirst);
    }
    return first;
}

void LaneAssigner::AssignInPlace(std::span<Interval> intervals)
{
    for (std::uint32_t i = 0; i < intervals.size(); ++i)
    {
        Assign(intervals, i);
    }
}

/// False when the chain is not in order, at which the assigning ends.
bool LaneAssigner::AssignChain(std::span<Interval> intervals, std::uint32_t first)
{
    for (std::uint32_t i = first; i != Interval::sLast;)
    {
        const std::uint32_t next = intervals[i].mNext;
        if (next != Interval::sLast && !IsBefore(intervals[i], intervals[next]))
        {
            return false;
        }
        Assign(intervals, i);
        i = next;
    }
    return true;
}

/// Puts the next interval at the end of the chain of its lane.
void LaneAssigner::Assign(std::span<Interval> intervals, std::uint32_t next)
{
    Interval& interval = intervals[next];
    interval.mNext = Interval::sLast;
    const std::size_t index = FindLane(interval);
    if (index == mLanes.size())
    {
        mLanes.push_back({next, next, {}});
    }
    else
    {
        intervals[mLanes[index].mLast].mNext = next;
        mLanes[index].mLast = next;
    }
    mLanes[index].mOpen.push_back(interval.mEnd);
    if (index != 0)
    {
        mNextEnds.emplace(interval.mEnd, index);
        SetRoom(index, interval.mEnd);
    }
}

std::size_t LaneAssigner::FindLane(const Interval& interval)
{
    if (mLanes.empty() || FitsLane0(interval))
    {
        return 0;
    }
    CloseUntil(interval.mStart);
    return FindOtherLane(interval.mEnd);
}

bool LaneAssigner::FitsLane0(const Interval& interval)
{
    std::vector<std::int64_t>& open = mLanes[0].mOpen;
    while (!open.empty() && open.back() <= interval.mStart)
    {
        open.pop_back();
    }
    return open.empty() || interval.mEnd <= open.back();
}

/// In all lanes but the first. What is open in a lane ends from the inside out, so an end always belongs to the
/// innermost.
void LaneAssigner::CloseUntil(std::int64_t time)
{
    while (!mNextEnds.empty() && mNextEnds.top().first <= time)
    {
        const std::size_t lane = mNextEnds.top().second;
        mNextEnds.pop();
        std::vector<std::int64_t>& open = mLanes[lane].mOpen;
        open.pop_back();
        SetRoom(lane, open.empty() ? sAnyRoom : open.back());
    }
}

/// The first lane behind lane 0 with room until `end`, or the one to be added.
std::size_t LaneAssigner::FindOtherLane(std::int64_t end) const
{
    if (mRooms.empty() || mRooms[1] < end)
    {
        return mLanes.size();
    }
    std::size_t node = 1;
    while (node < mNumLeaves)
    {
        node = 2 * node + (mRooms[2 * node] >= end ? 0 : 1);
    }
    return node - mNumLeaves;
}

void LaneAssigner::SetRoom(std::size_t lane, std::int64_t end)
{
    if (lane >= mNumLeaves)
    {
        GrowRooms();
    }
    std::size_t node = mNumLeaves + lane;
    mRooms[node] = end;
    for (node /= 2; node > 0; node /= 2)
    {
        mRooms[node] = std::max(mRooms[2 * node], mRooms[2 * node + 1]);
    }
}

void LaneAssigner::GrowRooms()
{
    const std::vector<std::int64_t> old = std::move(mRooms);
    const std::size_t numOld = mNumLeaves;
    mNumLeaves = std::max<std::size_t>(numOld * 2, 4);
    mRooms.assign(mNumLeaves * 2, sNoRoom);
    for (std::size_t i = 0; i < numOld; ++i)
    {
        mRooms[mNumLeaves + i] = old[numOld + i];
    }
    for (std::size_t node = mNumLeaves - 1; node > 0; --node)
    {
        mRooms[node] = std::max(mRooms[2 * node], mRooms[2 * node + 1]);
    }
}
}
