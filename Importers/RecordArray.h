#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace Importers
{
/// A growing array of plain records. Growth reallocates, which moves pages rather than bytes when the array is large,
/// so that an array of millions of records never exists twice.
template <typename T>
class RecordArray
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    static_assert(alignof(T) <= alignof(std::max_align_t));

public:
    RecordArray() = default;
    RecordArray(RecordArray&& other) noexcept { Swap(other); }
    RecordArray& operator=(RecordArray&& other) noexcept
    {
        RecordArray(std::move(other)).Swap(*this);
        return *this;
    }
    RecordArray(const RecordArray&) = delete;
    RecordArray& operator=(const RecordArray&) = delete;
    ~RecordArray() { std::free(mRecords); }

    void Add(const T& record)
    {
        if (mSize == mCapacity) [[unlikely]]
        {
            Grow();
        }
        new (mRecords + mSize) T(record);
        ++mSize;
    }

    std::size_t GetSize() const { return mSize; }
    T& operator[](std::size_t index) { return mRecords[index]; }
    const T& operator[](std::size_t index) const { return mRecords[index]; }
    T* begin() { return mRecords; }
    T* end() { return mRecords + mSize; }
    const T* begin() const { return mRecords; }
    const T* end() const { return mRecords + mSize; }

private:
    void Swap(RecordArray& other) noexcept
    {
        std::swap(mRecords, other.mRecords);
        std::swap(mSize, other.mSize);
        std::swap(mCapacity, other.mCapacity);
    }

    [[gnu::noinline]] void Grow()
    {
        const std::size_t capacity = mCapacity < 8 ? 16 : mCapacity + mCapacity / 2;
        void* const records = std::realloc(static_cast<void*>(mRecords), capacity * sizeof(T));
        if (records == nullptr)
        {
            throw std::bad_alloc();
        }
        mRecords = static_cast<T*>(records);
        mCapacity = capacity;
    }

    T* mRecords = nullptr;
    std::size_t mSize = 0;
    std::size_t mCapacity = 0;
};
}
