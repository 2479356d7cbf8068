#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Profiler
{

/// A set of identifiers that only grows, in one flat table: it answers for an identifier that was seen before with one
/// look at memory, where a map of texts needs several. Made for hashes; any number may be put in. One thread.
class KnownIDs
{
public:
    /// True when the identifier is new. It is in the set from then on.
    bool Add(uint64_t id)
    {
        if (id == 0)
            return !std::exchange(mHasZero, true);
        if (2 * (mCount + 1) > mSlots.size())
            Grow();
        if (!Insert(id))
            return false;
        ++mCount;
        return true;
    }

private:
    bool Insert(uint64_t id)
    {
        const std::size_t mask = mSlots.size() - 1;
        // The upper bits of the product depend on all bits of the identifier.
        std::size_t slot = static_cast<std::size_t>((id * 0x9E3779B97F4A7C15) >> mShift);
        while (mSlots[slot] != 0)
        {
            if (mSlots[slot] == id)
                return false;
            slot = (slot + 1) & mask;
        }
        mSlots[slot] = id;
        return true;
    }

    void Grow()
    {
        std::vector<uint64_t> previous(mSlots.empty() ? cFirstSize : 2 * mSlots.size());
        previous.swap(mSlots);
        --mShift;
        for (const uint64_t id : previous)
            if (id != 0)
                Insert(id);
    }

    static constexpr std::size_t cFirstSize = 64;

    std::vector<uint64_t> mSlots; ///< a power of two of them, at most half in use; 0 for free
    int mShift = 64 - 5;          ///< 64 minus the size's logarithm, once there are slots
    std::size_t mCount = 0;
    bool mHasZero = false;
};

}
