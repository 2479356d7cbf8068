#pragma once

#include "Importers/Interval.h"

#include <cstddef>
#include <cstdint>
#include <queue>
#include <span>
#include <utility>
#include <vector>

namespace Importers
{
/// Distributes the intervals of one thread over lanes so that on each of them intervals nest: each goes to the first
/// lane where it fits. An interval fits a lane when, after the innermost open ones that end at or before its start are
/// closed, nothing is open or the innermost open one ends no earlier than it. The cost of an interval grows with the
/// logarithm of the number of lanes.
class LaneAssigner
{
public:
    /// The next one by start ascending, end descending and order. It goes to the end of the chain of its lane, through
    /// mNext.
    void Assign(std::span<Interval> intervals, std::uint32_t next);
    /// The first interval of each lane, so its size is the number of lanes.
    std::vector<std::uint32_t> GetFirst() const;

private:
    struct Lane
    {
        std::uint32_t mFirst;
        std::uint32_t mLast;
        /// Ends of the intervals that are open, innermost last.
        std::vector<std::int64_t> mOpen;
    };

    std::size_t FindLane(const Interval& interval);
    bool FitsLane0(const Interval& interval);
    void CloseUntil(std::int64_t time);
    std::size_t FindOtherLane(std::int64_t end) const;
    void SetRoom(std::size_t lane, std::int64_t end);
    void GrowRooms();

    std::vector<Lane> mLanes;
    /// Lane 0 takes nearly every interval, so it is looked at first and by itself. For the others: the next end with
    /// its lane, and a tree over the latest end that each lane has room for, whose node i covers the nodes 2i and 2i
    /// + 1.
    std::priority_queue<std::pair<std::int64_t, std::size_t>, std::vector<std::pair<std::int64_t, std::size_t>>,
        std::greater<>>
        mNextEnds;
    std::vector<std::int64_t> mRooms;
    std::size_t mNumLeaves = 0;
};
}
