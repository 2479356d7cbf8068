#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace System
{
/// Objects of someone else, found by a number of theirs. A hash table whose chains run through the objects'
/// `mNextInTable`, so that entering one allocates nothing. The numbers are expected to come from a counter: their low
/// bits spread them without further mixing. It does not shrink.
template <typename T, uint32_t T::*Number>
class IdTable
{
public:
    /// Null when there is none.
    [[nodiscard]] T* Find(uint32_t number) const
    {
        if (mBuckets.empty())
        {
            return nullptr;
        }
        T* object = mBuckets[number & (mBuckets.size() - 1)];
        while (object != nullptr && object->*Number != number)
        {
            object = object->mNextInTable;
        }
        return object;
    }

    /// The number must not be there yet, and must not change while the object is in the table.
    void Insert(T& object)
    {
        assert(Find(object.*Number) == nullptr);
        if (mSize >= mBuckets.size())
        {
            Grow();
        }
        ++mSize;
        Link(object);
    }

    /// The object must be in the table.
    void Remove(T& object)
    {
        T** link = &mBuckets[object.*Number & (mBuckets.size() - 1)];
        while (*link != &object)
        {
            link = &(*link)->mNextInTable;
        }
        *link = object.mNextInTable;
        --mSize;
    }

    [[nodiscard]] bool IsEmpty() const { return mSize == 0; }
    [[nodiscard]] size_t GetSize() const { return mSize; }

    /// In no particular order. The visitor must leave the table as it is.
    template <typename Visitor>
    void ForEach(Visitor&& visitor) const
    {
        for (T* first : mBuckets)
        {
            for (T* object = first; object != nullptr; object = object->mNextInTable)
            {
                visitor(*object);
            }
        }
    }

private:
    void Link(T& object)
    {
        T*& first = mBuckets[object.*Number & (mBuckets.size() - 1)];
        object.mNextInTable = first;
        first = &object;
    }

    void Grow()
    {
        std::vector<T*> old(mBuckets.empty() ? 64 : mBuckets.size() * 2);
        old.swap(mBuckets);
        for (T* first : old)
        {
            for (T* object = first; object != nullptr;)
            {
                T* next = object->mNextInTable;
                Link(*object);
                object = next;
            }
        }
    }

    size_t mSize = 0;
    std::vector<T*> mBuckets; ///< a power of two of them, or none
};
}
