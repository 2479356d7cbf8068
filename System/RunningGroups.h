#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace System
{
/// The groups of the running jobs: no more than there are threads that run jobs, with some more where these nest, so a
/// row of numbers is searched faster than anything else.
class RunningGroups
{
public:
    [[nodiscard]] bool Contains(uint32_t group) const
    {
        return std::find(mGroups.begin(), mGroups.end(), group) != mGroups.end();
    }

    void Add(uint32_t group) { mGroups.push_back(group); }

    void Remove(uint32_t group)
    {
        *std::find(mGroups.begin(), mGroups.end(), group) = mGroups.back();
        mGroups.pop_back();
    }

private:
    std::vector<uint32_t> mGroups;
};
}
