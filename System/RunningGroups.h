#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace System
{
/// The groups of the running jobs: no more than there are threads that run jobs, with some more where these nest, so a
/// row of numbers is searched faster than anything else. The first few lie in the object itself, and as a rule there
/// are no others: every job comes past here, and each cache line less that it touches is felt.
class RunningGroups
{
public:
    [[nodiscard]] bool Contains(uint32_t group) const
    {
        const auto end = mFew.begin() + mCount;
        return std::find(mFew.begin(), end, group) != end || (mCount == sFew && FindInMore(group) != mMore.size());
    }

    void Add(uint32_t group)
    {
        if (mCount < sFew)
        {
            mFew[mCount++] = group;
        }
        else
        {
            mMore.push_back(group);
        }
    }

    /// The group must be there.
    void Remove(uint32_t group)
    {
        const auto end = mFew.begin() + mCount;
        uint32_t* place = std::find(mFew.begin(), end, group);
        if (mCount < sFew || mMore.empty())
        {
            *place = mFew[--mCount];
            return;
        }
        if (place == end)
        {
            place = &mMore[FindInMore(group)];
        }
        *place = mMore.back();
        mMore.pop_back();
    }

private:
    static constexpr uint32_t sFew = 7;

    [[nodiscard]] size_t FindInMore(uint32_t group) const
    {
        return static_cast<size_t>(std::find(mMore.begin(), mMore.end(), group) - mMore.begin());
    }

    uint32_t mCount = 0; ///< of `mFew`
    std::array<uint32_t, sFew> mFew{};
    std::vector<uint32_t> mMore; ///< empty unless `mFew` is full
};
}
