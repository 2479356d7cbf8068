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
}

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

std::vector<std::uint32_t> LaneAssigner::GetFirst() const
{
    std::vector<std::uint32_t> first;
    for (const Lane& lane : mLanes)
    {
        first.push_back(lane.mFirst);
    }
    return first;
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
