#pragma once

#include "System/Prefetch.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace System
{
/// Objects that are used again and again: taking one and giving it back costs a few instructions, where the general
/// allocator pays for memory that one thread allocates and another one frees. An object comes as its last user left it.
/// The memory stays until the pool ends, so a pool is as large as its largest number of objects in use at once.
/// The list of free ones runs through `mNextInTable`, which an object needs only while it is in use.
template <typename T>
class ObjectPool
{
public:
    [[nodiscard]] T& Take()
    {
        if (mFree == nullptr)
        {
            mFree = std::exchange(mReturned, nullptr);
            if (mFree == nullptr)
            {
                AddBlock();
            }
        }
        T& object = *mFree;
        mFree = object.mNextInTable;
        // The next one was last used by another thread, as a rule.
        gPrefetch(mFree);
        return object;
    }

    void GiveBack(T& object)
    {
        object.mNextInTable = mReturned;
        mReturned = &object;
    }

private:
    void AddBlock()
    {
        constexpr size_t count = 64;
        mBlocks.push_back(std::make_unique<T[]>(count));
        for (size_t i = count; i-- > 0;)
        {
            T& object = mBlocks.back()[i];
            object.mNextInTable = mFree;
            mFree = &object;
        }
    }

    T* mFree = nullptr;
    T* mReturned = nullptr; ///< taken over when `mFree` is used up
    std::vector<std::unique_ptr<T[]>> mBlocks;
};
}
